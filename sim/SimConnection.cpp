#include "sim/SimConnection.h"

#include "sim/SimInstrument.h"

namespace tavrelsim {

SimConnection::SimConnection(std::shared_ptr<SimInstrument> instrument, Bus bus)
    : m_instrument(std::move(instrument)), m_bus(bus) {
    if (m_bus == Link) {
        m_talking = true;
        m_instrument->claimOutput(true);
    }
}

SimConnection::~SimConnection() {
    if (m_talking.exchange(false)) m_instrument->claimOutput(false);
}

void SimConnection::write(const QByteArray& bytes) {
    if (m_dropped) return;
    if (m_bus == Serial) {
        const SimSerialSettings host = serialSettings();
        m_instrument->receive(bytes, false, &host);
    } else {
        m_instrument->receive(bytes, endsMessages());
    }
}

SimReadResult SimConnection::read(qsizetype maxBytes, int timeoutMs) {
    SimReadResult result;
    if (m_dropped) {
        result.status = SimReadResult::Dropped;
        return result;
    }
    SimInstrument::Chunk chunk;
    if (m_bus == Serial) {
        const SimSerialSettings host = serialSettings();
        chunk = m_instrument->send(maxBytes, timeoutMs, false, &host, &m_dropped);
    } else {
        chunk = m_instrument->send(maxBytes, timeoutMs, endsMessages(), nullptr, &m_dropped, m_bus == Link);
    }
    if (m_dropped && !chunk.dropped) {
        result.status = SimReadResult::Dropped; // closed while we waited
        return result;
    }
    result.data = chunk.data;
    result.end = chunk.end;
    result.clears = chunk.clears;
    if (chunk.dropped) {
        // Like a socket: what arrived before the drop is delivered first, the loss on the next read.
        m_dropped = true;
        if (chunk.data.isEmpty()) result.status = SimReadResult::Dropped;
    } else if (chunk.timedOut) {
        result.status = SimReadResult::Timeout;
    }
    return result;
}

void SimConnection::close() {
    m_dropped = true;
    if (m_talking.exchange(false)) m_instrument->claimOutput(false);
    m_instrument->wake();
}

quint64 SimConnection::clears() const {
    return m_instrument->clears();
}

void SimConnection::clear() {
    if (!m_dropped) m_instrument->clear();
}

void SimConnection::setSerialSettings(const SimSerialSettings& settings) {
    std::lock_guard lock(m_settingsMutex);
    m_settings = settings;
}

SimSerialSettings SimConnection::serialSettings() const {
    std::lock_guard lock(m_settingsMutex);
    return m_settings;
}

} // namespace tavrelsim
