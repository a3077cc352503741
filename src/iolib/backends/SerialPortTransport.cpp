#include "iolib/backends/SerialPortTransport.h"

#include "iolib/IOError.h"
#include "iolib/IOTrace.h"

#include <QSerialPort>
#include <algorithm>
#include <cerrno>
#include <poll.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <thread>

namespace CorvaneIOUtilsLib {

namespace {
constexpr qsizetype kMaxRead = 4 * 1024 * 1024;
constexpr auto kPollStep = std::chrono::milliseconds(1);

int remainingMs(const QDeadlineTimer& deadline) {
    return static_cast<int>(std::max<qint64>(0, deadline.remainingTime()));
}

QSerialPort::Parity qtParity(int code) {
    switch (code) {
    case RS232_Parity_Odd:
        return QSerialPort::OddParity;
    case RS232_Parity_Even:
        return QSerialPort::EvenParity;
    case RS232_Parity_Mark:
        return QSerialPort::MarkParity;
    case RS232_Parity_Space:
        return QSerialPort::SpaceParity;
    default:
        return QSerialPort::NoParity;
    }
}

QSerialPort::FlowControl qtFlowControl(int handshake) {
    switch (handshake) {
    case RS232_HandShake_XON_XOFF:
        return QSerialPort::SoftwareControl;
    case RS232_HandShake_RTS_CTS:
        return QSerialPort::HardwareControl;
    default:
        return QSerialPort::NoFlowControl; // DTR/DSR is paced by hand
    }
}
} // namespace

SerialPortTransport::SerialPortTransport(const QString& devicePath, QString resource)
    : m_port(std::make_unique<QSerialPort>()), m_device(devicePath), m_resource(std::move(resource)) {
    m_port->setPortName(devicePath);
    if (!m_port->open(QIODevice::ReadWrite)) {
        const auto kind =
            m_port->error() == QSerialPort::DeviceNotFoundError ? IOError::NotFound : IOError::Io;
        throw IOError(
            kind,
            QStringLiteral("%1: cannot open %2: %3").arg(m_resource, devicePath, m_port->errorString()));
    }
}

SerialPortTransport::~SerialPortTransport() {
    close();
}

int SerialPortTransport::fd() const {
    return static_cast<int>(m_port->handle());
}

bool SerialPortTransport::modemLines(int* bits) const {
    return ::ioctl(fd(), TIOCMGET, bits) == 0;
}

void SerialPortTransport::noteNoDsr() {
    m_dsrPacing = false;
    if (m_noDsrNoted) return;
    m_noDsrNoted = true;
    Trace(QStringLiteral("%1: %2 has no modem lines; DTR/DSR handshake works as no flow control")
              .arg(m_resource, m_device));
}

void SerialPortTransport::applySettings(const SerialSettings& settings) {
    auto check = [&](bool ok, const QString& what) {
        if (!ok) {
            const QString reason = m_port->errorString();
            m_port->clearError();
            throw IOError(IOError::Unsupported,
                          QStringLiteral("%1: the port does not take %2 (%3)").arg(m_resource, what, reason));
        }
    };
    check(m_port->setBaudRate(settings.baudRate), QStringLiteral("baud rate %1").arg(settings.baudRate));
    check(m_port->setParity(qtParity(settings.parity)),
          QStringLiteral("parity code %1").arg(settings.parity));
    check(m_port->setDataBits(static_cast<QSerialPort::DataBits>(settings.dataBits)),
          QStringLiteral("%1 data bits").arg(settings.dataBits));
    check(m_port->setStopBits(settings.stopBits == 2 ? QSerialPort::TwoStop : QSerialPort::OneStop),
          QStringLiteral("%1 stop bits").arg(settings.stopBits));
    check(m_port->setFlowControl(qtFlowControl(settings.handshake)),
          QStringLiteral("handshake code %1").arg(settings.handshake));

    m_dsrPacing = false;
    if (settings.handshake == RS232_HandShake_DTR_DSR) {
        int bits = 0;
        if (!modemLines(&bits)) {
            noteNoDsr();
        } else {
            m_dsrPacing = true;
            int dtr = TIOCM_DTR;
            ::ioctl(fd(), TIOCMBIS, &dtr);
        }
    }
}

void SerialPortTransport::setModemLines(bool dtr, bool rts) {
    int bits = 0;
    if (!modemLines(&bits)) {
        if (!m_noLinesNoted)
            Trace(QStringLiteral("%1: %2 has no modem lines; DTR and RTS are not driven")
                      .arg(m_resource, m_device));
        m_noLinesNoted = true;
        return;
    }
    bits = dtr ? (bits | TIOCM_DTR) : (bits & ~TIOCM_DTR);
    bits = rts ? (bits | TIOCM_RTS) : (bits & ~TIOCM_RTS);
    if (::ioctl(fd(), TIOCMSET, &bits) != 0)
        throw IOError(
            IOError::Io,
            QStringLiteral("%1: cannot set DTR and RTS: %2").arg(m_resource, qt_error_string(errno)));
}

void SerialPortTransport::waitForDsr(QDeadlineTimer& deadline, int timeoutMs) {
    for (;;) {
        int bits = 0;
        if (!modemLines(&bits)) {
            noteNoDsr();
            return;
        }
        if (bits & TIOCM_DSR) return;
        if (deadline.hasExpired())
            throw IOError(IOError::Timeout,
                          QStringLiteral("%1: the instrument did not raise DSR within %2 ms")
                              .arg(m_resource)
                              .arg(timeoutMs));
        std::this_thread::sleep_for(kPollStep);
    }
}

void SerialPortTransport::push(const QByteArray& bytes, QDeadlineTimer& deadline, int timeoutMs) {
    m_port->write(bytes);
    while (m_port->bytesToWrite() > 0) {
        const qint64 before = m_port->bytesToWrite();
        if (!m_port->waitForBytesWritten(remainingMs(deadline))) {
            const bool timedOut =
                m_port->error() == QSerialPort::TimeoutError || m_port->error() == QSerialPort::NoError;
            const QString reason = m_port->errorString();
            m_port->clearError();
            m_port->clear(QSerialPort::Output);
            if (timedOut)
                throw IOError(
                    IOError::Timeout,
                    QStringLiteral("%1: could not send within %2 ms").arg(m_resource).arg(timeoutMs));
            throw IOError(IOError::Io, QStringLiteral("%1: sending failed: %2").arg(m_resource, reason));
        }
        if (m_port->bytesToWrite() < before) deadline.setRemainingTime(timeoutMs);
    }
}

void SerialPortTransport::drain(QDeadlineTimer& deadline, int timeoutMs) {
    // Bytes still in the driver (held back by XOFF, say) have not reached the instrument yet; a write
    // returns once they have, so that a delay after it counts from the end of the command.
    int queued = 0;
    int previous = -1;
    while (::ioctl(fd(), TIOCOUTQ, &queued) == 0 && queued > 0) {
        if (queued != previous) {
            previous = queued;
            deadline.setRemainingTime(timeoutMs);
        }
        if (deadline.hasExpired()) {
            m_port->clear(QSerialPort::Output);
            throw IOError(IOError::Timeout,
                          QStringLiteral("%1: %2 bytes were held back for %3 ms and discarded")
                              .arg(m_resource)
                              .arg(queued)
                              .arg(timeoutMs));
        }
        std::this_thread::sleep_for(kPollStep);
    }
}

void SerialPortTransport::write(const QByteArray& bytes, int timeoutMs) {
    QDeadlineTimer deadline(timeoutMs);
    if (!m_dsrPacing) {
        push(bytes, deadline, timeoutMs);
    } else {
        for (qsizetype at = 0; at < bytes.size(); at += kDsrChunk) {
            waitForDsr(deadline, timeoutMs);
            push(bytes.mid(at, kDsrChunk), deadline, timeoutMs);
            deadline.setRemainingTime(timeoutMs);
        }
    }
    drain(deadline, timeoutMs);
}

ReadChunk SerialPortTransport::read(qsizetype maxBytes, int timeoutMs) {
    const QDeadlineTimer deadline(timeoutMs);
    ReadChunk chunk;
    while (m_port->bytesAvailable() == 0) {
        // Waiting with poll ourselves also sees a hang-up (a USB adapter pulled, a pty closed), which
        // QSerialPort's own wait would only report as a timeout.
        pollfd waiting{fd(), POLLIN, 0};
        const int ready = ::poll(&waiting, 1, remainingMs(deadline));
        if (ready < 0 && errno == EINTR) continue;
        if (ready < 0)
            throw IOError(
                IOError::Io,
                QStringLiteral("%1: waiting for input failed: %2").arg(m_resource, qt_error_string(errno)));
        if (ready == 0) {
            chunk.status = ReadChunk::Timeout;
            return chunk;
        }
        if (waiting.revents & POLLIN) {
            m_port->waitForReadyRead(0);
            if (m_port->bytesAvailable() > 0) break;
        }
        if ((waiting.revents & (POLLHUP | POLLERR | POLLNVAL)) ||
            m_port->error() == QSerialPort::ResourceError || m_port->error() == QSerialPort::ReadError) {
            chunk.status = ReadChunk::Dropped;
            return chunk;
        }
        if (deadline.hasExpired()) {
            chunk.status = ReadChunk::Timeout;
            return chunk;
        }
    }
    chunk.data = m_port->read(std::clamp<qsizetype>(maxBytes, 1, kMaxRead));
    return chunk;
}

void SerialPortTransport::clear(int) {
    m_port->clear(QSerialPort::AllDirections);
    m_port->readAll();
}

void SerialPortTransport::close() {
    if (m_port->isOpen()) m_port->close();
}

} // namespace CorvaneIOUtilsLib
