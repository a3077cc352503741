// VXI-11 sessions against the simulator's server in this process, and against a scripted server that
// misbehaves in the ways a broken or hostile one can.

#include "IolibTestSupport.h"
#include "iolib/IOManager.h"
#include "iolib/backends/Vxi11Client.h"
#include "iolib/backends/Vxi11Transport.h"
#include "sim/SimBench.h"
#include "sim/vxi11/Vxi11Server.h"
#include "support/LoopbackListener.h"

#include <QThread>
#include <atomic>
#include <poll.h>
#include <thread>

using namespace CorvaneIOUtilsLib;
using namespace Qt::StringLiterals;

namespace {

QByteArray words(std::initializer_list<quint32> values) {
    QByteArray bytes;
    for (quint32 v : values)
        for (int shift : {24, 16, 8, 0})
            bytes += char(v >> shift);
    return bytes;
}

quint32 wordAt(const QByteArray& bytes, qsizetype at) {
    const auto* b = reinterpret_cast<const uchar*>(bytes.constData() + at);
    return quint32(b[0]) << 24 | quint32(b[1]) << 16 | quint32(b[2]) << 8 | b[3];
}

QByteArray record(const QByteArray& message) {
    return words({0x80000000u | quint32(message.size())}) + message;
}

// An accepted, successful reply to xid with the given results.
QByteArray success(quint32 xid, const QByteArray& results) {
    return record(words({xid, 1, 0, 0, 0, 0}) + results);
}

// A server on 127.0.0.1 that is its own portmapper: GETPORT gives its own port, and every call of the
// VXI-11 core channel is answered by the script, with the bytes it returns (empty: hang up; the
// text "silent": no answer at all). A reply cut short of the length its record announces is followed
// by hanging up, as a server that dies while it answers.
class ScriptedServer {
public:
    using Script = std::function<QByteArray(quint32 procedure, quint32 xid)>;

    explicit ScriptedServer(Script script) : m_script(std::move(script)) {
        m_listener = ListenOnLoopback(m_port);
        m_thread = std::thread([this] { run(); });
    }
    ~ScriptedServer() {
        m_stop = true;
        m_thread.join();
        ::close(m_listener);
    }
    QByteArray port() const { return QByteArray::number(m_port); }

private:
    void run() {
        std::vector<int> open;
        while (!m_stop) {
            pollfd p{m_listener, POLLIN, 0};
            if (::poll(&p, 1, 50) <= 0) continue;
            const int fd = ::accept(m_listener, nullptr, nullptr);
            if (fd < 0) continue;
            open.push_back(fd);
            serve(fd);
        }
        for (int fd : open)
            ::close(fd);
    }
    void serve(int fd) {
        for (;;) {
            QByteArray request(4096, '\0');
            pollfd p{fd, POLLIN, 0};
            while (!m_stop && ::poll(&p, 1, 50) == 0) {
            }
            const ssize_t n = m_stop ? 0 : ::recv(fd, request.data(), request.size(), 0);
            if (n < 28) return;
            auto word = [&](int i) { return wordAt(request, 4 + 4 * i); };
            const quint32 xid = word(0), program = word(3), procedure = word(5);
            const QByteArray reply =
                program == 100000 ? success(xid, words({m_port})) : m_script(procedure, xid);
            if (reply == "silent") continue;
            const qsizetype announced = reply.size() < 4 ? 0 : wordAt(reply, 0) & 0x7fffffffu;
            if (reply.isEmpty() ||
                ::send(fd, reply.constData(), reply.size(), MSG_NOSIGNAL) != reply.size() ||
                reply.size() - 4 < announced) {
                ::shutdown(fd, SHUT_RDWR);
                return;
            }
        }
    }

    Script m_script;
    quint16 m_port = 0;
    int m_listener = -1;
    std::atomic<bool> m_stop{false};
    std::thread m_thread;
};

// A link that works up to the procedure the script breaks.
QByteArray linkThen(quint32 procedure, quint32 xid, quint32 broken, const QByteArray& instead) {
    if (procedure == broken) return instead;
    switch (procedure) {
    case 10: // create_link: link 1, maxRecvSize 1024
        return success(xid, words({0, 1, 0, 1024}));
    case 11: // device_write: all of it
        return success(xid, words({0, 6}));
    default: // device_clear, destroy_link
        return success(xid, words({0}));
    }
}

class Vxi11 : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(server->listen(0, &error)) << error.toStdString();
        server->start();
    }
    // The simulator's server, for the session that must work after each fault.
    void expectWorkingSession() {
        EnvironmentGuard port("TAVREL_PORTMAPPER_PORT", QByteArray::number(server->portmapperPort()));
        auto session = IOManager().Open(u"TCPIP0::127.0.0.1::gpib0,7::INSTR"_s);
        EXPECT_TRUE(session->Query(u"*IDN?"_s).startsWith(u"CORVANE TECHNOLOGIES,TV100A,"_s));
    }

    QString error;
    std::unique_ptr<tavrelsim::Vxi11Server> server =
        std::make_unique<tavrelsim::Vxi11Server>(tavrelsim::SimBench::fromFile(benchFile()));
};

