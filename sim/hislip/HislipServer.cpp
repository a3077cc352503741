#include "sim/hislip/HislipServer.h"

#include "sim/SimConnection.h"
#include "sim/SimSockets.h"

#include <QtEndian>
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

enum Type : quint8 {
    Initialize = 0,
    InitializeResponse = 1,
    FatalError = 2,
    Error = 3,
    AsyncLock = 4,
    AsyncLockResponse = 5,
    Data = 6,
    DataEnd = 7,
    DeviceClearComplete = 8,
    DeviceClearAcknowledge = 9,
    AsyncRemoteLocalControl = 10,
    AsyncRemoteLocalResponse = 11,
    AsyncMaximumMessageSize = 15,
    AsyncMaximumMessageSizeResponse = 16,
    AsyncInitialize = 17,
    AsyncInitializeResponse = 18,
    AsyncDeviceClear = 19,
    AsyncStatusQuery = 21,
    AsyncStatusResponse = 22,
    AsyncDeviceClearAcknowledge = 23,
};
// Fatal error codes: a header that is not HiSLIP, a message too large, an unknown session.
constexpr quint8 kPoorlyFormedHeader = 1;
constexpr quint8 kInvalidInitialization = 4;
constexpr quint8 kMaximumClientsExceeded = 5;
// Error codes: an unknown message type.
constexpr quint8 kUnrecognizedMessageType = 1;
constexpr quint32 kServerVersion = 0x0100u << 16;
constexpr quint32 kServerVendor = ('S' << 8) | 'M';
constexpr quint64 kMaxSubAddress = 256;
constexpr quint64 kMaxPending = 64 * 1024 * 1024;

struct Header {
    quint8 type = 0;
    quint8 control = 0;
    quint32 parameter = 0;
    quint64 length = 0;
};

QByteArray message(quint8 type, quint8 control, quint32 parameter, const QByteArray& payload = {}) {
    QByteArray bytes(16, Qt::Uninitialized);
    auto* b = reinterpret_cast<uchar*>(bytes.data());
    b[0] = 'H';
    b[1] = 'S';
    b[2] = type;
    b[3] = control;
    qToBigEndian<quint32>(parameter, b + 4);
    qToBigEndian<quint64>(quint64(payload.size()), b + 8);
    return bytes + payload;
}

// A header; false at the stream's end. *wellFormed says whether it began with "HS".
bool receiveHeader(int fd, Header& header, bool* wellFormed) {
    uchar b[16];
    if (!receiveAll(fd, reinterpret_cast<char*>(b), 16)) return false;
    *wellFormed = b[0] == 'H' && b[1] == 'S';
    header = {b[2], b[3], qFromBigEndian<quint32>(b + 4), qFromBigEndian<quint64>(b + 8)};
    return true;
}

bool receivePayload(int fd, quint64 length, QByteArray& payload) {
    payload.resize(qsizetype(length));
    return receiveAll(fd, payload.data(), payload.size());
}

bool skip(int fd, quint64 length) {
    char sink[4096];
    while (length > 0) {
        const qsizetype piece = qsizetype(std::min<quint64>(length, sizeof sink));
        if (!receiveAll(fd, sink, piece)) return false;
        length -= quint64(piece);
    }
    return true;
}

void fatal(int fd, quint8 code, const char* text) {
    sendAll(fd, message(FatalError, code, 0, QByteArray(text)));
    ::shutdown(fd, SHUT_RDWR);
}

} // namespace

struct HislipServer::Channel {
    int fd = -1;
    std::thread thread;
    std::atomic<bool> done{false};
};

struct HislipServer::Session {
    quint16 id = 0;
    std::shared_ptr<SimConnection> instrument;
    QString subAddress;
    int syncFd = -1;
    std::mutex sendMutex; // the synchronous channel carries the pusher's responses and the clear's answer
    std::atomic<quint32> lastMessageId{0xFFFFFF00u};
    std::atomic<bool> ended{false};
    std::atomic<bool> asyncTaken{false};
    std::thread pusher;

    bool send(const QByteArray& bytes) {
        std::lock_guard lock(sendMutex);
        return sendAll(syncFd, bytes);
    }
};

HislipServer::HislipServer(std::shared_ptr<SimBench> bench) : m_bench(std::move(bench)) {}

HislipServer::~HislipServer() {
    stop();
    for (int fd : {m_listenFd, m_wake[0], m_wake[1]})
        if (fd >= 0) ::close(fd);
}

bool HislipServer::listen(quint16 port, QString* error) {
    m_listenFd = listenOnLoopback(port, &m_port, error);
    if (m_listenFd < 0 || ::pipe2(m_wake, O_CLOEXEC) != 0) {
        if (m_listenFd >= 0) *error = QString::fromLocal8Bit(std::strerror(errno));
        *error = QStringLiteral("HiSLIP: ") + *error;
        return false;
    }
    return true;
}

