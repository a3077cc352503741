#pragma once

#include "automation/CEnums.h"

#include <QVector>

namespace BrumelTB {

class ScopeTavrel;

// The four trace memories: copies of a channel's acquired waveform kept for comparison. Memories are
// numbered 1..4; another number is refused.
class TraceTavrel {
public:
    static constexpr int MemoryCount = 4;

    explicit TraceTavrel(ScopeTavrel& scope) : m_scope(scope) {}

    // Copies the channel's acquired waveform into the memory.
    void Store(qint32 memory, Tavrel_AnalogChannels channel);
    Tavrel_OnOffState Display(qint32 memory);
    void SetDisplay(qint32 memory, Tavrel_OnOffState state);
    void Clear(qint32 memory);
    // The stored waveform's times and voltages, converted as a channel's waveform is.
    void GetData(qint32 memory, QVector<double>& time, QVector<double>& data);

private:
    QString header(qint32 memory, const QString& node) const;

    ScopeTavrel& m_scope;
};

} // namespace BrumelTB
