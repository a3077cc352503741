#pragma once

#include "automation/WaveformPreamble.h"

#include <QVector>

namespace BrumelTB {

// One channel's waveform as samples rather than two arrays of doubles, for hosts that scale it
// themselves or want a quarter of the memory: the 16-bit codes exactly as the instrument sent them, or
// volts as 32-bit floats, with the preamble that maps them to times and volts. A host that hands the
// same object back on the next read gets its buffer filled in place.
struct WaveformSamples {
    enum Kind : int { Codes, Volts };

    Kind kind = Codes;
    WaveformPreamble preamble;
    QVector<quint16> codes; // Codes: the samples; empty for Volts
    QVector<float> volts;   // Volts: (code - yReference) * yIncrement + yOrigin; empty for Codes

    qsizetype size() const { return kind == Codes ? codes.size() : volts.size(); }
    double timeAt(qsizetype i) const {
        return (static_cast<double>(i) - preamble.xReference) * preamble.xIncrement + preamble.xOrigin;
    }
    double voltsAt(qsizetype i) const {
        return kind == Volts ? volts[i]
                             : (codes[i] - preamble.yReference) * preamble.yIncrement + preamble.yOrigin;
    }
};

// count little-endian WORD codes at bytes to float volts at out, in single precision: a float holds
// every 16-bit code exactly, and the value is within a few float steps of the double conversion's.
void ConvertWordsToFloatVolts(const WaveformPreamble& preamble, const uchar* bytes, qsizetype count,
                              float* out);

} // namespace BrumelTB
