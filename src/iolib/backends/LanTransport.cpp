#include "iolib/backends/LanTransport.h"

#include "iolib/IOError.h"

#include <QDeadlineTimer>
#include <QTcpSocket>
#include <algorithm>

namespace CorvaneIOUtilsLib {

namespace {
constexpr qsizetype kMaxRead = 4 * 1024 * 1024;
}

LanTransport::LanTransport(const QString& host, quint16 port, QString resource, int connectTimeoutMs)
    : m_socket(std::make_unique<QTcpSocket>()), m_resource(std::move(resource)) {
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
    m_socket->write(bytes);
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

ReadChunk LanTransport::read(qsizetype maxBytes, int timeoutMs) {
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
    chunk.data = m_socket->read(std::clamp<qsizetype>(maxBytes, 1, kMaxRead));
    return chunk;
}

void LanTransport::clear(int) {
    // A raw socket has no device clear; what the instrument sent before is dropped.
    m_socket->readAll();
}

void LanTransport::close() {
    if (m_socket->state() != QAbstractSocket::UnconnectedState) {
        m_socket->disconnectFromHost();
        if (m_socket->state() != QAbstractSocket::UnconnectedState) m_socket->waitForDisconnected(100);
    }
    m_socket->abort();
}

} // namespace CorvaneIOUtilsLib
