#pragma once

#include "sim/AcquisitionControl.h"
#include "sim/ScopeState.h"
#include "sim/ScpiStatus.h"
#include "sim/SimDevice.h"
#include "sim/SimFaults.h"

#include <QList>
#include <QString>
#include <array>

namespace tavrelsim {

class ScpiCommandTable;
struct ScpiCall;

struct ScopeIdentity {
    QString model = "TV100A";
    QString serial = "CT41000107";
    QString firmware = "A.01.02";
};

// A simulated Tavrel-series scope: parses SCPI, keeps its front-panel state and status, and
// builds IEEE 488.2 response messages. The command set is the table of ScopeCommands.
class TavrelScope : public SimDevice {
public:
    static constexpr const char* Maker = "CORVANE TECHNOLOGIES";

    explicit TavrelScope(ScopeIdentity identity = {}, SimFaults faults = {});
    QString model() const override { return m_id.model; }
    SimResponse execute(const QByteArray& message, bool outputQueued) override;
    void overflowed() override { m_status.push(ScpiError::TooMuchData); }

    // What the command handlers work on.
    ScopeState& state() { return m_state; }
    ScpiStatus& status() { return m_status; }
    AcquisitionControl& acquisition() { return m_acquisition; }
    // Trace memories 1..4 at indexes 0..3; an empty record is a cleared memory.
    std::array<WaveformRecord, ScopeState::TraceCount>& traces() { return m_traces; }
    // *RST: default settings, running, nothing acquired. Stored traces stay.
    void reset();
    const ScopeIdentity& identity() const { return m_id; }
    QByteArray idn() const;
    QByteArray learnString() const;
    bool messageAvailable() const { return m_outputQueued || !m_units.isEmpty(); }
    void reply(const QByteArray& unit);
    void replyBlock(const QByteArray& data);
    // A whole definite-length block, header included (blockHeader), built by the caller in place.
    void replyBlockUnit(QByteArray block);
    static QByteArray blockHeader(qsizetype length);
    // Records an error; a command error (-1xx) also voids the rest of the program message.
    void fail(int code);
    // Checks the parameter count, failing with Missing parameter / Parameter not allowed.
    bool expectArgs(const ScpiCall& call, int count);

    static const ScpiCommandTable& commands();

    // The last block :WAVeform:DATA? sent and what it was made from: reading the same record with
    // the same settings again costs only the send, as on a scope that keeps its output buffer.
    struct WaveformBlock {
        WaveformRecord record;
        WaveformState settings;
        QByteArray block;
    };
    WaveformBlock& lastWaveformBlock() { return m_lastWaveformBlock; }

private:
    ScopeIdentity m_id;
    SimFaults m_faults;
    ScopeState m_state = ScopeState::defaults();
    ScpiStatus m_status;
    AcquisitionControl m_acquisition;
    std::array<WaveformRecord, ScopeState::TraceCount> m_traces;
    QList<QByteArray> m_units;
    bool m_cutShort = false;
    bool m_outputQueued = false;
    int m_failed = 0;
    WaveformBlock m_lastWaveformBlock;
};

} // namespace tavrelsim
