#include "sim/vxi11/Vxi11Server.h"

#include "sim/SimConnection.h"
#include "sim/SimSockets.h"
#include "sim/vxi11/XdrStream.h"

#include <QMap>
#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace tavrelsim {

namespace {

constexpr quint32 kPortmapperProgram = 100000;
constexpr quint32 kPortmapperVersion = 2;
constexpr quint32 kGetPort = 3;
constexpr quint32 kTcp = 6;

enum AcceptStatus : quint32 {
    Success = 0,
    ProgUnavail = 1,
    ProgMismatch = 2,
    ProcUnavail = 3,
    GarbageArgs = 4
};
enum CoreProcedure : quint32 {
    CreateLink = 10,
    DeviceWrite = 11,
    DeviceRead = 12,
    DeviceReadStb = 13,
    DeviceClear = 15,
    DeviceDoCmd = 22,
    DestroyLink = 23,
};
enum DeviceError : quint32 {
    NoError = 0,
    ParameterError = 5,
    OperationNotSupported = 8,
    OutOfResources = 9,
    InvalidLink = 4,
    IoTimeout = 15,
    InvalidAddress = 21,
};
constexpr quint32 kFlagEnd = 0x08;
constexpr quint32 kFlagTermChar = 0x80;
constexpr quint32 kReasonRequestCount = 0x01;
constexpr quint32 kReasonChar = 0x02;
constexpr quint32 kReasonEnd = 0x04;

// A request carries at most one write's data and its header; more means the host is out of step.
constexpr qsizetype kMaxRequest = Vxi11Server::kMaxReceive + 1024;
// What a link gathers of a message written in pieces before its END.
constexpr qsizetype kMaxMessage = 64 * 1024 * 1024;
constexpr quint32 kMaxReadReply = 4 * 1024 * 1024;
// An instrument's I/O timeout is held to this, so that a connection's thread always comes back.
constexpr quint32 kMaxIoTimeoutMs = 60000;

// One record of the stream; false at its end, on an error, or for a record past kMaxRequest.
bool receiveRecord(int fd, QByteArray& record) {
    record.clear();
    for (bool last = false; !last;) {
        uchar mark[4];
        if (!receiveAll(fd, reinterpret_cast<char*>(mark), 4)) return false;
        const quint32 word =
            quint32(mark[0]) << 24 | quint32(mark[1]) << 16 | quint32(mark[2]) << 8 | mark[3];
        last = word & 0x80000000u;
        const qsizetype length = word & 0x7fffffffu;
        if (length > kMaxRequest - record.size()) return false;
        const qsizetype at = record.size();
        record.resize(at + length);
        if (!receiveAll(fd, record.data() + at, length)) return false;
    }
    return true;
}

QByteArray recordOf(const QByteArray& message) {
    XdrWriter mark;
    mark.u32(0x80000000u | quint32(message.size()));
    return mark.bytes() + message;
}

XdrWriter acceptedReply(quint32 xid, AcceptStatus status) {
    XdrWriter reply;
    reply.u32(xid).u32(1).u32(0).u32(0).u32(0).u32(status); // REPLY, MSG_ACCEPTED, no verifier
    return reply;
}

} // namespace

struct Vxi11Server::Connection {
    struct Link {
        std::shared_ptr<SimConnection> instrument;
        QByteArray pending;  // a message written in pieces, until its END
        QByteArray leftover; // read from the instrument, not yet asked for
        bool leftoverEnd = false;
        bool dropped = false; // the instrument's connection went away
    };
    int fd = -1;
    std::thread thread;
    std::atomic<bool> done{false};
    std::mutex mutex; // guards links against stop()
    QMap<quint32, Link> links;
};

Vxi11Server::Vxi11Server(std::shared_ptr<SimBench> bench) : m_bench(std::move(bench)) {}

Vxi11Server::~Vxi11Server() {
    stop();
    for (int fd : {m_portmapperFd, m_coreFd, m_wake[0], m_wake[1]})
        if (fd >= 0) ::close(fd);
}

QString Vxi11Server::deviceName(const SimPlacement& placement) {
    if (placement.bus == SimPlacement::Com) return QStringLiteral("com%1").arg(placement.comPort);
    return QStringLiteral("gpib%1,%2").arg(placement.board).arg(placement.address);
}

bool Vxi11Server::listen(quint16 portmapperPort, QString* error) {
    m_portmapperFd = listenOnLoopback(portmapperPort, &m_portmapperPort, error);
    if (m_portmapperFd < 0) {
        *error = QStringLiteral("VXI-11 portmapper: ") + *error;
        return false;
    }
    m_coreFd = listenOnLoopback(0, &m_corePort, error);
    if (m_coreFd < 0) {
        *error = QStringLiteral("VXI-11 core channel: ") + *error;
        return false;
    }
    if (::pipe2(m_wake, O_CLOEXEC) != 0) {
        *error = QStringLiteral("VXI-11: %1").arg(QString::fromLocal8Bit(std::strerror(errno)));
        return false;
    }
    return true;
}

