#include "iolib/BufferedReader.h"
#include "IolibTestSupport.h"
#include "iolib/RawTransport.h"

#include <chrono>
#include <deque>
#include <thread>

using namespace CorvaneIOUtilsLib;
using namespace Qt::StringLiterals;

namespace {

constexpr int kTimeoutMs = 1000;
constexpr qsizetype kLimit = 1 << 20;
constexpr bool G = true;  // a bus with END
constexpr bool S = false; // a bus without

// A bus whose input is a script of arrivals (optionally ending with END), stalls and drops, one per read
// whatever the timeout.
class ScriptedTransport : public RawTransport {
public:
    ScriptedTransport(bool hasEnd, std::vector<ReadChunk> script)
        : m_hasEnd(hasEnd), m_script(script.begin(), script.end()) {}
    ReadChunk read(qsizetype maxBytes, int) override {
        if (m_script.empty()) return {{}, false, ReadChunk::Timeout};
        ReadChunk& step = m_script.front();
        ReadChunk chunk{step.data.left(maxBytes), false, step.status};
        step.data.remove(0, chunk.data.size());
        if (step.data.isEmpty()) {
            chunk.end = step.end;
            m_script.pop_front();
        }
        return chunk;
    }
    void write(const QByteArray&, int) override {}
    bool hasEnd() const override { return m_hasEnd; }
    void clear(int) override { m_script.clear(); }
    void close() override {}

private:
    bool m_hasEnd;
    std::deque<ReadChunk> m_script;
};

// clang-format off
ReadChunk A(const QByteArray& data) { return {data, false, ReadChunk::Ok}; } // arrives
ReadChunk E(const QByteArray& data) { return {data, true, ReadChunk::Ok}; }  // arrives with END
const ReadChunk kStall{{}, false, ReadChunk::Timeout}, kDrop{{}, false, ReadChunk::Dropped};
// clang-format on

enum Op { Block, Line, Bytes };
struct Read {
    Op op;
    QByteArray data; // for Bytes also the count asked for
    std::optional<IOError::Kind> error = {};
};
constexpr auto Trunc = IOError::Truncated;

struct ReadCase {
    const char* name;
    bool hasEnd;
    std::vector<ReadChunk> script;
    std::vector<Read> reads;
};

// clang-format off
const QByteArray kJunk64(64, 'j');
const ReadCase kCases[] = {
    {"BlockDefinite", S, {A("#13abc\n")}, {{Block, "abc"}}},
    {"BlockSplitHeader", S, {A("#"), A("2"), A("1"), A("0"), A("0123456789\n")}, {{Block, "0123456789"}}},
    {"BlockPartialArrivals", S, {A("#14w"), A("x"), A("yz"), A("\n")}, {{Block, "wxyz"}}},
    {"BlockNewlinesInside", S, {A("#15a\nb\nc\n")}, {{Block, "a\nb\nc"}}},
    {"BlockCrLfTrailer", S, {A("#13abc\r\n")}, {{Block, "abc"}}},
    {"BlockNoTrailer", S, {A("#13abc")}, {{Block, "abc"}}},
    {"BlockEndOnLastDataByte", G, {E("#13abc")}, {{Block, "abc"}}},
    {"BlockEmpty", S, {A("#10\n")}, {{Block, ""}}},
    {"BlockEmptyWithEnd", G, {E("#10")}, {{Block, ""}}},
    {"BlockIndefiniteToEnd", G, {A("#0a\nb"), A("c"), E("d\n")}, {{Block, "a\nbcd"}}},
    {"BlockIndefiniteEmpty", G, {E("#0")}, {{Block, ""}}},
    {"BlockAfterJunk", S, {A("\r\n  junk "), A("#13xyz\n")}, {{Block, "xyz"}}},
    {"BlockAfterJunkAtTheLimit", S, {A(kJunk64 + "#13xyz\n")}, {{Block, "xyz"}}},
    {"BlockAfterStaleMessage", G, {E("0\n"), E("#12ok\n")}, {{Block, "ok"}}},
    {"BlockAfterJunkBeyondTheLimit", S, {A(kJunk64 + "j#13xyz\n")}, {{Block, {}, IOError::Protocol}}},
    {"BlockIndefiniteWithoutEnd", S, {A("#0abc\n")}, {{Block, {}, IOError::Unsupported}}},
    {"BlockNonDigitCount", S, {A("#x12\n")}, {{Block, {}, IOError::Protocol}}},
    {"BlockNonDigitLength", S, {A("#2a5xxxxx\n")}, {{Block, {}, IOError::Protocol}}},
    {"BlockNothingArrives", S, {kStall}, {{Block, {}, IOError::Timeout}}},
    {"BlockHeaderCutShort", S, {A("#31"), kStall}, {{Block, {}, Trunc}}},
    {"BlockHeaderEndsWithEnd", G, {E("#3")}, {{Block, {}, Trunc}}},
    {"BlockDataStops", S, {A("#15ab"), kStall}, {{Block, {}, Trunc}}},
    {"BlockDataEndsEarlyWithEnd", G, {E("#15ab\n"), A("cd")}, {{Block, {}, Trunc}}},
    {"BlockIndefiniteNeverEnds", G, {A("#0abc"), kStall}, {{Block, {}, Trunc}}},
    {"BlockConnectionDrops", S, {A("#15ab"), kDrop}, {{Block, {}, IOError::Dropped}}},
    {"LineInnerCarriageReturnKept", S, {A("a\rb\n")}, {{Line, "a\rb"}}},
    {"LineSplitAnywhere", S, {A("ab"), A("c\r"), A("\n")}, {{Line, "abc"}}},
    {"LinesInOneArrival", S, {A("one\n\ntwo\n")}, {{Line, "one"}, {Line, ""}, {Line, "two"}}},
    {"LineEndWithoutLineFeed", G, {E("abc"), E("def\n")}, {{Line, "abc"}, {Line, "def"}}},
    {"LineFeedBeforeEnd", G, {E("a\nb")}, {{Line, "a"}, {Line, "b"}}},
    {"LineUnfinishedThenJoined", S, {A("abc"), kStall, A("def\n")}, {{Line, {}, IOError::Timeout}, {Line, "abcdef"}}},
    {"LineConnectionDrops", S, {A("ab"), kDrop}, {{Line, {}, IOError::Dropped}}},
    {"BytesExact", S, {A("abcdef")}, {{Bytes, "abcd"}, {Bytes, "ef"}}},
    {"BytesAcrossArrivals", S, {A("a"), A("b\n"), A("cd")}, {{Bytes, "ab\nc"}, {Bytes, "d"}}},
    {"BytesEndOnTheLastByte", G, {E("abcd"), E("ef")}, {{Bytes, "abcd"}, {Bytes, "ef"}}},
    {"BytesEndTooEarly", G, {E("ab"), E("cdef")}, {{Bytes, "????", Trunc}, {Bytes, "cdef"}}},
    {"BytesStopShort", S, {A("ab"), kStall, A("xy")}, {{Bytes, "????", Trunc}, {Bytes, "xy"}}},
    {"BytesNothingArrives", S, {kStall}, {{Bytes, "?", IOError::Timeout}}},
    {"BytesConnectionDrops", S, {A("ab"), kDrop}, {{Bytes, "????", IOError::Dropped}}},
    {"BytesBufferedThenBus", S, {A("line\nab"), A("cd"), A("ef")}, {{Line, "line"}, {Bytes, "abcd"}, {Bytes, "ef"}}},
    {"BytesAllBuffered", S, {A("line\nabcdef")}, {{Line, "line"}, {Bytes, "abcd"}, {Bytes, "ef"}}},
    {"BytesEndInWhatIsBuffered", G, {E("line\nab"), E("cd")}, {{Line, "line"}, {Bytes, "????", Trunc}, {Bytes, "cd"}}},
};
// clang-format on

// Each case reads, then (after a read that went well) the reply behind it must come next: the reader
// must stand exactly at it, not before a trailing line end, not past its start. Byte reads run twice:
// into a new array, and into the caller's memory.
TEST(BufferedReader, ReadsGiveTheDataOrTheRightError) {
    for (const ReadCase& c : kCases) {
        for (bool intoCaller : {false, true}) {
            if (intoCaller &&
                std::none_of(c.reads.begin(), c.reads.end(), [](const Read& r) { return r.op == Bytes; }))
                continue;
            SCOPED_TRACE(std::string(c.name) + (intoCaller ? " into the caller's memory" : ""));
            std::vector<ReadChunk> script = c.script;
            script.push_back(c.hasEnd ? E("NEXT\n") : A("NEXT\n"));
            ScriptedTransport transport(c.hasEnd, script);
            BufferedReader reader(transport, u"TEST0"_s);
            std::optional<IOError::Kind> error;
            for (const Read& r : c.reads) {
                QByteArray got(r.data.size(), '?');
                try {
                    if (r.op == Block) got = reader.readBlock(kTimeoutMs, kLimit);
                    if (r.op == Line) got = reader.readLine(kTimeoutMs);
                    if (r.op == Bytes && intoCaller) reader.readInto(got.data(), got.size(), kTimeoutMs);
                    if (r.op == Bytes && !intoCaller) got = reader.readBytes(got.size(), kTimeoutMs, kLimit);
                    error.reset();
                } catch (const IOError& e) {
                    error = e.kind();
                    EXPECT_TRUE(e.message().startsWith(u"TEST0: "_s)) << e.what();
                }
                EXPECT_EQ(error, r.error);
                if (!r.error) {
                    EXPECT_EQ(got, r.data);
                }
            }
            if (!error) {
                EXPECT_EQ(reader.readLine(kTimeoutMs), QByteArray("NEXT"));
            }
        }
    }
}

// A bus that hands over one byte at a time, each a good while after the last, and honours its timeout:
// the whole block takes longer than the timeout, but no single wait does.
TEST(BufferedReader, KeepsWaitingWhileBytesKeepArriving) {
    struct Trickling : ScriptedTransport {
        using ScriptedTransport::ScriptedTransport;
        ReadChunk read(qsizetype, int timeoutMs) override {
            std::this_thread::sleep_for(std::chrono::milliseconds(std::min(timeoutMs, 20)));
            return timeoutMs < 20 ? ReadChunk{{}, false, ReadChunk::Timeout}
                                  : ScriptedTransport::read(1, timeoutMs);
        }
    } transport(S, {A("#215abcdefghijklmno\n")});
    BufferedReader reader(transport, u"TEST0"_s);
    EXPECT_EQ(reader.readBlock(200, kLimit), QByteArray("abcdefghijklmno"));
}

} // namespace