TEST_F(Vxi11, WritesReadsAndClearsThroughTheLink) {
    EnvironmentGuard port("TAVREL_PORTMAPPER_PORT", QByteArray::number(server->portmapperPort()));
    IOManager manager;
    // An address without a device names inst0, the bench's first Tavrel scope.
    EXPECT_EQ(manager.Open(u"TCPIP::127.0.0.1::INSTR"_s)->ResourceName(),
              u"TCPIP0::127.0.0.1::inst0::INSTR"_s);
    EXPECT_EQ(manager.Open(u"TCPIP0::127.0.0.1::gpib0,12::INSTR"_s)->Query(u"*IDN?"_s).section(u',', 1, 1),
              u"TV200B"_s);
    auto session = manager.Open(u"TCPIP0::127.0.0.1::gpib0,7::INSTR"_s);
    // A reply left unread is gone after a clear: the next query gets its own.
    session->WriteString(u"*IDN?"_s);
    session->Clear();
    EXPECT_EQ(session->Query(u":SYST:ERR?"_s), u"0,\"No error\""_s);
    // A message longer than one device_write goes in pieces, END with the last: the learn string
    // padded with a long comment-free tail of spaces is still one command.
    session->WriteString(u":SYST:SET?"_s);
    const QByteArray block = session->ReadIEEEBlock();
    const QByteArray length = QByteArray::number(block.size());
    session->WriteBytes(":SYST:SET #" + QByteArray::number(length.size()) + length + block +
                        QByteArray(3 * 1024 * 1024, ' '));
    EXPECT_EQ(session->Query(u":SYST:ERR?"_s), u"0,\"No error\""_s);
    // A read limit smaller than the reply stops the read, and the rest is cleared away.
    session->SetReadLimit(100);
    session->WriteString(u":SYST:SET?"_s);
    EXPECT_EQ(failureOf([&] { session->ReadIEEEBlock(); }).kind, IOError::TooLarge);
    session->SetReadLimit(64 * 1024 * 1024);
    EXPECT_TRUE(session->Query(u"*IDN?"_s).startsWith(u"CORVANE"_s));
}

