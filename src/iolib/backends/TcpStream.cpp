#include "iolib/backends/TcpStream.h"

#include "iolib/IOError.h"

#include <QDeadlineTimer>
#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <cstring>
#include <memory>
#include <mutex>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace CorvaneIOUtilsLib {

namespace {

QString errnoText(int error) {
    return QString::fromLocal8Bit(std::strerror(error));
}

} // namespace

// The resolver has no timeout of its own: a name is looked up on a thread of its own, which is left
// to finish by itself (and free what it found) when the timeout passes first.
addrinfo* TcpStream::resolve(const QString& host, quint16 port, int timeoutMs) const {
    struct Lookup {
        std::mutex mutex;
        std::condition_variable done;
        bool finished = false;
        bool abandoned = false;
        int rc = 0;
        addrinfo* found = nullptr;
    };
    const auto lookup = std::make_shared<Lookup>();
    std::thread([lookup, name = host.toUtf8(), service = QByteArray::number(port)] {
        addrinfo hints{};
        hints.ai_family = AF_UNSPEC;
        hints.ai_socktype = SOCK_STREAM;
        addrinfo* found = nullptr;
        const int rc = ::getaddrinfo(name.constData(), service.constData(), &hints, &found);
        std::lock_guard lock(lookup->mutex);
        if (lookup->abandoned) {
            if (rc == 0) ::freeaddrinfo(found);
            return;
        }
        lookup->rc = rc;
        lookup->found = found;
        lookup->finished = true;
        lookup->done.notify_all();
    }).detach();
    std::unique_lock lock(lookup->mutex);
    if (!lookup->done.wait_for(lock, std::chrono::milliseconds(std::max(0, timeoutMs)),
                               [&] { return lookup->finished; })) {
        lookup->abandoned = true;
        throw IOError(
            IOError::Timeout,
            QStringLiteral("%1: host %2 was not found within %3 ms").arg(m_resource, host).arg(timeoutMs));
    }
    if (lookup->rc != 0)
        throw IOError(IOError::NotFound,
                      QStringLiteral("%1: host %2 not found (%3)")
                          .arg(m_resource, host, QString::fromLocal8Bit(gai_strerror(lookup->rc))));
    return lookup->found;
}

TcpStream::TcpStream(const QString& host, quint16 port, QString resource, QString what, int timeoutMs)
    : m_resource(std::move(resource)), m_what(std::move(what)),
      m_where(QStringLiteral("%1:%2").arg(host).arg(port)) {
    const QDeadlineTimer deadline(timeoutMs);
    addrinfo* found = resolve(host, port, timeoutMs);
    QString problem;
    bool timedOut = false;
    for (addrinfo* a = found; a && m_fd < 0; a = a->ai_next) {
        const int fd = ::socket(a->ai_family, a->ai_socktype | SOCK_CLOEXEC | SOCK_NONBLOCK, a->ai_protocol);
        if (fd < 0) {
            problem = errnoText(errno);
            continue;
        }
        m_fd = fd;
        if (::connect(fd, a->ai_addr, a->ai_addrlen) != 0 && errno != EINPROGRESS) {
            problem = errnoText(errno);
        } else {
            const Wait ready = waitFor(POLLOUT, deadline.remainingTime());
            int error = 0;
            socklen_t length = sizeof error;
            if (ready == Wait::Ready && ::getsockopt(fd, SOL_SOCKET, SO_ERROR, &error, &length) == 0 &&
                error == 0)
                break;
            timedOut = ready == Wait::Timeout;
            problem = timedOut ? QString() : errnoText(error ? error : errno);
        }
        ::close(fd);
        m_fd = -1;
    }
    ::freeaddrinfo(found);
    if (m_fd >= 0) {
        const int on = 1;
        ::setsockopt(m_fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        return;
    }
    if (timedOut)
        throw IOError(IOError::Timeout, QStringLiteral("%1: no answer from %2 at %3 within %4 ms")
                                            .arg(m_resource, m_what, m_where)
                                            .arg(timeoutMs));
    throw IOError(IOError::NotFound, QStringLiteral("%1: %2 at %3 does not accept connections (%4)")
                                         .arg(m_resource, m_what, m_where, problem));
}

TcpStream::~TcpStream() {
    close();
}

void TcpStream::close() {
    if (m_fd >= 0) ::close(m_fd);
    m_fd = -1;
}

void TcpStream::failDropped(const QString& when) {
    close();
    throw IOError(
        IOError::Dropped,
        QStringLiteral("%1: the connection to %2 at %3 went away %4").arg(m_resource, m_what, m_where, when));
}

TcpStream::Wait TcpStream::waitFor(short events, qint64 remainingMs) {
    const QDeadlineTimer deadline(std::max<qint64>(0, remainingMs));
    for (;;) {
        pollfd p{m_fd, events, 0};
        const int ready =
            ::poll(&p, 1, static_cast<int>(std::min<qint64>(deadline.remainingTime(), 1 << 30)));
        if (ready > 0) return (p.revents & (events | POLLHUP | POLLERR)) ? Wait::Ready : Wait::Failed;
        if (ready == 0) return Wait::Timeout;
        if (errno != EINTR) return Wait::Failed;
    }
}

void TcpStream::sendAll(const QByteArray& bytes, int timeoutMs) {
    QDeadlineTimer deadline(timeoutMs);
    qsizetype sent = 0;
    while (sent < bytes.size()) {
        const ssize_t n = ::send(m_fd, bytes.constData() + sent, static_cast<size_t>(bytes.size() - sent),
                                 MSG_DONTWAIT | MSG_NOSIGNAL);
        if (n > 0) {
            sent += n;
            deadline.setRemainingTime(timeoutMs);
            continue;
        }
        if (n < 0 && errno == EINTR) continue;
        if (n < 0 && errno != EAGAIN && errno != EWOULDBLOCK)
            failDropped(QStringLiteral("while sending (%1)").arg(errnoText(errno)));
        const Wait wait = waitFor(POLLOUT, deadline.remainingTime());
        if (wait == Wait::Timeout) {
            // Part of a message is out: the stream cannot carry another one.
            close();
            throw IOError(IOError::Timeout, QStringLiteral("%1: %2 at %3 took nothing for %4 ms")
                                                .arg(m_resource, m_what, m_where)
                                                .arg(timeoutMs));
        }
        if (wait == Wait::Failed) failDropped(QStringLiteral("while sending"));
    }
}

qsizetype TcpStream::receiveNow(char* out, qsizetype count, const QString& when) {
    for (;;) {
        const ssize_t n = ::recv(m_fd, out, static_cast<size_t>(count), MSG_DONTWAIT);
        if (n > 0) return n;
        if (n == 0) failDropped(when);
        if (errno == EINTR) continue;
        if (errno == EAGAIN || errno == EWOULDBLOCK) return 0;
        failDropped(QStringLiteral("%1 (%2)").arg(when, errnoText(errno)));
    }
}

} // namespace CorvaneIOUtilsLib