void Vxi11Server::start() {
    if (m_coreFd >= 0 && !m_acceptThread.joinable()) m_acceptThread = std::thread([this] { acceptLoop(); });
}

void Vxi11Server::stop() {
    if (m_stop.exchange(true)) return;
    if (m_wake[1] >= 0) (void)::write(m_wake[1], "x", 1);
    if (m_acceptThread.joinable()) m_acceptThread.join();
    std::list<std::shared_ptr<Connection>> connections;
    {
        std::lock_guard lock(m_mutex);
        connections.swap(m_connections);
    }
    for (const auto& connection : connections) {
        ::shutdown(connection->fd, SHUT_RDWR); // a blocked receive returns
        std::lock_guard lock(connection->mutex);
        for (const auto& link : std::as_const(connection->links))
            link.instrument->close(); // so does a blocked instrument read
    }
    for (const auto& connection : connections) {
        if (connection->thread.joinable()) connection->thread.join();
        ::close(connection->fd);
    }
}

void Vxi11Server::reapFinished() {
    std::lock_guard lock(m_mutex);
    for (auto it = m_connections.begin(); it != m_connections.end();) {
        if ((*it)->done) {
            (*it)->thread.join();
            ::close((*it)->fd);
            it = m_connections.erase(it);
        } else {
            ++it;
        }
    }
}

void Vxi11Server::acceptLoop() {
    while (!m_stop) {
        pollfd fds[3] = {{m_portmapperFd, POLLIN, 0}, {m_coreFd, POLLIN, 0}, {m_wake[0], POLLIN, 0}};
        if (::poll(fds, 3, -1) < 0 && errno != EINTR) return;
        if (m_stop || fds[2].revents) return;
        for (int i = 0; i < 2; ++i) {
            if (!(fds[i].revents & POLLIN)) continue;
            const int fd = ::accept4(fds[i].fd, nullptr, nullptr, SOCK_CLOEXEC);
            if (fd < 0) continue;
            const int on = 1;
            ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
            reapFinished();
            auto connection = std::make_shared<Connection>();
            connection->fd = fd;
            std::lock_guard lock(m_mutex);
            connection->thread = std::thread([this, connection] { serve(connection); });
            m_connections.push_back(connection);
        }
    }
}

