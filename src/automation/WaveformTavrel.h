#pragma once

#include "automation/CEnums.h"
#include "automation/ScpiMnemonics.h"
#include "automation/WaveformSamples.h"

#include <QList>
#include <QVector>
#include <deque>

namespace BrumelTB {

class ScopeTavrel;
struct WaveformPreamble;

// One analog channel's waveform: sample times (s) and voltages (V).
struct ChannelWaveform {
    Tavrel_AnalogChannels channel = Tavrel_Channel_1;
    QVector<double> time;
    QVector<double> data;
};

// Large output arrays handed out before, kept so that a host which lets go of its arrays (new ones on
// every call, the natural loop) gets memory that is already mapped rather than megabytes of fresh pages
// to fault in. Implicit sharing tells when the host has let go: an array is reused only while this is
// its one holder, so an array the host still holds is never written. The host's arrays share their
// memory with the kept ones until the next read; a host that writes into them copies them first, as
// with any shared QVector.
template <typename T> class SpareArrays {
public:
    // array resized to n elements for a conversion to overwrite: the host's own when it can hold them,
    // else one let go of since, else a new one mapped ahead.
    void take(QVector<T>& array, qsizetype n);
    // Keeps a share of an array just filled.
    void keep(const QVector<T>& array);

private:
    std::deque<QVector<T>> m_arrays;
};

// Waveform transfer from the last acquisition, the server's hot path: the source is selected with
// 16-bit little-endian codes and the preamble in one message, then the block is converted in one pass
// slice by slice as it arrives, straight into the caller's arrays.
class WaveformTavrel {
public:
    explicit WaveformTavrel(ScopeTavrel& scope) : m_scope(scope) {}

    // time and data are resized to the record; arrays of the right size are filled in place, and new
    // ones take the memory of earlier results the host has let go of.
    void GetWaveformData(Tavrel_AnalogChannels channel, Tavrel_WaveformPoints points, QVector<double>& time,
                         QVector<double>& data);
    // Every displayed channel, lowest first: the display states in one query, then each channel's
    // preamble and data.
    QList<ChannelWaveform> GetAllWaveformData(Tavrel_WaveformPoints points);
    // One channel's samples as sent (Codes) or as float volts (Volts), with their preamble. The
    // buffer of that kind in samples is filled in place when it has room; the other is emptied.
    void GetWaveformSamples(Tavrel_AnalogChannels channel, Tavrel_WaveformPoints points,
                            WaveformSamples::Kind kind, WaveformSamples& samples);
    // All sixteen logic inputs, one word per sample (bit k is Dk).
    void GetLogicData(Tavrel_WaveformPoints points, QVector<double>& time, QVector<quint16>& data);

    static const MnemonicTable<Tavrel_WaveformPoints>& PointsTable();
    static const MnemonicTable<Tavrel_AnalogChannels>& SourceTable();

private:
    // Selects the source with WORD codes, reads its preamble and asks for the data.
    WaveformPreamble selectWordSource(const QString& source, Tavrel_WaveformPoints points);
    [[noreturn]] void noData();
    // The codes and then the preamble, asked for in one message.
    void readCodes(const QString& source, Tavrel_WaveformPoints points, WaveformSamples& samples);

    ScopeTavrel& m_scope;
    SpareArrays<double> m_spare;
};

} // namespace BrumelTB
