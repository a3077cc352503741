#pragma once

#include "automation/CEnums.h"
#include "automation/ScpiMnemonics.h"

#include <QList>
#include <QVector>

namespace BrumelTB {

class ScopeTavrel;
struct WaveformPreamble;

// One analog channel's waveform: sample times (s) and voltages (V).
struct ChannelWaveform {
    Tavrel_AnalogChannels channel = Tavrel_Channel_1;
    QVector<double> time;
    QVector<double> data;
};

// Waveform transfer from the last acquisition, the server's hot path: the source is selected with
// 16-bit little-endian codes and the preamble in one message, then the block is converted in one pass
// slice by slice as it arrives, straight into the caller's arrays.
class WaveformTavrel {
public:
    explicit WaveformTavrel(ScopeTavrel& scope) : m_scope(scope) {}

    // time and data are resized to the record; arrays of the right size are filled in place.
    void GetWaveformData(Tavrel_AnalogChannels channel, Tavrel_WaveformPoints points, QVector<double>& time,
                         QVector<double>& data);
    // Every displayed channel, lowest first.
    QList<ChannelWaveform> GetAllWaveformData(Tavrel_WaveformPoints points);
    // All sixteen logic inputs, one word per sample (bit k is Dk).
    void GetLogicData(Tavrel_WaveformPoints points, QVector<double>& time, QVector<quint16>& data);

    static const MnemonicTable<Tavrel_WaveformPoints>& PointsTable();
    static const MnemonicTable<Tavrel_AnalogChannels>& SourceTable();

private:
    // Selects the source with WORD codes, reads its preamble and asks for the data.
    WaveformPreamble selectWordSource(const QString& source, Tavrel_WaveformPoints points);
    [[noreturn]] void noData();

    ScopeTavrel& m_scope;
};

} // namespace BrumelTB