TEST_F(Vxi11, FaultsEndInAClearErrorWithinTheTimeout) {
    const quint16 closed = [] {
        quint16 port = 0;
        ::close(ListenOnLoopback(port));
        return port;
    }();
    const QByteArray silent = "silent";
    const struct {
        const char* name;
        QByteArray portmapper; // empty: the simulator's
        QString device;
        std::function<QByteArray(quint32, quint32)> script;
        bool read;
        IOError::Kind kind;
        const char* says;
    } cases[] = {
        {"no portmapper", QByteArray::number(closed), u"inst0"_s, {}, false, IOError::NotFound, "portmapper"},
        {"wrong device name", {}, u"gpib0,9"_s, {}, false, IOError::NotFound, "gpib0,9"},
        {"server hangs up",
         {},
         {},
         [](quint32, quint32) { return QByteArray(); },
         false,
         IOError::Dropped,
         "went away"},
        {"no reply", {}, {}, [&](quint32, quint32) { return silent; }, false, IOError::Timeout, "within"},
        {"malformed reply",
         {},
         {},
         [](quint32, quint32) { return record("\x01\x02\x03"); },
         false,
         IOError::Protocol,
         "malformed"},
        {"reply of another program version",
         {},
         {},
         [](quint32, quint32 xid) {
             return record(words({xid, 1, 0, 0, 0, 2, 3, 3}));
         },
         false,
         IOError::Protocol,
         "accept status 2"},
        {"huge record announced",
         {},
         {},
         [](quint32, quint32) { return words({0xffffffffu}); },
         false,
         IOError::TooLarge,
         "announced"},
        {"read data past the request",
         {},
         {},
         [](quint32 p, quint32 xid) {
             return linkThen(p, xid, 12, success(xid, words({0, 4, 0x7ffffff0u}) + QByteArray(64, 'x')));
         },
         true,
         IOError::Protocol,
         "malformed"},
        {"dies in the middle of a read",
         {},
         {},
         [](quint32 p, quint32 xid) {
             return linkThen(p, xid, 12, success(xid, words({0, 4, 100}) + QByteArray(100, 'x')).left(60));
         },
         true,
         IOError::Dropped,
         "went away"},
        {"device locked by another link",
         {},
         {},
         [](quint32 p, quint32 xid) {
             return linkThen(p, xid, 11, success(xid, words({11, 0})));
         },
         true,
         IOError::Timeout,
         "locked"},
    };
    for (const auto& c : cases) {
        std::unique_ptr<ScriptedServer> scripted =
            c.script ? std::make_unique<ScriptedServer>(c.script) : nullptr;
        const QByteArray portmapper = scripted              ? scripted->port()
                                      : c.portmapper.size() ? c.portmapper
                                                            : QByteArray::number(server->portmapperPort());
        EnvironmentGuard port("TAVREL_PORTMAPPER_PORT", portmapper);
        const QString address =
            u"TCPIP0::127.0.0.1::%1::INSTR"_s.arg(c.device.isEmpty() ? u"inst0"_s : c.device);
        const Failure failure = failureOf([&] {
            auto session = IOManager().Open(address);
            session->SetTimeout(300);
            session->WriteString(u"*IDN?"_s);
            if (c.read) session->ReadString();
        });
        EXPECT_EQ(failure.kindName(), IOError::kindName(c.kind).toStdString()) << c.name;
        EXPECT_TRUE(failure.message.startsWith(address)) << failure.message.toStdString();
        EXPECT_TRUE(failure.message.contains(QLatin1String(c.says))) << failure.message.toStdString();
        // Opening waits the default timeout at most; each call after it the session's, plus the
        // margin a server has to answer.
        EXPECT_LT(failure.elapsedMs, IOSession::kDefaultTimeoutMs + 1000 + 500) << c.name;
        scripted.reset();
        expectWorkingSession();
    }
}

// A reply that comes after the call gave up is known by its transaction id and skipped: the next
// call gets its own reply, and the session goes on.
TEST(Vxi11Late, AReplyAfterTheCallGaveUpIsSkipped) {
    int reads = 0;
    ScriptedServer scripted([&](quint32 procedure, quint32 xid) {
        if (procedure != 12) return linkThen(procedure, xid, 0, {});
        if (++reads == 1) QThread::msleep(Vxi11Transport::kReplyMarginMs + 500); // past the call's wait
        return success(xid, words({0, 4, 2}) + QByteArray("1\n\0\0", 4));
    });
    EnvironmentGuard port("TAVREL_PORTMAPPER_PORT", scripted.port());
    auto session = IOManager().Open(u"TCPIP0::127.0.0.1::inst0::INSTR"_s);
    session->SetTimeout(200);
    session->WriteString(u"*OPC?"_s);
    EXPECT_EQ(failureOf([&] { session->ReadString(); }).kind, IOError::Timeout);
    QThread::msleep(600); // the late reply is there now, ahead of the next one
    session->SetTimeout(1000);
    EXPECT_EQ(session->Query(u"*OPC?"_s), u"1"_s);
}

