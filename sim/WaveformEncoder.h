#pragma once

#include "sim/ScopeState.h"
#include "sim/WaveformRecord.h"

#include <QByteArray>

namespace tavrelsim {

// A record as :WAVeform:DATA? sends it and :WAVeform:PREamble? describes it, after the FORMat,
// BYTeorder and POINts settings. Fewer points than the record take every step-th sample (peak
// records keep the extremes of each step instead).
class WaveformEncoder {
public:
    enum PreambleFormat { Byte = 0, Word = 1, Ascii = 4 };

    WaveformEncoder(const WaveformRecord& record, const WaveformState& settings);

    // The points DATA? gives for a record of recordLength when points are asked for (0: all).
    static qsizetype pointsFor(qsizetype recordLength, int requested);
    qsizetype points() const { return m_points; }
    int format() const { return m_format; }
    QByteArray preamble() const;
    // "#<n><length><data>", with room for the terminator so that appending it copies nothing.
    QByteArray block() const;

private:
    quint16 sample(qsizetype j) const; // output point j, decimated
    qsizetype dataSize() const;
    void writeWords(char* out) const;
    void writeBytes(char* out) const;
    QByteArray asciiBlock() const;

    const WaveformRecord& m_record;
    bool m_msbFirst = false;
    int m_format = Byte;
    qsizetype m_step = 1;
    qsizetype m_points = 0;
};

} // namespace tavrelsim
