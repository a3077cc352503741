#pragma once

// A server on 127.0.0.1 that answers each message a client sends with the next of a scripted list of
// replies, for the fuzz targets of the network protocols: the input becomes what an instrument sends
// back. Every connection is served by one thread; when the script runs out, or the client sends
// nothing more for a moment, the connection is closed, so the client sees a drop rather than waiting
// out its timeout.
#include <QByteArray>
#include <QList>
#include <QMutex>
#include <arpa/inet.h>
#include <atomic>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace fuzz {

class ScriptedServer {
public:
    // With patchXid, a reply is an ONC RPC record: the record mark and the call's xid are put before
    // the scripted bytes, so that the client takes the reply as the answer to its call.
    explicit ScriptedServer(bool patchXid) : m_patchXid(patchXid) {
        m_listener = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        const int yes = 1;
        ::setsockopt(m_listener, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
        ::bind(m_listener, reinterpret_cast<sockaddr*>(&address), sizeof address);
        ::listen(m_listener, 16);
        socklen_t length = sizeof address;
        ::getsockname(m_listener, reinterpret_cast<sockaddr*>(&address), &length);
        m_port = ntohs(address.sin_port);
        m_thread = std::thread([this] { run(); });
    }
    ~ScriptedServer() {
        m_stop = true;
        m_thread.join();
        ::close(m_listener);
    }
    quint16 port() const { return m_port; }
    void serve(QList<QByteArray> replies) {
        QMutexLocker lock(&m_mutex);
        m_replies = std::move(replies);
    }

private:
    void run() {
        std::vector<pollfd> fds{{m_listener, POLLIN, 0}};
        while (!m_stop) {
            for (pollfd& p : fds)
                p.revents = 0;
            if (::poll(fds.data(), fds.size(), 20) == 0) {
                // A client that went quiet after a reply waits for more than we have: let it go.
                for (size_t i = 1; i < fds.size(); ++i)
                    ::close(fds[i].fd);
                fds.resize(1);
                continue;
            }
            if (fds[0].revents & POLLIN) {
                const int fd = ::accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC);
                // Closed with a reset, not a FIN: thousands of runs a second would otherwise leave as
                // many connections in TIME_WAIT and use up the machine's ports.
                const linger reset{1, 0};
                if (fd >= 0) ::setsockopt(fd, SOL_SOCKET, SO_LINGER, &reset, sizeof reset);
                if (fd >= 0) fds.push_back({fd, POLLIN, 0});
            }
            for (size_t i = 1; i < fds.size();) {
                if (fds[i].revents && !answer(fds[i].fd)) {
                    ::close(fds[i].fd);
                    fds.erase(fds.begin() + long(i));
                } else {
                    ++i;
                }
            }
        }
        for (size_t i = 1; i < fds.size(); ++i)
            ::close(fds[i].fd);
    }

    // Reads what the client sent and writes the next reply; false when the connection is done.
    bool answer(int fd) {
        char request[65536];
        const ssize_t got = ::recv(fd, request, sizeof request, 0);
        if (got <= 0) return false;
        QByteArray reply;
        {
            QMutexLocker lock(&m_mutex);
            if (m_replies.isEmpty()) return false;
            reply = m_replies.takeFirst();
        }
        if (m_patchXid) {
            if (got < 8) return false;
            const quint32 length = quint32(4 + reply.size());
            const quint32 mark = 0x80000000u | length;
            QByteArray record(4, Qt::Uninitialized);
            for (int i = 0; i < 4; ++i)
                record[i] = char(mark >> (24 - 8 * i));
            record.append(request + 4, 4); // the call's xid
            reply = record + reply;
        }
        return ::send(fd, reply.constData(), size_t(reply.size()), MSG_NOSIGNAL) == reply.size();
    }

    const bool m_patchXid;
    int m_listener = -1;
    quint16 m_port = 0;
    std::atomic<bool> m_stop{false};
    QMutex m_mutex;
    QList<QByteArray> m_replies;
    std::thread m_thread;
};

// The input as a list of replies: each a 16-bit big-endian length and that many bytes.
inline QList<QByteArray> repliesOf(const uint8_t* data, size_t size, int most) {
    QList<QByteArray> replies;
    size_t at = 0;
    while (at + 2 <= size && replies.size() < most) {
        const size_t length = std::min<size_t>(size_t(data[at]) << 8 | data[at + 1], size - at - 2);
        replies.append(QByteArray(reinterpret_cast<const char*>(data + at + 2), qsizetype(length)));
        at += 2 + length;
    }
    return replies;
}

} // namespace fuzz