// The server's bytes as the client takes them apart: record marking bounded before anything is taken
// for a fragment, the reply's header, and device_read's data bounded by what was asked for.
TEST(Vxi11Replies, RecordsAndRepliesAreBoundedByWhatWasAsked) {
    using Record = Vxi11Client::Record;
    const struct {
        const char* name;
        QByteArray bytes;
        qsizetype limit;
        Record expected;
        qsizetype size; // of the record, or the size announced past the limit
    } records[] = {
        {"one fragment", words({0x80000004u, 7}), 4, Record::Whole, 4},
        {"three fragments, one of them empty", words({4, 1, 0, 0x80000004u, 2}), 8, Record::Whole, 8},
        {"empty record", words({0x80000000u}), 0, Record::Whole, 0},
        {"fragment just past the limit", words({0x80000005u}) + "12345", 4, Record::TooLarge, 5},
        {"second fragment past the limit", words({4, 1, 0x80000001u}) + "x", 4, Record::TooLarge, 5},
        {"largest length a mark can say", words({0xffffffffu}), 1 << 20, Record::TooLarge, 0x7fffffff},
        {"nothing at all", {}, 64, Record::Nothing, 0},
    };
    for (const auto& c : records) {
        qsizetype at = 0;
        const Vxi11Client::Receive receive = [&](char* out, qsizetype count) {
            if (count > c.bytes.size() - at) {
                if (at == 0) return false;
                throw IOError(IOError::Dropped, u"cut short"_s);
            }
            std::copy_n(c.bytes.constData() + at, count, out);
            at += count;
            return true;
        };
        QByteArray record;
        qsizetype announced = 0;
        EXPECT_EQ(Vxi11Client::readRecord(receive, record, c.limit, announced), c.expected) << c.name;
        EXPECT_EQ(c.expected == Record::TooLarge ? announced : record.size(), c.size) << c.name;
        if (c.expected == Record::TooLarge) {
            EXPECT_LE(record.size(), c.limit) << c.name;
        }
    }

    using Reply = Vxi11Client::Reply;
    constexpr quint32 xid = 0x1234;
    const QByteArray accepted = words({xid, 1, 0, 0, 0});
    const struct {
        const char* name;
        QByteArray record;
        quint32 requested; // device_read's request; 0: no results expected
        Reply expected;
        QByteArray data;
    } replies[] = {
        {"success without results", accepted + words({0}), 0, Reply::Success, {}},
        {"data with END", accepted + words({0, 0, 4, 2}) + QByteArray("1\n\0\0", 4), 8, Reply::Success,
         "1\n"},
        {"data of exactly the request", accepted + words({0, 0, 4, 4}) + "abcd", 4, Reply::Success, "abcd"},
        {"data past the request", accepted + words({0, 0, 4, 5}) + "abcde\0\0\0", 4, Reply::Malformed, {}},
        {"data cut short", accepted + words({0, 0, 4, 100}) + "abcd", 128, Reply::Malformed, {}},
        {"another call's reply", words({xid + 1, 1, 0, 0, 0, 0}), 0, Reply::Stale, {}},
        {"a call, not a reply", words({xid, 0, 0, 0, 0, 0}), 0, Reply::Malformed, {}},
        {"refused", words({xid, 1, 1, 0, 2, 2}), 0, Reply::Refused, {}},
        {"program version mismatch", words({xid, 1, 0, 0, 0, 2, 1, 1}), 0, Reply::Failed, {}},
        {"verifier of the most bytes",
         words({xid, 1, 0, 1, 400}) + QByteArray(400, 'v') + words({0}),
         0,
         Reply::Success,
         {}},
        {"verifier past the most bytes",
         words({xid, 1, 0, 1, 401}) + QByteArray(404, 'v') + words({0}),
         0,
         Reply::Malformed,
         {}},
        {"verifier past the record",
         words({xid, 1, 0, 1, 400}) + QByteArray(16, 'v'),
         0,
         Reply::Malformed,
         {}},
        {"header cut short", words({xid, 1, 0}), 0, Reply::Malformed, {}},
    };
    for (const auto& c : replies) {
        QByteArray data;
        Vxi11Transport::ReadResults results;
        Vxi11Client::Codec codec;
        if (c.requested > 0)
            codec = [&](__rpc_xdr* x) {
                return Vxi11Transport::decodeReadResults(x, c.requested, results, [&](qsizetype length) {
                    data.resize(length);
                    return data.data();
                });
            };
        quint32 acceptStatus = 0;
        EXPECT_EQ(Vxi11Client::decodeReply(c.record, xid, codec, acceptStatus), c.expected) << c.name;
        if (c.expected == Reply::Success) {
            EXPECT_EQ(data, c.data) << c.name;
        }
        if (c.expected == Reply::Failed) {
            EXPECT_EQ(acceptStatus, 2u) << c.name;
        }
    }
}

TEST(Vxi11Address, APortmapperPortThatIsNoPortIsRefused) {
    for (const char* value : {"0", "65536", "x111"}) {
        EnvironmentGuard port("TAVREL_PORTMAPPER_PORT", value);
        const Failure failure = failureOf([] { IOManager().Open(u"TCPIP0::127.0.0.1::INSTR"_s); });
        EXPECT_EQ(failure.kind, IOError::Unsupported) << value;
        EXPECT_TRUE(failure.message.contains(u"TAVREL_PORTMAPPER_PORT"_s)) << failure.message.toStdString();
    }
}

} // namespace
