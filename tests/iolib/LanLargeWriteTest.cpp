// A LAN write larger than the socket's send buffer: the part the socket takes at once and the rest
// that waits for the peer must arrive whole and in order.

#include "iolib/IOError.h"
#include "iolib/IOManager.h"
#include "iolib/IOSession.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

using namespace CorvaneIOUtilsLib;

TEST(Lan, AWriteLargerThanTheSendBufferArrivesWholeAndInOrder) {
    const int listener = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    ASSERT_EQ(::bind(listener, reinterpret_cast<sockaddr*>(&address), size), 0);
    ASSERT_EQ(::listen(listener, 1), 0);
    ASSERT_EQ(::getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size), 0);

    QByteArray payload(24 << 20, Qt::Uninitialized);
    for (qsizetype i = 0; i < payload.size(); ++i)
        payload[i] = static_cast<char>((i * 131) >> 8);
    payload.back() = '\n';
    QByteArray received;
    // The peer reads slowly at first, so that the sender finds the socket full.
    std::thread peer([&] {
        const int fd = ::accept(listener, nullptr, nullptr);
        if (fd < 0) return;
        ::usleep(100 * 1000);
        char buffer[65536];
        while (received.size() < payload.size()) {
            const ssize_t got = ::recv(fd, buffer, sizeof buffer, 0);
            if (got <= 0) break;
            received.append(buffer, got);
        }
        const QByteArray reply = "got " + QByteArray::number(received.size()) + '\n';
        ::send(fd, reply.constData(), size_t(reply.size()), 0);
        ::close(fd);
    });
    try {
        auto session =
            IOManager().Open(QStringLiteral("TCPIP0::127.0.0.1::%1::SOCKET").arg(ntohs(address.sin_port)));
        session->SetTimeout(10000);
        session->WriteBytes(payload);
        EXPECT_EQ(session->ReadString(), QStringLiteral("got %1").arg(payload.size()));
    } catch (const IOError& e) {
        ADD_FAILURE() << e.what();
    }
    peer.join();
    ::close(listener);
    EXPECT_TRUE(received == payload) << received.size() << " bytes arrived";
}
