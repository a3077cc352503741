#pragma once

#include "iolib/SerialSession.h"
#include "iolib/SerialTransport.h"
#include "iolib/TransportSession.h"

namespace CorvaneIOUtilsLib {

// A SerialSession over any serial transport (a real port, a simulated one): keeps the settings, pushes
// every change down to the transport and applies EndOut to writes.
class SerialLineSession : public TransportSession<SerialSession> {
public:
    SerialLineSession(QString resource, std::unique_ptr<SerialTransport> transport,
                      const SerialSettings& initial);

    int BaudRate() const override { return m_settings.baudRate; }
    void SetBaudRate(int baud) override;
    int Parity() const override { return m_settings.parity; }
    void SetParity(int parity) override;
    int DataBits() const override { return m_settings.dataBits; }
    void SetDataBits(int bits) override;
    int StopBits() const override { return m_settings.stopBits; }
    void SetStopBits(int bits) override;
    int HandShake() const override { return m_settings.handshake; }
    void SetHandShake(int handshake) override;

    bool DTR() const override { return m_dtr; }
    void SetDTR(bool on) override;
    bool RTS() const override { return m_rts; }
    void SetRTS(bool on) override;

    int EndOut() const override { return m_endOut; }
    void SetEndOut(int endOut) override;

protected:
    void send(const QByteArray& bytes) override;

private:
    void change(SerialSettings next);
    SerialTransport& serial();

    SerialSettings m_settings;
    bool m_dtr = true;
    bool m_rts = true;
    int m_endOut = RS232_EndOut_LineEnd;
};

} // namespace CorvaneIOUtilsLib