void HislipServer::start() {
    if (m_listenFd >= 0 && !m_acceptThread.joinable()) m_acceptThread = std::thread([this] { acceptLoop(); });
}

void HislipServer::stop() {
    if (m_stop.exchange(true)) return;
    if (m_wake[1] >= 0) (void)!::write(m_wake[1], "x", 1);
    if (m_acceptThread.joinable()) m_acceptThread.join();
    std::list<std::shared_ptr<Channel>> channels;
    std::list<std::shared_ptr<Session>> sessions;
    {
        std::lock_guard lock(m_mutex);
        channels.swap(m_channels);
        sessions.swap(m_sessions);
    }
    for (const auto& session : sessions) {
        session->ended = true;
        if (session->instrument) session->instrument->close(); // a blocked read returns
    }
    for (const auto& channel : channels)
        ::shutdown(channel->fd, SHUT_RDWR);
    for (const auto& channel : channels) {
        if (channel->thread.joinable()) channel->thread.join();
        ::close(channel->fd);
    }
    for (const auto& session : sessions)
        if (session->pusher.joinable()) session->pusher.join();
}

void HislipServer::reapFinished() {
    std::lock_guard lock(m_mutex);
    for (auto it = m_channels.begin(); it != m_channels.end();) {
        if ((*it)->done) {
            (*it)->thread.join();
            ::close((*it)->fd);
            it = m_channels.erase(it);
        } else {
            ++it;
        }
    }
    for (auto it = m_sessions.begin(); it != m_sessions.end();) {
        if ((*it)->ended && (*it)->pusher.joinable()) {
            (*it)->pusher.join();
            it = m_sessions.erase(it);
        } else {
            ++it;
        }
    }
}

void HislipServer::acceptLoop() {
    while (!m_stop) {
        pollfd fds[2] = {{m_listenFd, POLLIN, 0}, {m_wake[0], POLLIN, 0}};
        if (::poll(fds, 2, -1) < 0 && errno != EINTR) return;
        if (m_stop || fds[1].revents) return;
        if (!(fds[0].revents & POLLIN)) continue;
        const int fd = ::accept4(m_listenFd, nullptr, nullptr, SOCK_CLOEXEC);
        if (fd < 0) continue;
        const int on = 1;
        ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        reapFinished();
        auto channel = std::make_shared<Channel>();
        channel->fd = fd;
        std::lock_guard lock(m_mutex);
        channel->thread = std::thread([this, channel] { serve(channel); });
        m_channels.push_back(channel);
    }
}

std::shared_ptr<SimConnection> HislipServer::instrumentFor(const QString& subAddress) {
    const QList<SimPlacement> placements = m_bench->placements();
    if (subAddress == QLatin1String("hislip0")) {
        for (const SimPlacement& p : placements)
            if (p.kind == QLatin1String("tavrel")) return m_bench->openLink(p);
        return nullptr;
    }
    for (int i = 0; i < placements.size(); ++i)
        if (subAddress == HislipServer::subAddress(i + 1)) return m_bench->openLink(placements[i]);
    return nullptr;
}

void HislipServer::serve(const std::shared_ptr<Channel>& channel) {
    const int fd = channel->fd;
    Header header;
    bool wellFormed = false;
    QByteArray payload;
    if (receiveHeader(fd, header, &wellFormed)) {
        if (!wellFormed) {
            fatal(fd, kPoorlyFormedHeader, "the message header does not begin with HS");
        } else if (header.type == Initialize && header.length <= kMaxSubAddress &&
                   receivePayload(fd, header.length, payload)) {
            std::shared_ptr<SimConnection> instrument = instrumentFor(QString::fromLatin1(payload).toLower());
            if (!instrument) {
                fatal(fd, kInvalidInitialization, "no instrument has that sub-address");
            } else {
                auto session = std::make_shared<Session>();
                session->id = m_nextSession++;
                session->instrument = std::move(instrument);
                session->subAddress = QString::fromLatin1(payload).toLower();
                session->syncFd = fd;
                {
                    std::lock_guard lock(m_mutex);
                    // The newest session of an instrument wins, as when a host reconnects: an older
                    // one's pusher would otherwise take the responses meant for the new one.
                    for (const auto& s : m_sessions) {
                        if (s->ended || s->subAddress != session->subAddress) continue;
                        s->ended = true;
                        s->instrument->close();
                        ::shutdown(s->syncFd, SHUT_RDWR);
                    }
                    m_sessions.push_back(session);
                }
                if (sendAll(fd, message(InitializeResponse, 0, kServerVersion | session->id))) {
                    session->pusher = std::thread([this, session] { push(session); });
                    serveSync(session, fd);
                }
                session->ended = true;
                session->instrument->close();
            }
        } else if (header.type == AsyncInitialize && header.length == 0) {
            std::shared_ptr<Session> session;
            {
                std::lock_guard lock(m_mutex);
                for (const auto& s : m_sessions)
                    if (s->id == quint16(header.parameter) && !s->ended && !s->asyncTaken.exchange(true))
                        session = s;
            }
            if (!session)
                fatal(fd, kMaximumClientsExceeded,
                      "no session waits for an asynchronous channel with that id");
            else if (sendAll(fd, message(AsyncInitializeResponse, 0, kServerVendor)))
                serveAsync(session, fd);
        } else {
            fatal(fd, kPoorlyFormedHeader, "a connection begins with Initialize or AsyncInitialize");
        }
    }
    ::shutdown(fd, SHUT_RDWR); // closed once the thread is joined, so stop() never meets a reused fd
    channel->done = true;
}