void Vxi11Server::serve(const std::shared_ptr<Connection>& connection) {
    const int fd = connection->fd;
    QByteArray request;
    while (!m_stop && receiveRecord(fd, request)) {
        XdrReader in(request);
        const quint32 xid = in.u32();
        const quint32 direction = in.u32();
        const quint32 rpcVersion = in.u32();
        const quint32 program = in.u32();
        const quint32 version = in.u32();
        const quint32 procedure = in.u32();
        for (int auth = 0; auth < 2; ++auth) { // credentials, verifier
            in.u32();
            in.opaque(400);
        }
        if (!in.ok() || direction != 0) break; // not a call: the host is out of step
        if (rpcVersion != 2) {
            XdrWriter denied; // MSG_DENIED, RPC_MISMATCH, versions 2..2
            denied.u32(xid).u32(1).u32(1).u32(0).u32(2).u32(2);
            if (!sendAll(fd, recordOf(denied.bytes()))) break;
            continue;
        }
        bool hangUp = false;
        XdrWriter reply = acceptedReply(xid, Success);
        if (program == kPortmapperProgram && version == kPortmapperVersion) {
            if (procedure == kGetPort) {
                const quint32 wanted = in.u32(), wantedVersion = in.u32(), protocol = in.u32();
                in.u32();
                const bool core = wanted == kCoreProgram && wantedVersion == kCoreVersion && protocol == kTcp;
                reply = in.ok() ? acceptedReply(xid, Success).u32(core ? m_corePort : 0)
                                : acceptedReply(xid, GarbageArgs);
            } else if (procedure != 0) {
                reply = acceptedReply(xid, ProcUnavail);
            }
        } else if (program == kCoreProgram && version == kCoreVersion) {
            std::unique_lock lock(connection->mutex);
            switch (procedure) {
            case CreateLink: {
                in.u32(); // client id
                in.u32(); // lock device
                in.u32(); // lock timeout
                const QString device = QString::fromLatin1(in.opaque(256)).toLower();
                if (!in.ok()) {
                    reply = acceptedReply(xid, GarbageArgs);
                    break;
                }
                std::shared_ptr<SimConnection> instrument;
                for (const SimPlacement& p : m_bench->placements()) {
                    const bool first =
                        device == QLatin1String(kDefaultDevice) && p.kind == QLatin1String("tavrel");
                    if (first || deviceName(p) == device) {
                        instrument = m_bench->openLink(p);
                        break;
                    }
                }
                if (!instrument) {
                    reply.u32(InvalidAddress).u32(0).u32(0).u32(kMaxReceive);
                    break;
                }
                const quint32 id = m_nextLink++;
                connection->links[id].instrument = std::move(instrument);
                reply.u32(NoError).u32(id).u32(0).u32(kMaxReceive); // no abort channel
                break;
            }
            case DeviceWrite: {
                const quint32 id = in.u32();
                in.u32(); // I/O timeout: the instrument takes everything at once
                in.u32(); // lock timeout
                const quint32 flags = in.u32();
                const QByteArray data = in.opaque(kMaxReceive);
                if (!in.ok()) {
                    reply = acceptedReply(xid, GarbageArgs);
                    break;
                }
                if (!connection->links.contains(id)) {
                    reply.u32(InvalidLink).u32(0);
                    break;
                }
                Connection::Link& link = connection->links[id];
                if (link.pending.size() + data.size() > kMaxMessage) {
                    link.pending.clear();
                    reply.u32(OutOfResources).u32(0);
                    break;
                }
                link.pending += data;
                if (flags & kFlagEnd) {
                    link.instrument->write(link.pending);
                    link.pending.clear();
                }
                reply.u32(NoError).u32(quint32(data.size()));
                break;
            }
            case DeviceRead: {
                const quint32 id = in.u32();
                const quint32 requestSize = std::clamp<quint32>(in.u32(), 1, kMaxReadReply);
                const quint32 ioTimeout = std::min(in.u32(), kMaxIoTimeoutMs);
                in.u32(); // lock timeout
                const quint32 flags = in.u32();
                const char termChar = char(in.u32());
                if (!in.ok()) {
                    reply = acceptedReply(xid, GarbageArgs);
                    break;
                }
                if (!connection->links.contains(id)) {
                    reply.u32(InvalidLink).u32(0).opaque({});
                    break;
                }
                Connection::Link& link = connection->links[id];
                if (link.leftover.isEmpty()) {
                    if (link.dropped) {
                        hangUp = true; // the instrument went away: so does its server
                        break;
                    }
                    std::shared_ptr<SimConnection> instrument = link.instrument;
                    lock.unlock(); // stop() may close the instrument meanwhile
                    const SimReadResult r = instrument->read(requestSize, int(ioTimeout));
                    lock.lock();
                    link.leftover = r.data;
                    link.leftoverEnd = r.end;
                    link.dropped = r.status == SimReadResult::Dropped;
                    if (link.leftover.isEmpty()) {
                        if (link.dropped) {
                            hangUp = true;
                            break;
                        }
                        reply.u32(IoTimeout).u32(0).opaque({});
                        break;
                    }
                }
                qsizetype take = std::min<qsizetype>(requestSize, link.leftover.size());
                quint32 reason = take == qsizetype(requestSize) ? kReasonRequestCount : 0;
                if (flags & kFlagTermChar) {
                    if (const qsizetype at = link.leftover.indexOf(termChar); at >= 0 && at < take) {
                        take = at + 1;
                        reason = kReasonChar;
                    }
                }
                if (take == link.leftover.size() && link.leftoverEnd) reason |= kReasonEnd;
                reply.u32(NoError).u32(reason).opaque(link.leftover.left(take));
                link.leftover.remove(0, take);
                break;
            }
            case DeviceClear: {
                const quint32 id = in.u32();
                if (!connection->links.contains(id)) {
                    reply.u32(InvalidLink);
                    break;
                }
                Connection::Link& link = connection->links[id];
                link.instrument->clear();
                link.pending.clear();
                link.leftover.clear();
                reply.u32(NoError);
                break;
            }
            case DestroyLink: {
                const quint32 id = in.u32();
                const bool known = connection->links.contains(id);
                if (known) connection->links.take(id).instrument->close();
                reply.u32(known ? NoError : InvalidLink);
                break;
            }
            case DeviceReadStb:
                reply.u32(OperationNotSupported).u32(0);
                break;
            case DeviceDoCmd:
                reply.u32(OperationNotSupported).opaque({});
                break;
            case 14: // trigger, remote, local, lock, unlock, enable SRQ: a Device_Error each
            case 16:
            case 17:
            case 18:
            case 19:
            case 20:
            case 25: // interrupt channel
            case 26:
                reply.u32(OperationNotSupported);
                break;
            default:
                reply = acceptedReply(xid, ProcUnavail);
            }
        } else if (program == kCoreProgram || program == kPortmapperProgram) {
            const quint32 supported = program == kCoreProgram ? kCoreVersion : kPortmapperVersion;
            reply = acceptedReply(xid, ProgMismatch).u32(supported).u32(supported);
        } else {
            reply = acceptedReply(xid, ProgUnavail);
        }
        if (hangUp || !sendAll(fd, recordOf(reply.bytes()))) break;
    }
    {
        std::lock_guard lock(connection->mutex);
        for (const auto& link : std::as_const(connection->links))
            link.instrument->close();
        connection->links.clear();
    }
    ::shutdown(fd, SHUT_RDWR); // closed once the thread is joined, so stop() never meets a reused fd
    connection->done = true;
}

} // namespace tavrelsim
