#include "iolib/backends/LanTransport.h"

#include "iolib/IOError.h"

#include <QDeadlineTimer>
#include <QTcpSocket>
#include <algorithm>
#include <cerrno>
#include <cstring>
#ifdef Q_OS_UNIX
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#endif

namespace CorvaneIOUtilsLib {

namespace {
constexpr qsizetype kMaxRead = 4 * 1024 * 1024;
#ifdef MSG_NOSIGNAL
constexpr int kNoSignal = MSG_NOSIGNAL; // a peer that has gone is an error, not SIGPIPE
#else
constexpr int kNoSignal = 0;
#endif
} // namespace

LanTransport::LanTransport(const QString& host, quint16 port, QString resource, int connectTimeoutMs)
    : m_host(host), m_port(port), m_resource(std::move(resource)) {
    connectTo(connectTimeoutMs);
}

void LanTransport::connectTo(int connectTimeoutMs) {
    const QString& host = m_host;
    const quint16 port = m_port;
    m_socket = std::make_unique<QTcpSocket>();
    m_socket->connectToHost(host, port);
    if (!m_socket->waitForConnected(connectTimeoutMs)) {
        const auto error = m_socket->error();
        const QString where = QStringLiteral("%1:%2").arg(host).arg(port);
        m_socket->abort();
        if (error == QAbstractSocket::SocketTimeoutError)
            throw IOError(IOError::Timeout, QStringLiteral("%1: no answer from %2 within %3 ms")
                                                .arg(m_resource, where)
                                                .arg(connectTimeoutMs));
        if (error == QAbstractSocket::HostNotFoundError)
            throw IOError(IOError::NotFound, QStringLiteral("%1: host %2 not found").arg(m_resource, host));
        throw IOError(IOError::NotFound, QStringLiteral("%1: nothing accepts connections at %2 (%3)")
                                             .arg(m_resource, where, m_socket->errorString()));
    }
    // Commands are short and each waits for its reply: Nagle's delay would only slow them down.
    m_socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
}

LanTransport::~LanTransport() {
    close();
}

void LanTransport::write(const QByteArray& bytes, int timeoutMs) {
    if (m_socket->state() != QAbstractSocket::ConnectedState)
        throw IOError(IOError::Dropped, QStringLiteral("%1: the connection was closed").arg(m_resource));
    qsizetype sent = 0;
#ifdef Q_OS_UNIX
    // A command fits the socket's send buffer: sent at once, without QTcpSocket's buffer and waits.
    if (const int fd = static_cast<int>(m_socket->socketDescriptor());
        fd >= 0 && m_socket->bytesToWrite() == 0) {
        while (sent < bytes.size()) {
            const ssize_t n = ::send(fd, bytes.constData() + sent, static_cast<size_t>(bytes.size() - sent),
                                     MSG_DONTWAIT | kNoSignal);
            if (n > 0)
                sent += n;
            else if (n < 0 && errno == EINTR)
                continue;
            else
                break; // full, or failed: QTcpSocket sends the rest and reports a failure
        }
    }
#endif
    if (sent == bytes.size()) return;
    m_socket->write(sent == 0 ? bytes : bytes.mid(sent));
    QDeadlineTimer deadline(timeoutMs);
    while (m_socket->bytesToWrite() > 0) {
        const qint64 before = m_socket->bytesToWrite();
        if (!m_socket->waitForBytesWritten(static_cast<int>(std::max<qint64>(0, deadline.remainingTime())))) {
            if (m_socket->state() != QAbstractSocket::ConnectedState)
                throw IOError(IOError::Dropped,
                              QStringLiteral("%1: the connection was closed while sending (%2)")
                                  .arg(m_resource, m_socket->errorString()));
            throw IOError(IOError::Timeout,
                          QStringLiteral("%1: could not send within %2 ms").arg(m_resource).arg(timeoutMs));
        }
        if (m_socket->bytesToWrite() < before) deadline.setRemainingTime(timeoutMs);
    }
}

ReadChunk LanTransport::readBuffered(qsizetype maxBytes, int timeoutMs) {
    ReadChunk chunk;
    if (m_socket->bytesAvailable() == 0) {
        if (m_socket->state() != QAbstractSocket::ConnectedState) {
            chunk.status = ReadChunk::Dropped;
            return chunk;
        }
        if (!m_socket->waitForReadyRead(timeoutMs)) {
            const bool closed = m_socket->state() != QAbstractSocket::ConnectedState ||
                                m_socket->error() == QAbstractSocket::RemoteHostClosedError;
            chunk.status =
                closed && m_socket->bytesAvailable() == 0 ? ReadChunk::Dropped : ReadChunk::Timeout;
            if (m_socket->bytesAvailable() == 0) return chunk;
            chunk.status = ReadChunk::Ok;
        }
    }
    chunk.data = m_socket->read(maxBytes);
    return chunk;
}

// QTcpSocket takes in everything that has arrived whenever it reads: in a block transfer that is a
// copy of megabytes into a new buffer, read a second time out of it. So while its buffer is empty
// the socket is read directly, just the bytes asked for. Its end or a failure is left to QTcpSocket,
// which finds the same and reports it.
LanTransport::Direct LanTransport::waitDirect(int timeoutMs, qsizetype& available) {
#ifdef Q_OS_UNIX
    const int fd = static_cast<int>(m_socket->socketDescriptor());
    if (fd < 0 || m_socket->bytesAvailable() > 0 || m_socket->state() != QAbstractSocket::ConnectedState)
        return Direct::Unavailable;
    QDeadlineTimer deadline(timeoutMs);
    for (;;) {
        int queued = 0;
        if (::ioctl(fd, FIONREAD, &queued) != 0) return Direct::Unavailable;
        if (queued > 0) {
            available = queued;
            return Direct::Ready;
        }
        pollfd readable{fd, POLLIN, 0};
        const int ready =
            ::poll(&readable, 1, static_cast<int>(std::max<qint64>(0, deadline.remainingTime())));
        if (ready == 0) return Direct::Timeout;
        if (ready < 0 && errno != EINTR) return Direct::Unavailable;
        if (ready > 0) {
            if (::ioctl(fd, FIONREAD, &queued) != 0 || queued == 0) return Direct::Unavailable; // closed
            available = queued;
            return Direct::Ready;
        }
    }
#else
    Q_UNUSED(timeoutMs);
    Q_UNUSED(available);
    return Direct::Unavailable;
#endif
}

qsizetype LanTransport::receive(char* out, qsizetype maxBytes) {
#ifdef Q_OS_UNIX
    const int fd = static_cast<int>(m_socket->socketDescriptor());
    for (;;) {
        const ssize_t got = ::recv(fd, out, static_cast<size_t>(maxBytes), MSG_DONTWAIT);
        if (got >= 0 || errno != EINTR) return std::max<qsizetype>(got, 0);
    }
#else
    Q_UNUSED(out);
    Q_UNUSED(maxBytes);
    return 0;
#endif
}

ReadChunk LanTransport::read(qsizetype maxBytes, int timeoutMs) {
    maxBytes = std::clamp<qsizetype>(maxBytes, 1, kMaxRead);
    qsizetype available = 0;
    switch (waitDirect(timeoutMs, available)) {
    case Direct::Ready: {
        QByteArray data(std::min(maxBytes, available), Qt::Uninitialized);
        if (const qsizetype got = receive(data.data(), data.size()); got > 0) {
            data.truncate(got);
            return {data, false, ReadChunk::Ok};
        }
        break;
    }
    case Direct::Timeout:
        return {{}, false, ReadChunk::Timeout};
    case Direct::Unavailable:
        break;
    }
    return readBuffered(maxBytes, timeoutMs);
}

ReadCount LanTransport::readInto(char* out, qsizetype maxBytes, int timeoutMs) {
    maxBytes = std::clamp<qsizetype>(maxBytes, 1, kMaxRead);
    // In the middle of a block the bytes are usually there already: one call takes them, without
    // first asking how many there are.
    if (m_socket->bytesAvailable() == 0 && m_socket->state() == QAbstractSocket::ConnectedState)
        if (const qsizetype got = receive(out, maxBytes); got > 0) return {got, false, ReadChunk::Ok};
    qsizetype available = 0;
    switch (waitDirect(timeoutMs, available)) {
    case Direct::Ready:
        if (const qsizetype got = receive(out, std::min(maxBytes, available)); got > 0)
            return {got, false, ReadChunk::Ok};
        break;
    case Direct::Timeout:
        return {0, false, ReadChunk::Timeout};
    case Direct::Unavailable:
        break;
    }
    const ReadChunk chunk = readBuffered(maxBytes, timeoutMs);
    std::memcpy(out, chunk.data.constData(), static_cast<size_t>(chunk.data.size()));
    return {chunk.data.size(), false, chunk.status};
}

void LanTransport::clear(int timeoutMs) {
    close();
    connectTo(std::max(timeoutMs, 1));
}

void LanTransport::close() {
    if (m_socket->state() != QAbstractSocket::UnconnectedState) {
        m_socket->disconnectFromHost();
        if (m_socket->state() != QAbstractSocket::UnconnectedState) m_socket->waitForDisconnected(100);
    }
    m_socket->abort();
}

} // namespace CorvaneIOUtilsLib