void HislipServer::serveSync(const std::shared_ptr<Session>& session, int fd) {
    QByteArray pending, payload;
    Header header;
    bool wellFormed = false;
    while (!m_stop && !session->ended && receiveHeader(fd, header, &wellFormed)) {
        if (!wellFormed) {
            std::lock_guard lock(session->sendMutex);
            fatal(fd, kPoorlyFormedHeader, "the message header does not begin with HS");
            return;
        }
        switch (header.type) {
        case Data:
        case DataEnd:
            if (header.length > kMaxMessage || quint64(pending.size()) + header.length > kMaxPending) {
                std::lock_guard lock(session->sendMutex);
                fatal(fd, kPoorlyFormedHeader, "the message is larger than the server takes");
                return;
            }
            if (!receivePayload(fd, header.length, payload)) return;
            pending += payload;
            if (header.type == DataEnd) {
                session->lastMessageId = header.parameter;
                session->instrument->write(pending);
                pending.clear();
            }
            break;
        case DeviceClearComplete:
            if (!skip(fd, header.length)) return;
            pending.clear();
            {
                // The clear and its answer go together: no response taken before it follows the answer.
                std::lock_guard lock(session->sendMutex);
                session->instrument->clear();
                if (!sendAll(session->syncFd, message(DeviceClearAcknowledge, header.control, 0))) return;
            }
            break;
        default:
            if (!skip(fd, header.length)) return;
            if (!session->send(message(Error, kUnrecognizedMessageType, 0, "unsupported message type")))
                return;
        }
    }
}

// The instrument's responses, sent as they come: Data while a response goes on, DataEnd at its end.
void HislipServer::push(const std::shared_ptr<Session>& session) {
    while (!m_stop && !session->ended) {
        const SimReadResult r = session->instrument->read(64 * 1024, 100);
        if (r.status == SimReadResult::Dropped) break;
        if (r.data.isEmpty() && !r.end) continue;
        std::lock_guard lock(session->sendMutex);
        if (r.clears < session->instrument->clears()) continue; // meant for before a device clear
        if (!sendAll(session->syncFd, message(r.end ? DataEnd : Data, 0, session->lastMessageId, r.data)))
            break;
    }
    session->ended = true;
    ::shutdown(session->syncFd, SHUT_RDWR); // the instrument went away: so does its session
}

void HislipServer::serveAsync(const std::shared_ptr<Session>& session, int fd) {
    Header header;
    bool wellFormed = false;
    QByteArray payload;
    while (!m_stop && !session->ended && receiveHeader(fd, header, &wellFormed)) {
        if (!wellFormed) {
            fatal(fd, kPoorlyFormedHeader, "the message header does not begin with HS");
            return;
        }
        if (header.length > kMaxSubAddress) {
            fatal(fd, kPoorlyFormedHeader, "an asynchronous message carries too much");
            return;
        }
        if (!receivePayload(fd, header.length, payload)) return;
        QByteArray reply;
        switch (header.type) {
        case AsyncMaximumMessageSize: {
            QByteArray size(8, Qt::Uninitialized);
            qToBigEndian<quint64>(kMaxMessage, size.data());
            reply = message(AsyncMaximumMessageSizeResponse, 0, 0, size);
            break;
        }
        case AsyncDeviceClear:
            reply = message(AsyncDeviceClearAcknowledge, 0, 0);
            break;
        case AsyncLock:
            reply = message(AsyncLockResponse, 1, 0); // granted
            break;
        case AsyncStatusQuery:
            reply = message(AsyncStatusResponse, 0, 0);
            break;
        case AsyncRemoteLocalControl:
            reply = message(AsyncRemoteLocalResponse, 0, 0);
            break;
        default:
            reply = message(Error, kUnrecognizedMessageType, 0, "unsupported message type");
        }
        if (!sendAll(fd, reply)) return;
    }
}

} // namespace tavrelsim
