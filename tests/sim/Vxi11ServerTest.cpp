// The simulator's VXI-11 server on the wire: its portmapper, its answers to calls it cannot serve,
// input that is not RPC, and a link's hold on the instrument's output.

#include "sim/vxi11/Vxi11Server.h"
#include "sim/SimConnection.h"
#include "sim/vxi11/XdrStream.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

using namespace tavrelsim;

namespace {

// A connection to 127.0.0.1:port that sends whole records and reads one back.
class RpcConnection {
public:
    explicit RpcConnection(quint16 port) : m_fd(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        address.sin_port = htons(port);
        m_connected = ::connect(m_fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
    }
    ~RpcConnection() { ::close(m_fd); }
    bool connected() const { return m_connected; }

    void sendRaw(const QByteArray& bytes) {
        ::send(m_fd, bytes.constData(), size_t(bytes.size()), MSG_NOSIGNAL);
    }
    // One call: xid 7, no credentials.
    void call(quint32 rpcVersion, quint32 program, quint32 version, quint32 procedure,
              const QByteArray& args) {
        XdrWriter message;
        message.u32(7)
            .u32(0)
            .u32(rpcVersion)
            .u32(program)
            .u32(version)
            .u32(procedure)
            .u32(0)
            .u32(0)
            .u32(0)
            .u32(0);
        const QByteArray body = message.bytes() + args;
        sendRaw(XdrWriter().u32(0x80000000u | quint32(body.size())).bytes() + body);
    }
    // The words of the reply after its xid; empty when the server closed the connection instead.
    QList<quint32> reply() {
        QByteArray bytes;
        for (;;) {
            pollfd p{m_fd, POLLIN, 0};
            if (::poll(&p, 1, 2000) <= 0) break;
            char chunk[4096];
            const ssize_t n = ::recv(m_fd, chunk, sizeof chunk, 0);
            if (n <= 0) break;
            bytes.append(chunk, n);
            if (bytes.size() >= 4 && bytes.size() - 4 >= qsizetype(XdrReader(bytes).u32() & 0x7fffffffu))
                break;
        }
        QList<quint32> words;
        XdrReader in(bytes, 8);
        for (qsizetype i = 8; i + 4 <= bytes.size(); i += 4)
            words << in.u32();
        return words;
    }

private:
    int m_fd;
    bool m_connected = false;
};

QByteArray args(std::initializer_list<quint32> values) {
    XdrWriter w;
    for (quint32 v : values)
        w.u32(v);
    return w.bytes();
}

class Vxi11Wire : public ::testing::Test {
protected:
    void SetUp() override {
        QString error;
        ASSERT_TRUE(server.listen(0, &error)) << error.toStdString();
        server.start();
    }
    std::shared_ptr<SimBench> bench = SimBench::defaultBench();
    Vxi11Server server{bench};
};

TEST_F(Vxi11Wire, AnswersEveryCallInItsOwnShape) {
    constexpr quint32 Pmap = 100000, Core = Vxi11Server::kCoreProgram;
    const quint32 core = server.corePort();
    // Reply words after the xid: REPLY, accepted, verifier, accept status, results.
    const struct {
        const char* name;
        quint32 rpcVersion, program, version, procedure;
        QByteArray args;
        QList<quint32> reply;
    } cases[] = {
        {"GETPORT core TCP", 2, Pmap, 2, 3, args({Core, 1, 6, 0}), {1, 0, 0, 0, 0, core}},
        {"GETPORT core UDP", 2, Pmap, 2, 3, args({Core, 1, 17, 0}), {1, 0, 0, 0, 0, 0}},
        {"GETPORT another program", 2, Pmap, 2, 3, args({100003, 3, 6, 0}), {1, 0, 0, 0, 0, 0}},
        {"portmapper NULL", 2, Pmap, 2, 0, {}, {1, 0, 0, 0, 0}},
        {"portmapper DUMP", 2, Pmap, 2, 4, {}, {1, 0, 0, 0, 3}},
        {"GETPORT cut short", 2, Pmap, 2, 3, args({Core}), {1, 0, 0, 0, 4}},
        {"core version 2", 2, Core, 2, 10, {}, {1, 0, 0, 0, 2, 1, 1}},
        {"unknown program", 2, 12345, 1, 0, {}, {1, 0, 0, 0, 1}},
        {"RPC version 3", 3, Core, 1, 10, {}, {1, 1, 0, 2, 2}},
        {"link to a device that is not there",
         2,
         Core,
         1,
         10,
         args({1, 0, 0}) + XdrWriter().opaque("gpib0,9").bytes(),
         {1, 0, 0, 0, 0, 21, 0, 0, Vxi11Server::kMaxReceive}},
        {"write on no link",
         2,
         Core,
         1,
         11,
         args({99, 100, 100, 8}) + XdrWriter().opaque("*IDN?").bytes(),
         {1, 0, 0, 0, 0, 4, 0}},
        {"read status byte", 2, Core, 1, 13, args({1, 0, 0, 0}), {1, 0, 0, 0, 0, 8, 0}},
        {"unknown procedure", 2, Core, 1, 99, {}, {1, 0, 0, 0, 3}},
    };
    for (const auto& c : cases) {
        RpcConnection rpc(c.program == Pmap ? server.portmapperPort() : server.corePort());
        ASSERT_TRUE(rpc.connected());
        rpc.call(c.rpcVersion, c.program, c.version, c.procedure, c.args);
        EXPECT_EQ(rpc.reply(), c.reply) << c.name;
    }
}

TEST_F(Vxi11Wire, HangsUpOnWhatIsNotACall) {
    const QByteArray huge = args({0x80000000u | (64u << 20)}) + QByteArray(64, '\0');
    const QByteArray notACall = args({0x80000000u | 40, 7, 1}) + QByteArray(32, '\0');
    for (const QByteArray& bytes : {huge, notACall}) {
        RpcConnection rpc(server.corePort());
        rpc.sendRaw(bytes);
        EXPECT_TRUE(rpc.reply().isEmpty());
    }
}

// While a link is open the instrument talks to it alone; once closed, the socket hears it again.
TEST(SimLink, HoldsTheInstrumentsOutputWhileOpen) {
    const std::shared_ptr<SimBench> bench = SimBench::defaultBench();
    const SimPlacement scope = bench->placements().at(1); // GPIB0::7
    ASSERT_EQ(scope.model, "TV100A");
    const std::unique_ptr<SimConnection> socket = bench->openSocket(scope);
    std::unique_ptr<SimConnection> link = bench->openLink(scope);
    link->write("*IDN?");
    EXPECT_EQ(socket->read(4096, 200).status, SimReadResult::Timeout);
    const SimReadResult reply = link->read(4096, 1000);
    EXPECT_TRUE(reply.data.startsWith("CORVANE TECHNOLOGIES,TV100A,"));
    EXPECT_TRUE(reply.end);
    link->write("*IDN?");
    link.reset(); // its unread reply goes to the socket
    EXPECT_TRUE(socket->read(4096, 1000).data.startsWith("CORVANE"));
}

} // namespace
