// HiSLIP: the message header bytes as the protocol lays them out, and a scripted server's faults,
// each ending in a clear error naming the address within the timeout.
#include "IolibTestSupport.h"
#include "iolib/IOManager.h"
#include "iolib/IOSession.h"
#include "iolib/backends/HislipMessage.h"
#include "support/LoopbackListener.h"

#include <QtEndian>
#include <poll.h>
#include <thread>

using namespace CorvaneIOUtilsLib;

namespace {

QByteArray hex(const char* text) {
    return QByteArray::fromHex(QByteArray(text).replace(' ', ""));
}

TEST(Hislip, HeadersAreLaidOutAsTheProtocolSays) {
    const struct {
        const char* name;
        QByteArray message;
        QByteArray expected;
    } cases[] = {
        {"Initialize, version 1.0, vendor TV, sub-address hislip0",
         Hislip::encode(Hislip::Initialize, 0, 0x0100u << 16 | Hislip::kVendorId, "hislip0"),
         hex("4853 00 00 01005456 0000000000000007") + "hislip0"},
        {"AsyncInitialize with session 0x1234", Hislip::encode(Hislip::AsyncInitialize, 0, 0x1234),
         hex("4853 11 00 00001234 0000000000000000")},
        {"AsyncMaximumMessageSize of 1 GiB",
         Hislip::encode(Hislip::AsyncMaximumMessageSize, 0, 0, Hislip::encodeSize(quint64(1) << 30)),
         hex("4853 0F 00 00000000 0000000000000008 0000000040000000")},
        {"DataEnd, RMT delivered, the first message id",
         Hislip::encode(Hislip::DataEnd, 1, Hislip::kFirstMessageId, "*IDN?\n"),
         hex("4853 07 01 FFFFFF00 0000000000000006") + "*IDN?\n"},
        {"Data", Hislip::encode(Hislip::Data, 0, 0xFFFFFF02u, "ab"),
         hex("4853 06 00 FFFFFF02 0000000000000002") + "ab"},
        {"AsyncDeviceClear", Hislip::encode(Hislip::AsyncDeviceClear, 0, 0),
         hex("4853 13 00 00000000 0000000000000000")},
        {"DeviceClearComplete, overlap preferred", Hislip::encode(Hislip::DeviceClearComplete, 1, 0),
         hex("4853 08 01 00000000 0000000000000000")},
    };
    for (const auto& c : cases)
        EXPECT_EQ(c.message.toHex(' '), c.expected.toHex(' ')) << c.name;

    Hislip::Header header;
    ASSERT_TRUE(Hislip::decode(hex("4853 07 00 FFFFFF00 0000010000000000").constData(), header));
    EXPECT_EQ(header, (Hislip::Header{Hislip::DataEnd, 0, 0xFFFFFF00u, quint64(1) << 40}));
    EXPECT_FALSE(Hislip::decode(hex("4854 07 00 FFFFFF00 0000000000000000").constData(), header));
}

// A HiSLIP server that opens a session properly and then, after the host's first message, does what
// the case says.
class ScriptedServer {
public:
    ScriptedServer(QByteArray initializeReply, QByteArray afterQuery, bool hangUp)
        : m_initializeReply(std::move(initializeReply)), m_afterQuery(std::move(afterQuery)),
          m_hangUp(hangUp) {
        m_listener = ListenOnLoopback(m_port);
        m_thread = std::thread([this] { serve(); });
    }
    ~ScriptedServer() {
        m_stop = true;
        m_thread.join();
        ::close(m_listener);
    }
    QString address() const { return QStringLiteral("TCPIP0::127.0.0.1::hislip0,%1::INSTR").arg(m_port); }

private:
    int accept() {
        pollfd p{m_listener, POLLIN, 0};
        while (!m_stop)
            if (::poll(&p, 1, 50) > 0) return ::accept(m_listener, nullptr, nullptr);
        return -1;
    }
    bool receive(int fd, qsizetype count, QByteArray* into = nullptr) {
        QByteArray got;
        pollfd p{fd, POLLIN, 0};
        while (got.size() < count && !m_stop) {
            if (::poll(&p, 1, 50) <= 0) continue;
            char buffer[4096];
            const ssize_t n = ::read(fd, buffer, std::min<qsizetype>(sizeof buffer, count - got.size()));
            if (n <= 0) return false;
            got.append(buffer, n);
        }
        if (into) *into = got;
        return got.size() == count;
    }
    bool receiveMessage(int fd) {
        QByteArray header;
        if (!receive(fd, 16, &header)) return false;
        return receive(fd, qFromBigEndian<quint64>(header.constData() + 8));
    }
    void serve() {
        const int sync = accept();
        if (sync < 0 || !receiveMessage(sync)) return;
        (void)!::write(sync, m_initializeReply.constData(), m_initializeReply.size());
        int async = -1;
        if (m_initializeReply.startsWith(hex("4853 01"))) {
            async = accept();
            if (async >= 0 && receiveMessage(async)) {
                const QByteArray reply = Hislip::encode(Hislip::AsyncInitializeResponse, 0, 0);
                (void)!::write(async, reply.constData(), reply.size());
            }
            if (async >= 0 && receiveMessage(async)) {
                const QByteArray reply = Hislip::encode(Hislip::AsyncMaximumMessageSizeResponse, 0, 0,
                                                        Hislip::encodeSize(1024 * 1024));
                (void)!::write(async, reply.constData(), reply.size());
            }
            if (receiveMessage(sync)) (void)!::write(sync, m_afterQuery.constData(), m_afterQuery.size());
        }
        if (!m_hangUp) receive(sync, 1 << 30); // stays until the host goes
        ::close(sync);
        if (async >= 0) ::close(async);
    }

