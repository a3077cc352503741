#pragma once

#include <QtGlobal>
#include <memory>
#include <vector>

namespace tavrelsim {

// A waveform as the scope holds it: 16-bit samples and what they mean. Analog samples are WORD
// codes, logic samples the sixteen inputs (bit k is Dk). Records share their samples, so stored
// traces cost no copy.
struct WaveformRecord {
    enum Kind { Analog, Pod1, Pod2, Logic };
    enum Type { Normal = 0, Peak = 1, Average = 2 }; // the preamble's type field
    static constexpr int WordCentre = 32768;         // the code of the screen's centre line
    static constexpr int WordsPerDivision = 8192;    // 8 divisions fill the 16-bit range

    int kind = Analog;
    std::shared_ptr<const std::vector<quint16>> samples;
    double xIncrement = 0;
    double xOrigin = 0; // time of the first sample, relative to the trigger
    double scale = 1;   // analog: volts per division
    double offset = 0;  // analog: the voltage of the centre line
    int type = Normal;
    int count = 1; // acquisitions averaged

    qsizetype size() const { return samples ? qsizetype(samples->size()) : 0; }
    bool isEmpty() const { return size() == 0; }
    double wordIncrement() const { return scale / WordsPerDivision; }
    double volts(double code) const { return (code - WordCentre) * wordIncrement() + offset; }
    double time(double index) const { return xOrigin + index * xIncrement; }
};

} // namespace tavrelsim
