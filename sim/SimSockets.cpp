#include "sim/SimSockets.h"

#include <QByteArray>
#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace tavrelsim {

int listenOnLoopback(quint16 port, quint16* bound, QString* error) {
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const int on = 1;
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    socklen_t length = sizeof address;
    if (fd < 0 || ::setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) != 0 ||
        ::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 || ::listen(fd, 16) != 0 ||
        ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
        *error = QStringLiteral("cannot listen on 127.0.0.1:%1: %2")
                     .arg(port)
                     .arg(QString::fromLocal8Bit(std::strerror(errno)));
        if (fd >= 0) ::close(fd);
        return -1;
    }
    *bound = ntohs(address.sin_port);
    return fd;
}

bool sendAll(int fd, const QByteArray& bytes) {
    qsizetype sent = 0;
    while (sent < bytes.size()) {
        const ssize_t n = ::send(fd, bytes.constData() + sent, size_t(bytes.size() - sent), MSG_NOSIGNAL);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        sent += n;
    }
    return true;
}

bool receiveAll(int fd, char* out, qsizetype count) {
    qsizetype got = 0;
    while (got < count) {
        const ssize_t n = ::recv(fd, out + got, size_t(count - got), 0);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        got += n;
    }
    return true;
}

} // namespace tavrelsim