    QByteArray m_initializeReply, m_afterQuery;
    bool m_hangUp;
    quint16 m_port = 0;
    int m_listener = -1;
    std::atomic<bool> m_stop{false};
    std::thread m_thread;
};

TEST(Hislip, AServersFaultsEndInAClearErrorWithinTheTimeout) {
    const QByteArray opened = Hislip::encode(Hislip::InitializeResponse, 0, 0x01000007);
    const struct {
        const char* name;
        QByteArray initializeReply;
        QByteArray afterQuery;
        bool hangUp;
        IOError::Kind kind;
        const char* mention;
    } cases[] = {
        {"refused sub-address",
         Hislip::encode(Hislip::FatalError, 4, 0, "no such sub-address"),
         {},
         true,
         IOError::NotFound,
         "no such sub-address"},
        {"not HiSLIP", QByteArray("HTTP/1.1 400 Bad"), {}, true, IOError::Protocol, "HS"},
        {"dies in the middle of a reply", opened,
         Hislip::encode(Hislip::DataEnd, 0, Hislip::kFirstMessageId, QByteArray(100, 'x')).left(16 + 10),
         true, IOError::Dropped, "went away"},
        {"announces a huge message", opened, hex("4853 07 00 FFFFFF00 0004000000000000"), false,
         IOError::TooLarge, "bytes"},
        {"reports an error", opened, Hislip::encode(Hislip::Error, 1, 0, "unrecognized message"), false,
         IOError::Protocol, "unrecognized message"},
        {"reports a fatal error", opened, Hislip::encode(Hislip::FatalError, 0, 0, "server overloaded"),
         false, IOError::Protocol, "server overloaded"},
        {"never answers", opened, {}, false, IOError::Timeout, ""},
        {"sends empty messages and never the end", opened,
         Hislip::encode(Hislip::Data, 0, Hislip::kFirstMessageId).repeated(1000), false, IOError::Protocol,
         "carry no data"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        ScriptedServer server(c.initializeReply, c.afterQuery, c.hangUp);
        IOManager manager;
        const Failure failure = failureOf([&] {
            auto session = manager.Open(server.address());
            session->SetTimeout(500);
            session->Query(u"*IDN?"_s);
        });
        EXPECT_EQ(failure.kindName(), IOError::kindName(c.kind).toStdString())
            << failure.message.toStdString();
        EXPECT_TRUE(failure.message.startsWith(server.address())) << failure.message.toStdString();
        EXPECT_TRUE(failure.message.contains(QLatin1String(c.mention))) << failure.message.toStdString();
        EXPECT_LT(failure.elapsedMs, 6000);
    }
}

} // namespace
