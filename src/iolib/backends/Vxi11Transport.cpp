#include "iolib/backends/Vxi11Transport.h"

#include "iolib/IOError.h"
#include "iolib/backends/Vxi11Client.h"

#include <QCoreApplication>
#include <algorithm>
#include <rpc/rpc.h>

namespace CorvaneIOUtilsLib {

namespace {

enum Procedure : quint32 {
    CreateLink = 10,
    DeviceWrite = 11,
    DeviceRead = 12,
    DeviceClear = 15,
    DestroyLink = 23,
};

// Operation flags and device_read reasons.
constexpr u_int kWaitLock = 0x01;
constexpr u_int kEnd = 0x08;
constexpr u_int kReasonEnd = 0x04;

// Device error codes the link acts on.
enum ErrorCode : quint32 {
    NoError = 0,
    DeviceNotAccessible = 3,
    InvalidLink = 4,
    OperationNotSupported = 8,
    DeviceLocked = 11,
    IoTimeout = 15,
    InvalidAddress = 21,
};

// Writes go in pieces no larger than this, or than the server's maxRecvSize when that is smaller.
constexpr qsizetype kMaxWrite = 1024 * 1024;
// Link, I/O timeout, lock timeout, flags, data length (device_write); error, reason, data length (read).
constexpr qsizetype kWriteArgsBytes = 20;
constexpr qsizetype kReadReplyBytes = 12;

u_int timeoutArg(int timeoutMs) {
    return static_cast<u_int>(std::max(0, timeoutMs));
}

int callTimeout(int timeoutMs) {
    return std::max(0, timeoutMs) + Vxi11Transport::kReplyMarginMs;
}

} // namespace

QString Vxi11Transport::errorName(quint32 code) {
    static const std::pair<quint32, const char*> names[] = {
        {1, "syntax error"},
        {3, "device not accessible"},
        {4, "invalid link identifier"},
        {5, "parameter error"},
        {6, "channel not established"},
        {8, "operation not supported"},
        {9, "out of resources"},
        {11, "device locked by another link"},
        {12, "no lock held by this link"},
        {15, "I/O timeout"},
        {17, "I/O error"},
        {21, "invalid address"},
        {23, "abort"},
        {29, "channel already established"},
    };
    for (const auto& [number, name] : names)
        if (number == code) return QString::fromLatin1(name);
    return QStringLiteral("unknown error");
}

Vxi11Transport::Vxi11Transport(const ResourceAddress& address, quint16 portmapperPort, int timeoutMs)
    : m_resource(address.resourceName()), m_device(address.device) {
    const quint16 port = Vxi11Client::lookupPort(address.host, portmapperPort, kCoreProgram, kCoreVersion,
                                                 m_resource, timeoutMs);
    m_client = std::make_unique<Vxi11Client>(address.host, port, m_resource,
                                             QStringLiteral("the VXI-11 server"), timeoutMs);
    const QByteArray device = m_device.toLatin1();
    int clientId = static_cast<int>(QCoreApplication::applicationPid() & 0x7fffffff);
    bool_t lockDevice = FALSE;
    u_int lockTimeout = timeoutArg(timeoutMs);
    u_int error = 0, link = 0, abortPort = 0, maxReceive = 0;
    m_client->call(
        kCoreProgram, kCoreVersion, CreateLink,
        [&](XDR* x) {
            char* name = const_cast<char*>(device.constData());
            return xdr_int(x, &clientId) && xdr_bool(x, &lockDevice) && xdr_u_int(x, &lockTimeout) &&
                   xdr_string(x, &name, static_cast<u_int>(device.size()));
        },
        16 + device.size() + 4,
        [&](XDR* x) {
            return xdr_u_int(x, &error) && xdr_u_int(x, &link) && xdr_u_int(x, &abortPort) &&
                   xdr_u_int(x, &maxReceive);
        },
        16, callTimeout(timeoutMs));
    if (error != NoError) {
        const QString text =
            QStringLiteral("%1: the VXI-11 server refused a link to device \"%2\" (error %3: %4)")
                .arg(m_resource, m_device)
                .arg(error)
                .arg(errorName(error));
        throw IOError(error == DeviceNotAccessible || error == InvalidAddress ? IOError::NotFound
                      : error == DeviceLocked                                 ? IOError::Timeout
                                                                              : IOError::Io,
                      text);
    }
    m_link = link;
    m_linked = true;
    m_maxWrite = maxReceive == 0 ? kMaxWrite : std::min<qsizetype>(kMaxWrite, maxReceive);
}

Vxi11Transport::~Vxi11Transport() {
    close();
}

void Vxi11Transport::fail(quint32 code, const QString& what) const {
    const QString text = QStringLiteral("%1: %2 failed: %3 (VXI-11 error %4)")
                             .arg(m_resource, what, errorName(code))
                             .arg(code);
    switch (code) {
    case IoTimeout:
    case DeviceLocked:
        throw IOError(IOError::Timeout, text);
    case InvalidLink:
        throw IOError(IOError::Dropped, text);
    case OperationNotSupported:
        throw IOError(IOError::Unsupported, text);
    default:
        throw IOError(IOError::Io, text);
    }
}

void Vxi11Transport::write(const QByteArray& bytes, int timeoutMs) {
    qsizetype sent = 0;
    // An empty write still goes out: it carries the END of an empty message.
    do {
        const qsizetype piece = std::min(m_maxWrite, bytes.size() - sent);
        const bool last = sent + piece == bytes.size();
        u_int link = m_link, ioTimeout = timeoutArg(timeoutMs), lockTimeout = ioTimeout;
        u_int flags = kWaitLock | (last ? kEnd : 0);
        u_int error = 0, accepted = 0;
        m_client->call(
            kCoreProgram, kCoreVersion, DeviceWrite,
            [&](XDR* x) {
                char* data = const_cast<char*>(bytes.constData() + sent);
                u_int length = static_cast<u_int>(piece);
                return xdr_u_int(x, &link) && xdr_u_int(x, &ioTimeout) && xdr_u_int(x, &lockTimeout) &&
                       xdr_u_int(x, &flags) && xdr_bytes(x, &data, &length, length);
            },
            kWriteArgsBytes + piece + 4,
            [&](XDR* x) { return xdr_u_int(x, &error) && xdr_u_int(x, &accepted); }, 8,
            callTimeout(timeoutMs));
        if (error != NoError) fail(error, QStringLiteral("device_write"));
        if (accepted == 0 && piece > 0)
            throw IOError(
                IOError::Io,
                QStringLiteral("%1: the instrument took none of %2 bytes").arg(m_resource).arg(piece));
        sent += std::min<qsizetype>(accepted, piece);
    } while (sent < bytes.size());
}

bool Vxi11Transport::decodeReadResults(XDR* x, quint32 requested, ReadResults& results,
                                       const std::function<char*(qsizetype)>& target) {
    u_int error = 0, reason = 0, length = 0;
    // The data's length is checked against what was asked for before it is stored.
    if (!xdr_u_int(x, &error) || !xdr_u_int(x, &reason) || !xdr_u_int(x, &length) || length > requested)
        return false;
    results = {error, reason, length};
    char* out = length > 0 ? target(length) : nullptr;
    return length == 0 || (out && xdr_opaque(x, out, length));
}

ReadCount Vxi11Transport::readCall(qsizetype maxBytes, int timeoutMs,
                                   const std::function<char*(qsizetype)>& target) {
    const qsizetype request = std::clamp<qsizetype>(maxBytes, 1, kMaxRead);
    u_int link = m_link, requestSize = static_cast<u_int>(request), ioTimeout = timeoutArg(timeoutMs);
    u_int lockTimeout = ioTimeout, flags = kWaitLock, termChar = 0;
    ReadResults results;
    try {
        m_client->call(
            kCoreProgram, kCoreVersion, DeviceRead,
            [&](XDR* x) {
                return xdr_u_int(x, &link) && xdr_u_int(x, &requestSize) && xdr_u_int(x, &ioTimeout) &&
                       xdr_u_int(x, &lockTimeout) && xdr_u_int(x, &flags) && xdr_u_int(x, &termChar);
            },
            24, [&](XDR* x) { return decodeReadResults(x, requestSize, results, target); },
            kReadReplyBytes + request + 4, callTimeout(timeoutMs));
    } catch (const IOError& e) {
        // A connection that went away or a reply that did not come are what a read reports itself.
        if (e.kind() == IOError::Dropped) return {0, false, ReadChunk::Dropped};
        if (e.kind() == IOError::Timeout && m_client->connected()) return {0, false, ReadChunk::Timeout};
        throw;
    }
    ReadCount result{static_cast<qsizetype>(results.length),
                     results.length > 0 && (results.reason & kReasonEnd), ReadChunk::Ok};
    if (results.error == IoTimeout || results.error == DeviceLocked)
        result.status = ReadChunk::Timeout; // with data, still progress
    else if (results.error != NoError)
        fail(results.error, QStringLiteral("device_read"));
    return result;
}

ReadChunk Vxi11Transport::read(qsizetype maxBytes, int timeoutMs) {
    ReadChunk chunk;
    const ReadCount count = readCall(maxBytes, timeoutMs, [&](qsizetype length) {
        chunk.data.resize(length);
        return chunk.data.data();
    });
    chunk.data.truncate(count.count);
    chunk.end = count.end;
    chunk.status = count.status;
    return chunk;
}

ReadCount Vxi11Transport::readInto(char* out, qsizetype maxBytes, int timeoutMs) {
    return readCall(maxBytes, timeoutMs,
                    [&](qsizetype length) { return length <= maxBytes ? out : nullptr; });
}

void Vxi11Transport::clear(int timeoutMs) {
    u_int link = m_link, flags = kWaitLock, lockTimeout = timeoutArg(timeoutMs), ioTimeout = lockTimeout;
    u_int error = 0;
    m_client->call(
        kCoreProgram, kCoreVersion, DeviceClear,
        [&](XDR* x) {
            return xdr_u_int(x, &link) && xdr_u_int(x, &flags) && xdr_u_int(x, &lockTimeout) &&
                   xdr_u_int(x, &ioTimeout);
        },
        16, [&](XDR* x) { return xdr_u_int(x, &error); }, 4, callTimeout(timeoutMs));
    if (error != NoError) fail(error, QStringLiteral("device_clear"));
}

void Vxi11Transport::close() {
    if (!m_client) return;
    if (m_linked && m_client->connected()) {
        m_linked = false;
        u_int link = m_link, error = 0;
        try {
            // The server frees the link; a server that does not answer soon is left to notice the
            // connection closing.
            m_client->call(
                kCoreProgram, kCoreVersion, DestroyLink, [&](XDR* x) { return xdr_u_int(x, &link); }, 4,
                [&](XDR* x) { return xdr_u_int(x, &error); }, 4, 500);
        } catch (const IOError&) {
        }
    }
    m_client->close();
}

} // namespace CorvaneIOUtilsLib
