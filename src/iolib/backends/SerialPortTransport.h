#pragma once

#include "iolib/SerialTransport.h"

#include <QDeadlineTimer>
#include <QString>
#include <memory>

class QSerialPort;

namespace CorvaneIOUtilsLib {

// A real serial device through QSerialPort, driven without an event loop (the waitFor calls and
// poll). DTR/DSR flow control, which termios lacks, is done here: DTR is held up and every chunk
// waits for the instrument's DSR.
class SerialPortTransport : public SerialTransport {
public:
    // DTR/DSR paces writes in chunks of this size.
    static constexpr qsizetype kDsrChunk = 64;

    // Opens the device; throws IOError (NotFound when it is not there, Io when it cannot be opened).
    SerialPortTransport(const QString& devicePath, QString resource);
    ~SerialPortTransport() override;

    void write(const QByteArray& bytes, int timeoutMs) override;
    ReadChunk read(qsizetype maxBytes, int timeoutMs) override;
    void clear(int timeoutMs) override;
    void close() override;
    void applySettings(const SerialSettings& settings) override;
    void setModemLines(bool dtr, bool rts) override;

private:
    int fd() const;
    bool modemLines(int* bits) const;
    void noteNoDsr();
    void push(const QByteArray& bytes, QDeadlineTimer& deadline, int timeoutMs);
    void waitForDsr(QDeadlineTimer& deadline, int timeoutMs);
    void drain(QDeadlineTimer& deadline, int timeoutMs);

    std::unique_ptr<QSerialPort> m_port;
    QString m_device;
    QString m_resource;
    bool m_dsrPacing = false;
    bool m_noDsrNoted = false;
    bool m_noLinesNoted = false;
};

} // namespace CorvaneIOUtilsLib
