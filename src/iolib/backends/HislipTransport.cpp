#include "iolib/backends/HislipTransport.h"

#include "iolib/backends/TcpStream.h"

#include <algorithm>
#include <poll.h>

namespace CorvaneIOUtilsLib {

namespace {

// Writes go in pieces no larger than this, whatever the server takes.
constexpr quint64 kLargestPiece = 1024 * 1024;
// The least a server may announce as its largest message; below it we would crawl.
constexpr quint64 kSmallestPiece = 256;
// The size we announce: what one Data message may carry to us.
constexpr quint64 kOurMaximumMessageSize = quint64(1) << 30;
// Messages we skip while waiting for an answer (an interrupted response, stray data) before we call
// the server out of step.
constexpr int kSkippedMessagesTolerated = 64;

} // namespace

HislipTransport::HislipTransport(const ResourceAddress& address, int timeoutMs)
    : m_resource(address.resourceName()) {
    const QString server = QStringLiteral("the HiSLIP server");
    m_sync = std::make_unique<TcpStream>(address.host, address.tcpPort, m_resource, server, timeoutMs);
    m_sync->sendAll(Hislip::encode(Hislip::Initialize, 0,
                                   quint32(Hislip::kProtocolVersion) << 16 | Hislip::kVendorId,
                                   address.device.toLatin1()),
                    timeoutMs);
    const Hislip::Header initialized =
        expect(*m_sync, Hislip::InitializeResponse, QStringLiteral("Initialize"), timeoutMs);
    m_sessionId = static_cast<quint16>(initialized.parameter & 0xFFFF);

    m_async = std::make_unique<TcpStream>(address.host, address.tcpPort, m_resource, server, timeoutMs);
    m_async->sendAll(Hislip::encode(Hislip::AsyncInitialize, 0, m_sessionId), timeoutMs);
    expect(*m_async, Hislip::AsyncInitializeResponse, QStringLiteral("AsyncInitialize"), timeoutMs);
    m_async->sendAll(
        Hislip::encode(Hislip::AsyncMaximumMessageSize, 0, 0, Hislip::encodeSize(kOurMaximumMessageSize)),
        timeoutMs);
    const Hislip::Header sized = expect(*m_async, Hislip::AsyncMaximumMessageSizeResponse,
                                        QStringLiteral("AsyncMaximumMessageSize"), timeoutMs);
    m_serverMaximum = Hislip::decodeSize(receivePayload(*m_async, sized.length, 8, timeoutMs));
    if (m_serverMaximum < Hislip::kHeaderSize + kSmallestPiece)
        outOfStep(QStringLiteral("announced a largest message of %1 bytes").arg(m_serverMaximum));
}

HislipTransport::~HislipTransport() {
    close();
}

void HislipTransport::close() {
    if (m_sync) m_sync->close();
    if (m_async) m_async->close();
}

void HislipTransport::outOfStep(const QString& what) {
    close();
    throw IOError(IOError::Protocol, QStringLiteral("%1: the HiSLIP server %2").arg(m_resource, what));
}

bool HislipTransport::receiveExact(TcpStream& stream, char* out, qsizetype count, int timeoutMs,
                                   bool mayTimeOut) {
    QDeadlineTimer deadline(timeoutMs);
    qsizetype got = 0;
    while (got < count) {
        const qsizetype n = stream.receiveNow(out + got, count - got,
                                              got ? QStringLiteral("in the middle of a message")
                                                  : QStringLiteral("before it answered"));
        if (n > 0) {
            got += n;
            deadline.setRemainingTime(timeoutMs);
            continue;
        }
        const TcpStream::Wait wait = stream.waitFor(POLLIN, deadline.remainingTime());
        if (wait == TcpStream::Wait::Failed) stream.failDropped(QStringLiteral("while receiving"));
        if (wait == TcpStream::Wait::Timeout) {
            if (got == 0 && mayTimeOut) return false;
            close(); // part of a message is in: the channels are out of step
            throw IOError(IOError::Timeout,
                          QStringLiteral("%1: the HiSLIP server stopped %2 for %3 ms")
                              .arg(m_resource, got ? QStringLiteral("in the middle of a message")
                                                   : QStringLiteral("answering"))
                              .arg(timeoutMs));
        }
    }
    return true;
}

bool HislipTransport::receiveHeader(TcpStream& stream, Hislip::Header& header, int timeoutMs,
                                    bool mayTimeOut) {
    char bytes[Hislip::kHeaderSize];
    if (!receiveExact(stream, bytes, Hislip::kHeaderSize, timeoutMs, mayTimeOut)) return false;
    if (!Hislip::decode(bytes, header))
        outOfStep(
            QStringLiteral("sent a message that does not begin with \"HS\" (out of step, or not HiSLIP)"));
    if (header.length > kMaxPayload) {
        close();
        throw IOError(IOError::TooLarge,
                      QStringLiteral("%1: the HiSLIP server announced a message of %2 bytes")
                          .arg(m_resource)
                          .arg(header.length));
    }
    return true;
}

QByteArray HislipTransport::receivePayload(TcpStream& stream, quint64 length, qsizetype limit,
                                           int timeoutMs) {
    if (length > quint64(limit)) {
        close();
        throw IOError(IOError::TooLarge,
                      QStringLiteral("%1: the HiSLIP server sent %2 bytes where %3 at most fit")
                          .arg(m_resource)
                          .arg(length)
                          .arg(limit));
    }
    QByteArray payload(static_cast<qsizetype>(length), Qt::Uninitialized);
    receiveExact(stream, payload.data(), payload.size(), timeoutMs, false);
    return payload;
}

void HislipTransport::skipPayload(TcpStream& stream, quint64 length, int timeoutMs) {
    char sink[4096];
    while (length > 0) {
        const qsizetype piece = static_cast<qsizetype>(std::min<quint64>(length, sizeof sink));
        receiveExact(stream, sink, piece, timeoutMs, false);
        length -= quint64(piece);
    }
}

void HislipTransport::serverError(TcpStream& stream, const Hislip::Header& header, int timeoutMs,
                                  IOError::Kind kind) {
    const bool fatal = header.type == Hislip::FatalError;
    QString text;
    if (header.length <= quint64(kMaxErrorText))
        text = QString::fromUtf8(receivePayload(stream, header.length, kMaxErrorText, timeoutMs)).trimmed();
    if (fatal) close(); // the server closes the connection after a fatal error
    throw IOError(kind,
                  QStringLiteral("%1: the HiSLIP server reported %2 %3%4")
                      .arg(m_resource, fatal ? QStringLiteral("a fatal error") : QStringLiteral("an error"))
                      .arg(header.control)
                      .arg(text.isEmpty() ? QString() : QStringLiteral(": ") + text));
}

Hislip::Header HislipTransport::expect(TcpStream& stream, quint8 type, const QString& request,
                                       int timeoutMs) {
    Hislip::Header header;
    if (!receiveHeader(stream, header, timeoutMs, true)) {
        close();
        throw IOError(IOError::Timeout, QStringLiteral("%1: the HiSLIP server did not answer %2 within %3 ms")
                                            .arg(m_resource, request)
                                            .arg(timeoutMs));
    }
    if (header.type == Hislip::FatalError || header.type == Hislip::Error)
        serverError(stream, header, timeoutMs,
                    request == QLatin1String("Initialize") ? IOError::NotFound : IOError::Protocol);
    if (header.type != type)
        outOfStep(QStringLiteral("answered %1 with message type %2").arg(request).arg(header.type));
    return header;
}

void HislipTransport::write(const QByteArray& bytes, int timeoutMs) {
    if (!m_sync || !m_sync->connected())
        throw IOError(IOError::Dropped, m_resource + QStringLiteral(": the session is closed"));
    const qsizetype piece =
        static_cast<qsizetype>(std::min(kLargestPiece, m_serverMaximum - Hislip::kHeaderSize));
    qsizetype at = 0;
    do {
        const qsizetype size = std::min(piece, bytes.size() - at);
        const bool last = at + size == bytes.size();
        // RMT: the first message after a whole response says that it was delivered.
        m_sync->sendAll(Hislip::encode(last ? Hislip::DataEnd : Hislip::Data, m_responseDelivered ? 1 : 0,
                                       m_messageId, bytes.mid(at, size)),
                        timeoutMs);
        m_responseDelivered = false;
        m_messageId += 2;
        at += size;
    } while (at < bytes.size());
}

ReadCount HislipTransport::readInto(char* out, qsizetype maxBytes, int timeoutMs) {
    if (!m_sync || !m_sync->connected()) return {0, false, ReadChunk::Dropped};
    for (int skipped = 0; m_pending == 0; ++skipped) {
        Hislip::Header header;
        if (!receiveHeader(*m_sync, header, timeoutMs, true)) return {0, false, ReadChunk::Timeout};
        switch (header.type) {
        case Hislip::Data:
        case Hislip::DataEnd:
            m_pending = header.length;
            m_endAfterPending = header.type == Hislip::DataEnd;
            if (m_pending == 0 && m_endAfterPending) {
                m_responseDelivered = true;
                return {0, true, ReadChunk::Ok};
            }
            break;
        case Hislip::Error:
        case Hislip::FatalError:
            serverError(*m_sync, header, timeoutMs, IOError::Protocol);
        default:
            // An interrupted response and other notices carry nothing for the reader.
            skipPayload(*m_sync, header.length, timeoutMs);
        }
        // Nor does a Data message without any: a server that sends only such messages, however
        // quickly, is out of step.
        if (m_pending == 0 && skipped >= kSkippedMessagesTolerated)
            outOfStep(QStringLiteral("sent %1 messages that carry no data").arg(skipped + 1));
    }
    const qsizetype wanted = static_cast<qsizetype>(std::min<quint64>(quint64(maxBytes), m_pending));
    qsizetype got = m_sync->receiveNow(out, wanted, QStringLiteral("in the middle of a message"));
    if (got == 0) {
        const TcpStream::Wait wait = m_sync->waitFor(POLLIN, timeoutMs);
        if (wait == TcpStream::Wait::Timeout) return {0, false, ReadChunk::Timeout};
        if (wait == TcpStream::Wait::Failed) m_sync->failDropped(QStringLiteral("while receiving"));
        got = m_sync->receiveNow(out, wanted, QStringLiteral("in the middle of a message"));
    }
    m_pending -= quint64(got);
    const bool end = m_pending == 0 && m_endAfterPending;
    if (end) m_responseDelivered = true;
    return {got, end, ReadChunk::Ok};
}

ReadChunk HislipTransport::read(qsizetype maxBytes, int timeoutMs) {
    ReadChunk chunk;
    chunk.data.resize(std::min<qsizetype>(maxBytes, 64 * 1024));
    const ReadCount count = readInto(chunk.data.data(), chunk.data.size(), timeoutMs);
    chunk.data.resize(count.count);
    chunk.end = count.end;
    chunk.status = count.status;
    return chunk;
}

void HislipTransport::clear(int timeoutMs) {
    if (!m_sync || !m_sync->connected() || !m_async || !m_async->connected()) return;
    // The asynchronous channel asks, the synchronous one completes: whatever the server still sends
    // on it before its acknowledgement belongs to the cleared exchange and is dropped.
    m_async->sendAll(Hislip::encode(Hislip::AsyncDeviceClear, 0, 0), timeoutMs);
    Hislip::Header header;
    for (int skipped = 0;; ++skipped) {
        if (!receiveHeader(*m_async, header, timeoutMs, true)) {
            close();
            throw IOError(IOError::Timeout,
                          QStringLiteral("%1: the HiSLIP server did not acknowledge the device clear "
                                         "within %2 ms")
                              .arg(m_resource)
                              .arg(timeoutMs));
        }
        if (header.type == Hislip::AsyncDeviceClearAcknowledge) break;
        if (header.type == Hislip::FatalError) serverError(*m_async, header, timeoutMs, IOError::Protocol);
        skipPayload(*m_async, header.length, timeoutMs);
        if (skipped >= kSkippedMessagesTolerated)
            outOfStep(QStringLiteral("never acknowledged the device clear"));
    }
    skipPayload(*m_async, header.length, timeoutMs);
    m_sync->sendAll(Hislip::encode(Hislip::DeviceClearComplete, header.control, 0), timeoutMs);
    if (m_pending > 0) skipPayload(*m_sync, m_pending, timeoutMs);
    m_pending = 0;
    for (;;) {
        if (!receiveHeader(*m_sync, header, timeoutMs, true)) {
            close();
            throw IOError(IOError::Timeout,
                          QStringLiteral("%1: the HiSLIP server did not complete the device clear "
                                         "within %2 ms")
                              .arg(m_resource)
                              .arg(timeoutMs));
        }
        if (header.type == Hislip::FatalError) serverError(*m_sync, header, timeoutMs, IOError::Protocol);
        skipPayload(*m_sync, header.length, timeoutMs);
        if (header.type == Hislip::DeviceClearAcknowledge) break;
    }
    m_messageId = Hislip::kFirstMessageId;
    m_endAfterPending = false;
    m_responseDelivered = false;
}

} // namespace CorvaneIOUtilsLib
