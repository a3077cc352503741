#include "sim/iobackend/SimTransport.h"

#include "iolib/IOError.h"
#include "sim/SimEndpoint.h"

namespace CorvaneIOUtilsLib {

SimTransport::SimTransport(std::unique_ptr<tavrelsim::SimEndpoint> endpoint, Bus bus, QString resource)
    : m_endpoint(std::move(endpoint)), m_bus(bus), m_resource(std::move(resource)) {}

SimTransport::~SimTransport() = default;

tavrelsim::SimEndpoint& SimTransport::listener() {
    if (!m_endpoint)
        throw IOError(IOError::NotFound,
                      QStringLiteral("%1: no instrument listens at this address").arg(m_resource));
    return *m_endpoint;
}

void SimTransport::write(const QByteArray& bytes, int) {
    listener().write(bytes);
}

ReadChunk SimTransport::read(qsizetype maxBytes, int timeoutMs) {
    ReadChunk chunk;
    if (!m_endpoint) {
        chunk.status = ReadChunk::Timeout; // nobody there to talk
        return chunk;
    }
    const tavrelsim::SimReadResult result = m_endpoint->read(maxBytes, timeoutMs);
    chunk.data = result.data;
    chunk.end = result.end && m_bus == Gpib;
    switch (result.status) {
    case tavrelsim::SimReadResult::Ok:
        chunk.status = ReadChunk::Ok;
        break;
    case tavrelsim::SimReadResult::Timeout:
        chunk.status = ReadChunk::Timeout;
        break;
    case tavrelsim::SimReadResult::Dropped:
        chunk.status = ReadChunk::Dropped;
        break;
    }
    return chunk;
}

void SimTransport::clear(int) {
    listener().clear();
}

void SimTransport::close() {
    m_endpoint.reset();
}

void SimTransport::applySettings(const SerialSettings& settings) {
    if (!m_endpoint) return;
    tavrelsim::SimSerialSettings simulated;
    simulated.baudRate = settings.baudRate;
    simulated.parity = settings.parity;
    simulated.dataBits = settings.dataBits;
    simulated.stopBits = settings.stopBits;
    simulated.handshake = settings.handshake;
    m_endpoint->setSerialSettings(simulated);
}

void SimTransport::setModemLines(bool dtr, bool rts) {
    if (m_endpoint) m_endpoint->setModemLines(dtr, rts);
}

} // namespace CorvaneIOUtilsLib
