#include "iolib/backends/Vxi11Client.h"

#include "iolib/IOError.h"
#include "iolib/backends/TcpStream.h"

#include <QDeadlineTimer>
#include <QRandomGenerator>
#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <rpc/rpc.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

// After rpc.h, whose types it uses.
#include <rpc/pmap_prot.h>

namespace CorvaneIOUtilsLib {

namespace {

// Reply header: xid, direction, reply status, verifier flavor and length, accept status.
constexpr qsizetype kReplyHeaderBytes = 24;
// Call header with no credentials: xid, direction, RPC version, program, version, procedure and two
// empty authentication fields.
constexpr qsizetype kCallHeaderBytes = 40;
constexpr quint32 kLastFragment = 0x80000000u;
// A reply that overran its call's timeout is skipped when it comes; this many in a row means the
// server answers something other than what we ask.
constexpr int kStaleRepliesTolerated = 8;
// The whole of one call, however steadily its reply trickles in, ends within this many timeouts.
constexpr int kTotalTimeFactor = 10;

} // namespace

Vxi11Client::Vxi11Client(const QString& host, quint16 port, QString resource, QString what, int timeoutMs)
    : m_stream(host, port, std::move(resource), std::move(what), timeoutMs),
      m_nextXid(QRandomGenerator::global()->generate()) {}

Vxi11Client::~Vxi11Client() = default;

bool Vxi11Client::connected() const {
    return m_stream.connected();
}

void Vxi11Client::close() {
    m_stream.close();
}

Vxi11Client::Record Vxi11Client::readRecord(const Receive& receive, QByteArray& record, qsizetype limit,
                                            qsizetype& announced) {
    record.clear();
    for (bool last = false; !last;) {
        unsigned char mark[4];
        if (!receive(reinterpret_cast<char*>(mark), 4)) return Record::Nothing;
        const quint32 word =
            quint32(mark[0]) << 24 | quint32(mark[1]) << 16 | quint32(mark[2]) << 8 | mark[3];
        last = word & kLastFragment;
        const qsizetype length = word & ~kLastFragment;
        // The announced length is checked before anything is taken for it.
        if (length > limit - record.size()) {
            announced = record.size() + length;
            return Record::TooLarge;
        }
        const qsizetype at = record.size();
        record.resize(at + length);
        if (!receive(record.data() + at, length)) return Record::Nothing;
    }
    return Record::Whole;
}

Vxi11Client::Reply Vxi11Client::decodeReply(const QByteArray& record, quint32 xid, const Codec& results,
                                            quint32& acceptStatus) {
    XDR in;
    // Decoding only reads: the record is not written through the pointer.
    xdrmem_create(&in, const_cast<char*>(record.constData()), static_cast<u_int>(record.size()), XDR_DECODE);
    u_int replyXid = 0, direction = 0, replyStatus = 0, flavor = 0, verifierLength = 0, status = 0;
    const auto decode = [&] {
        if (!xdr_u_int(&in, &replyXid) || !xdr_u_int(&in, &direction) || direction != REPLY)
            return Reply::Malformed;
        if (replyXid != xid) return Reply::Stale;
        if (!xdr_u_int(&in, &replyStatus)) return Reply::Malformed;
        if (replyStatus != MSG_ACCEPTED) return Reply::Refused;
        // The verifier is skipped, its length bounded as the protocol bounds it.
        if (!xdr_u_int(&in, &flavor) || !xdr_u_int(&in, &verifierLength) || verifierLength > MAX_AUTH_BYTES ||
            !xdr_setpos(&in, xdr_getpos(&in) + ((verifierLength + 3) & ~3u)) || !xdr_u_int(&in, &status))
            return Reply::Malformed;
        acceptStatus = status;
        if (status != SUCCESS) return Reply::Failed;
        return !results || results(&in) ? Reply::Success : Reply::Malformed;
    };
    const Reply reply = decode();
    xdr_destroy(&in);
    return reply;
}

bool Vxi11Client::receiveRecord(QByteArray& record, qsizetype limit, int timeoutMs) {
    QDeadlineTimer deadline(timeoutMs);
    const QDeadlineTimer total(qint64(timeoutMs) * kTotalTimeFactor);
    bool started = false;
    // Reads exactly count bytes to out, sliding the deadline while they come.
    auto receive = [&](char* out, qsizetype count) {
        qsizetype got = 0;
        while (got < count) {
            const qsizetype n = m_stream.receiveNow(out + got, count - got,
                                                    started ? QStringLiteral("in the middle of a reply")
                                                            : QStringLiteral("before it replied"));
            if (n > 0) {
                got += n;
                started = true;
                deadline.setRemainingTime(timeoutMs);
                continue;
            }
            const TcpStream::Wait wait =
                m_stream.waitFor(POLLIN, std::min(deadline.remainingTime(), total.remainingTime()));
            if (wait == TcpStream::Wait::Failed) m_stream.failDropped(QStringLiteral("while receiving"));
            if (wait == TcpStream::Wait::Timeout) {
                if (!started) return false;
                close(); // half a record is in: the stream is out of step
                throw IOError(IOError::Timeout,
                              QStringLiteral("%1: the reply from %2 at %3 stopped in the middle for %4 ms")
                                  .arg(m_stream.resource(), m_stream.what(), m_stream.where())
                                  .arg(timeoutMs));
            }
        }
        return true;
    };
    qsizetype announced = 0;
    switch (readRecord(receive, record, limit, announced)) {
    case Record::Whole:
        return true;
    case Record::Nothing:
        return false;
    case Record::TooLarge:
        break;
    }
    close();
    throw IOError(IOError::TooLarge,
                  QStringLiteral("%1: %2 at %3 announced a reply of more than %4 bytes, %5 at most were "
                                 "expected")
                      .arg(m_stream.resource(), m_stream.what(), m_stream.where())
                      .arg(announced)
                      .arg(limit));
}

void Vxi11Client::call(quint32 program, quint32 version, quint32 procedure, const Codec& args,
                       qsizetype argsBytes, const Codec& results, qsizetype replyLimit, int timeoutMs) {
    if (!m_stream.connected())
        throw IOError(IOError::Dropped, QStringLiteral("%1: the connection to %2 at %3 is closed")
                                            .arg(m_stream.resource(), m_stream.what(), m_stream.where()));
    const quint32 xid = m_nextXid++;
    QByteArray request(4 + kCallHeaderBytes + argsBytes, Qt::Uninitialized);
    XDR out;
    xdrmem_create(&out, request.data() + 4, static_cast<u_int>(request.size() - 4), XDR_ENCODE);
    rpc_msg message{};
    message.rm_xid = xid;
    message.rm_direction = CALL;
    message.rm_call.cb_rpcvers = RPC_MSG_VERSION;
    message.rm_call.cb_prog = program;
    message.rm_call.cb_vers = version;
    message.rm_call.cb_proc = procedure;
    message.rm_call.cb_cred.oa_flavor = AUTH_NONE;
    message.rm_call.cb_verf.oa_flavor = AUTH_NONE;
    const bool encoded = xdr_callmsg(&out, &message) && (!args || args(&out));
    const u_int length = xdr_getpos(&out);
    xdr_destroy(&out);
    if (!encoded)
        throw IOError(IOError::Unsupported, QStringLiteral("%1: the request does not fit a call to %2")
                                                .arg(m_stream.resource(), m_stream.what()));
    request.truncate(4 + length);
    const quint32 mark = kLastFragment | length;
    for (int i = 0; i < 4; ++i)
        request[i] = char(mark >> (24 - 8 * i));
    m_stream.sendAll(request, timeoutMs);

    QByteArray reply;
    for (int stale = 0;; ++stale) {
        if (!receiveRecord(reply, kReplyHeaderBytes + 400 + replyLimit, timeoutMs))
            throw IOError(IOError::Timeout, QStringLiteral("%1: %2 at %3 did not reply within %4 ms")
                                                .arg(m_stream.resource(), m_stream.what(), m_stream.where())
                                                .arg(timeoutMs));
        quint32 acceptStatus = 0;
        const Reply decoded = decodeReply(reply, xid, results, acceptStatus);
        if (decoded == Reply::Success) return;
        if (decoded == Reply::Stale && stale < kStaleRepliesTolerated)
            continue; // the late answer to a call that timed out
        QString why = QStringLiteral("a malformed reply");
        if (decoded == Reply::Refused)
            why = QStringLiteral("a refusal of the call");
        else if (decoded == Reply::Failed)
            why = QStringLiteral("an error (accept status %1) to procedure %2 of program %3")
                      .arg(acceptStatus)
                      .arg(procedure)
                      .arg(program);
        throw IOError(IOError::Protocol,
                      QStringLiteral("%1: %2 at %3 sent %4")
                          .arg(m_stream.resource(), m_stream.what(), m_stream.where(), why));
    }
}

quint16 Vxi11Client::lookupPort(const QString& host, quint16 portmapperPort, quint32 program, quint32 version,
                                const QString& resource, int timeoutMs) {
    Vxi11Client portmapper(host, portmapperPort, resource, QStringLiteral("the portmapper"), timeoutMs);
    u_int prog = program, vers = version, protocol = IPPROTO_TCP, none = 0, port = 0;
    portmapper.call(
        PMAPPROG, PMAPVERS, PMAPPROC_GETPORT,
        [&](XDR* x) {
            return xdr_u_int(x, &prog) && xdr_u_int(x, &vers) && xdr_u_int(x, &protocol) &&
                   xdr_u_int(x, &none);
        },
        16, [&](XDR* x) { return xdr_u_int(x, &port); }, 4, timeoutMs);
    if (port == 0 || port > 65535)
        throw IOError(IOError::NotFound, QStringLiteral("%1: the portmapper at %2 knows no VXI-11 server (it "
                                                        "gave port %3)")
                                             .arg(resource, portmapper.m_stream.where())
                                             .arg(port));
    return static_cast<quint16>(port);
}

} // namespace CorvaneIOUtilsLib
