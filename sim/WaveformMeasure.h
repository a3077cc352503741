#pragma once

#include "sim/WaveformRecord.h"

#include <optional>

namespace tavrelsim {

// The :MEASure quantities of an analog record, by the usual definitions:
//   top and base  the most common levels of the upper and lower half (a histogram's modes),
//                 or the maximum and minimum when no level is common (a sine, a ramp)
//   edges         crossings of the middle between base and top, with 10 % hysteresis, at the
//                 interpolated time of the crossing
//   period        the mean distance of the rising edges; duty cycle the mean high fraction of
//                 the whole periods; rise and fall time between 10 % and 90 % on the first edge
//   RMS, average  over the whole record
// nullopt when a quantity cannot be measured (too few edges, no amplitude, no record).
class WaveformMeasure {
public:
    enum Quantity {
        Frequency,
        Period,
        Vpp,
        Amplitude,
        Vmax,
        Vmin,
        Vtop,
        Vbase,
        Vrms,
        Vaverage,
        RiseTime,
        FallTime,
        DutyCycle
    };
    explicit WaveformMeasure(const WaveformRecord& record);
    std::optional<double> value(Quantity q) const;

private:
    struct Edges {
        std::vector<double> rising, falling; // indexes, interpolated
    };
    void findLevels();
    Edges edges() const;
    std::optional<double> transition(bool rising) const; // seconds
    double crossing(qsizetype i, double level) const;    // between samples i-1 and i

    const WaveformRecord& m_record;
    const quint16* m_s = nullptr;
    qsizetype m_n = 0;
    double m_min = 0, m_max = 0, m_top = 0, m_base = 0; // codes
};

} // namespace tavrelsim
