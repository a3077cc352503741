#pragma once

#include <QtGlobal>
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

// A listening TCP socket on 127.0.0.1 at a port the system picks, for test instruments that must be
// plain sockets rather than the simulator. Returns the socket (or -1) and sets port.
inline int ListenOnLoopback(quint16& port) {
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    if (fd < 0 || ::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(fd, 4) != 0 || ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
        if (fd >= 0) ::close(fd);
        port = 0;
        return -1;
    }
    port = ntohs(address.sin_port);
    return fd;
}