namespace {

// A bus that never stops sending: the same bytes on every read, after an optional pause.
class EndlessTransport : public RawTransport {
public:
    EndlessTransport(QByteArray first, QByteArray chunk, int pauseMs)
        : m_first(std::move(first)), m_chunk(std::move(chunk)), m_pauseMs(pauseMs) {}
    ReadChunk read(qsizetype maxBytes, int) override {
        if (m_pauseMs > 0) std::this_thread::sleep_for(std::chrono::milliseconds(m_pauseMs));
        QByteArray data = m_first.isEmpty() ? m_chunk : std::exchange(m_first, {});
        m_sent += data.left(maxBytes).size();
        return {data.left(maxBytes), false, ReadChunk::Ok};
    }
    void write(const QByteArray&, int) override {}
    bool hasEnd() const override { return false; }
    void clear(int) override {}
    void close() override {}
    qsizetype sent() const { return m_sent; }

private:
    QByteArray m_first, m_chunk;
    int m_pauseMs;
    qsizetype m_sent = 0;
};

} // namespace

// An instrument that announces a huge block, sends a line without end, or trickles forever: every read
// ends at its size or total-time bound, with the sizes in the message, having taken little memory.
TEST(BufferedReader, EveryReadEndsAtItsBounds) {
    struct Case {
        const char* name;
        QByteArray first, chunk;
        int pauseMs;
        Op op;
        IOError::Kind kind;
        const char* message;
    };
    const QByteArray lots(64 * 1024, 'x');
    const Case cases[] = {
        {"huge announced block", "#9999999999", lots, 0, Block, IOError::TooLarge,
         "a block of 999999999 bytes is announced; this read takes at most 1048576 bytes"},
        {"endless line sent fast",
         {},
         lots,
         0,
         Line,
         IOError::TooLarge,
         "a reply line grew past 1048576 bytes"},
        {"line trickling a byte at a time",
         {},
         "x",
         5,
         Line,
         IOError::Timeout,
         "did not complete within 500 ms, the bound for the whole read"},
        {"block trickling a byte at a time", "#3999", "x", 5, Block, IOError::Timeout,
         "did not complete within 500 ms, the bound for the whole read"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        EndlessTransport transport(c.first, c.chunk, c.pauseMs);
        BufferedReader reader(transport, u"TCPIP0::127.0.0.1::5025::SOCKET"_s);
        try {
            if (c.op == Block) reader.readBlock(50, kLimit);
            if (c.op == Line) reader.readLine(50, kLimit);
            ADD_FAILURE() << "the read ended without an error";
        } catch (const IOError& e) {
            EXPECT_EQ(e.kind(), c.kind);
            const std::string what = e.what();
            EXPECT_EQ(what.rfind("TCPIP0::127.0.0.1::5025::SOCKET: ", 0), 0u) << what;
            EXPECT_NE(what.find(c.message), std::string::npos) << what;
        }
        EXPECT_TRUE(reader.overran());
        EXPECT_EQ(reader.buffered(), 0) << "what arrived of the refused reply is dropped";
        EXPECT_LE(transport.sent(), 2 * kLimit) << "read on long after the bound";
    }
}

TEST(BufferedReader, CountedReadsAboveTheLimitAreRefusedUpFront) {
    ScriptedTransport transport(S, {A("abc")});
    BufferedReader reader(transport, u"COM1"_s);
    EXPECT_THROW(reader.readBytes(kLimit + 1, kTimeoutMs, kLimit), IOError);
    EXPECT_EQ(reader.readBytes(3, kTimeoutMs, kLimit), QByteArray("abc"));
}
