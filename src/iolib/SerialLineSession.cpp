#include "iolib/SerialLineSession.h"

namespace CorvaneIOUtilsLib {

SerialLineSession::SerialLineSession(QString resource, std::unique_ptr<SerialTransport> transport,
                                     const SerialSettings& initial)
    : TransportSession<SerialSession>(QStringLiteral("ASRL"), std::move(resource), std::move(transport)),
      m_settings(initial) {
    m_settings.validate(ResourceName());
    // DTR and RTS are not set here: opening a port raises both already.
    serial().applySettings(m_settings);
}

SerialTransport& SerialLineSession::serial() {
    // The base owns the transport that the constructor was given, which is a serial one.
    return static_cast<SerialTransport&>(transport());
}

void SerialLineSession::change(SerialSettings next) {
    if (next == m_settings) return;
    next.validate(ResourceName());
    try {
        serial().applySettings(next);
    } catch (const IOError&) {
        // A port that took part of the change is put back as it was, so that it matches what we report.
        try {
            serial().applySettings(m_settings);
        } catch (const IOError&) {
        }
        throw;
    }
    m_settings = next;
    if (next.handshake == RS232_HandShake_DTR_DSR) m_dtr = true; // the handshake holds DTR up
}

void SerialLineSession::SetBaudRate(int baud) {
    SerialSettings next = m_settings;
    next.baudRate = baud;
    change(next);
}

void SerialLineSession::SetParity(int parity) {
    SerialSettings next = m_settings;
    next.parity = parity;
    change(next);
}

void SerialLineSession::SetDataBits(int bits) {
    SerialSettings next = m_settings;
    next.dataBits = bits;
    change(next);
}

void SerialLineSession::SetStopBits(int bits) {
    SerialSettings next = m_settings;
    next.stopBits = bits;
    change(next);
}

void SerialLineSession::SetHandShake(int handshake) {
    SerialSettings next = m_settings;
    next.handshake = handshake;
    change(next);
}

void SerialLineSession::SetDTR(bool on) {
    serial().setModemLines(on, m_rts);
    m_dtr = on;
}

void SerialLineSession::SetRTS(bool on) {
    serial().setModemLines(m_dtr, on);
    m_rts = on;
}

void SerialLineSession::SetEndOut(int endOut) {
    if (!IsValidEndOut(endOut))
        throw IOError(IOError::Unsupported,
                      ResourceName() +
                          QStringLiteral(": EndOut %1 is not supported (0 none, 1 line end)").arg(endOut));
    m_endOut = endOut;
}

void SerialLineSession::send(const QByteArray& bytes) {
    if (m_endOut == RS232_EndOut_LineEnd && !bytes.endsWith('\n'))
        TransportSession<SerialSession>::send(bytes + '\n');
    else
        TransportSession<SerialSession>::send(bytes);
}

} // namespace CorvaneIOUtilsLib
