#include "sim/TavrelScope.h"

#include "sim/LearnString.h"
#include "sim/ScopeCommands.h"
#include "sim/ScpiCommandTable.h"

namespace tavrelsim {

TavrelScope::TavrelScope(ScopeIdentity identity, SimFaults faults)
    : m_id(std::move(identity)), m_faults(faults) {}

const ScpiCommandTable& TavrelScope::commands() {
    static const ScpiCommandTable table = [] {
        ScpiCommandTable t;
        addCommonCommands(t);
        addSystemCommands(t);
        addChannelCommands(t);
        addTimebaseCommands(t);
        addAcquireCommands(t);
        addRunCommands(t);
        addTriggerCommands(t);
        addMeasureCommands(t);
        addPodCommands(t);
        addWaveformCommands(t);
        addDisplayCommands(t);
        addTraceCommands(t);
        return t;
    }();
    return table;
}

QByteArray TavrelScope::idn() const {
    QByteArray reply = QByteArray(Maker) + ',' + m_id.model.toLatin1() + ',' + m_id.serial.toLatin1() + ',' +
                       m_id.firmware.toLatin1();
    if (m_faults.noComma) reply.replace(',', ' ');
    return reply;
}

QByteArray TavrelScope::learnString() const {
    return LearnString::encode(m_id.model, m_state);
}

void TavrelScope::reply(const QByteArray& unit) {
    if (!m_cutShort) m_units.append(unit);
}

void TavrelScope::reset() {
    m_state = ScopeState::defaults();
    m_acquisition.reset();
}

QByteArray TavrelScope::blockHeader(qsizetype length) {
    const QByteArray digits = QByteArray::number(length);
    return '#' + QByteArray::number(digits.size()) + digits;
}

void TavrelScope::replyBlock(const QByteArray& data) {
    replyBlockUnit(blockHeader(data.size()) + data);
}

void TavrelScope::replyBlockUnit(QByteArray block) {
    if (m_faults.truncateBlocks > 0 && !m_cutShort) {
        const qsizetype header = 2 + (block.size() > 1 ? block.at(1) - '0' : 0);
        block.chop(std::min<qsizetype>(m_faults.truncateBlocks, block.size() - header));
        m_units.append(block);
        m_cutShort = true; // and then nothing more
        return;
    }
    reply(block);
}

void TavrelScope::fail(int code) {
    m_status.push(code);
    if (!m_failed) m_failed = code;
}

bool TavrelScope::expectArgs(const ScpiCall& call, int count) {
    if (call.args.size() < count)
        fail(ScpiError::MissingParameter);
    else if (call.args.size() > count)
        fail(ScpiError::ParameterNotAllowed);
    return call.args.size() == count;
}

SimResponse TavrelScope::execute(const QByteArray& message, bool outputQueued) {
    m_units.clear();
    m_cutShort = false;
    m_outputQueued = outputQueued;
    QList<QByteArray> path;
    for (const ScpiUnit& unit : ScpiParser::split(message)) {
        if (unit.error) {
            fail(unit.error);
            break;
        }
        const bool query = unit.header.endsWith('?');
        const ScpiCommandTable::Match match = commands().find(ScpiParser::resolve(unit.header, path), query);
        if (!match.handler) {
            fail(match.error);
            break;
        }
        m_failed = 0;
        (*match.handler)(*this, ScpiCall{match.suffixes, query, unit.args});
        if (m_failed <= -100 && m_failed > -200)
            break; // a command error voids what follows, as the parser lost its footing
    }
    m_failed = 0;
    SimResponse r;
    if (m_units.isEmpty()) return r;
    // A lone unit (a 2 MB waveform block, say) goes out as it is, not copied by a join.
    r.bytes = m_units.size() == 1 ? std::move(m_units.first()) : m_units.join(';');
    m_units.clear();
    if (m_cutShort)
        r.complete = false;
    else
        r.bytes.append('\n');
    return r;
}

} // namespace tavrelsim
