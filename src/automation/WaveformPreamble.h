#pragma once

#include <QByteArray>
#include <QString>
#include <QVector>

namespace BrumelTB {

// The instrument's description of a waveform block (":WAVeform:PREamble?"): how its codes map to
// times and values. Sample i is at (i - xReference) * xIncrement + xOrigin and, for an analog source,
// has the value (code - yReference) * yIncrement + yOrigin.
struct WaveformPreamble {
    enum Format { Byte = 0, Word = 1, Ascii = 4 };

    int format = Word;
    int type = 0; // 0 normal, 1 peak, 2 average
    qint64 points = 0;
    int count = 1; // averages
    double xIncrement = 0;
    double xOrigin = 0;
    double xReference = 0;
    double yIncrement = 1;
    double yOrigin = 0;
    double yReference = 0;

    // The ten comma-separated fields; ServerError when the reply is not a preamble.
    static WaveformPreamble Parse(const QString& reply);
    // A reply as an error message shows it: quoted, control characters escaped, a long one shortened.
    static QString Quoted(const QString& reply);
};

// Times and values of a data block in one pass over it, written into time and values (resized to
// the block's sample count; arrays of that size are reused without reallocating). WORD codes are in
// the given byte order; an ASCii block holds the values as text. ServerError when the block does not
// hold the preamble's number of samples.
void ConvertWaveform(const WaveformPreamble& preamble, const QByteArray& block, bool lsbFirst,
                     QVector<double>& time, QVector<double>& values);

// One slice of a BYTE or WORD block, for converting while the rest is still arriving: count samples
// from their codes at bytes, written at index first of time and values (or codes).
void ConvertSlice(const WaveformPreamble& preamble, const uchar* bytes, qsizetype first, qsizetype count,
                  bool lsbFirst, double* time, double* values);
void ConvertLogicSlice(const WaveformPreamble& preamble, const uchar* bytes, qsizetype first, qsizetype count,
                       bool lsbFirst, double* time, quint16* codes);

} // namespace BrumelTB
