#include "iolib/BufferedReader.h"
#include "ScriptedTransport.h"
#include "iolib/IOError.h"

#include <gtest/gtest.h>
#include <optional>
#include <thread>

using namespace CorvaneIOUtilsLib;

namespace {

constexpr int kTimeoutMs = 1000;
constexpr bool kGpib = true;    // a bus with END
constexpr bool kSerial = false; // a bus without

// The error a read throws (checking that its message names the resource), or none.
std::optional<IOError::Kind> errorOf(const std::function<void()>& read) {
    try {
        read();
    } catch (const IOError& error) {
        EXPECT_TRUE(error.message().startsWith(QStringLiteral("TEST0: "))) << error.what();
        return error.kind();
    }
    return std::nullopt;
}

template <typename Case> std::string caseName(const ::testing::TestParamInfo<Case>& info) {
    return info.param.name;
}

struct BlockCase {
    const char* name;
    bool hasEnd;
    std::vector<ScriptedTransport::Step> script;
    std::optional<IOError::Kind> error;
    QByteArray data;
};

class ReadBlock : public ::testing::TestWithParam<BlockCase> {};

// After a good block the reader must stand exactly at the next reply: not before a trailing line end,
// not past the start of what follows.
TEST_P(ReadBlock, GivesTheDataOrTheRightError) {
    const BlockCase& c = GetParam();
    ScriptedTransport transport(c.hasEnd, c.script);
    transport.add(c.hasEnd ? ArriveEnd("NEXT\n") : Arrive("NEXT\n"));
    BufferedReader reader(transport, QStringLiteral("TEST0"));
    QByteArray data;
    ASSERT_EQ(errorOf([&] { data = reader.readBlock(kTimeoutMs); }), c.error);
    if (!c.error) {
        EXPECT_EQ(data, c.data);
        EXPECT_EQ(reader.readLine(kTimeoutMs), QByteArray("NEXT"));
    }
}

const QByteArray kJunk64(64, 'j');

INSTANTIATE_TEST_SUITE_P(
    Cases, ReadBlock,
    ::testing::Values(
        BlockCase{"Definite", kSerial, {Arrive("#13abc\n")}, {}, "abc"},
        BlockCase{"SplitHeader",
                  kSerial,
                  {Arrive("#"), Arrive("2"), Arrive("1"), Arrive("0"), Arrive("0123456789\n")},
                  {},
                  "0123456789"},
        BlockCase{"PartialArrivals",
                  kSerial,
                  {Arrive("#14w"), Arrive("x"), Arrive("yz"), Arrive("\n")},
                  {},
                  "wxyz"},
        BlockCase{"NewlinesInsideData", kSerial, {Arrive("#15a\nb\nc\n")}, {}, "a\nb\nc"},
        BlockCase{"CrLfTrailer", kSerial, {Arrive("#13abc\r\n")}, {}, "abc"},
        BlockCase{"NoTrailer", kSerial, {Arrive("#13abc")}, {}, "abc"},
        BlockCase{"EndOnLastDataByte", kGpib, {ArriveEnd("#13abc")}, {}, "abc"},
        BlockCase{"EmptyDefinite", kSerial, {Arrive("#10\n")}, {}, ""},
        BlockCase{"EmptyDefiniteWithEnd", kGpib, {ArriveEnd("#10")}, {}, ""},
        BlockCase{"IndefiniteToEnd", kGpib, {Arrive("#0a\nb"), Arrive("c"), ArriveEnd("d\n")}, {}, "a\nbcd"},
        BlockCase{"IndefiniteEmpty", kGpib, {ArriveEnd("#0")}, {}, ""},
        BlockCase{"JunkBeforeHash", kSerial, {Arrive("\r\n  junk "), Arrive("#13xyz\n")}, {}, "xyz"},
        BlockCase{"JunkAtTheLimit", kSerial, {Arrive(kJunk64 + "#13xyz\n")}, {}, "xyz"},
        BlockCase{"StaleMessageBeforeBlock", kGpib, {ArriveEnd("0\n"), ArriveEnd("#12ok\n")}, {}, "ok"},
        BlockCase{"JunkBeyondTheLimit", kSerial, {Arrive(kJunk64 + "j#13xyz\n")}, IOError::Protocol, {}},
        BlockCase{"IndefiniteWithoutEnd", kSerial, {Arrive("#0abc\n")}, IOError::Unsupported, {}},
        BlockCase{"NonDigitCount", kSerial, {Arrive("#x12\n")}, IOError::Protocol, {}},
        BlockCase{"NonDigitLength", kSerial, {Arrive("#2a5xxxxx\n")}, IOError::Protocol, {}},
        BlockCase{"NothingArrives", kSerial, {Stall()}, IOError::Timeout, {}},
        BlockCase{"HeaderCutShort", kSerial, {Arrive("#31"), Stall()}, IOError::Truncated, {}},
        BlockCase{"HeaderEndsWithEnd", kGpib, {ArriveEnd("#3")}, IOError::Truncated, {}},
        BlockCase{"DataStops", kSerial, {Arrive("#15ab"), Stall()}, IOError::Truncated, {}},
        BlockCase{
            "DataEndsEarlyWithEnd", kGpib, {ArriveEnd("#15ab\n"), Arrive("cd")}, IOError::Truncated, {}},
        BlockCase{"IndefiniteNeverEnds", kGpib, {Arrive("#0abc"), Stall()}, IOError::Truncated, {}},
        BlockCase{"ConnectionDrops", kSerial, {Arrive("#15ab"), Drop()}, IOError::Dropped, {}}),
    caseName<BlockCase>);

TEST(ReadBlockTransfer, AsksForTheWholeRemainderInOneRead) {
    const QByteArray data(100000, 'd');
    ScriptedTransport transport(kSerial, {Arrive("#6100000" + data.left(10)), Arrive(data.mid(10) + "\n")});
    BufferedReader reader(transport, QStringLiteral("TEST0"));
    EXPECT_EQ(reader.readBlock(kTimeoutMs), data);
    EXPECT_GE(*std::max_element(transport.readSizes.begin(), transport.readSizes.end()), data.size() - 10);
}

// A bus that hands over one byte at a time, each a good while after the last, and honours its timeout:
// the whole block takes longer than the timeout, but no single wait does.
class TricklingTransport : public ScriptedTransport {
public:
    static constexpr int kStepMs = 20;
    using ScriptedTransport::ScriptedTransport;
    Chunk read(qsizetype, int timeoutMs) override {
        std::this_thread::sleep_for(std::chrono::milliseconds(std::min(timeoutMs, kStepMs)));
        return timeoutMs < kStepMs ? Chunk{{}, false, Chunk::Timeout} : ScriptedTransport::read(1, timeoutMs);
    }
};

TEST(ReadBlockTransfer, KeepsWaitingWhileBytesKeepArriving) {
    TricklingTransport transport(kSerial, {Arrive("#215abcdefghijklmno\n")});
    BufferedReader reader(transport, QStringLiteral("TEST0"));
    EXPECT_EQ(reader.readBlock(10 * TricklingTransport::kStepMs), QByteArray("abcdefghijklmno"));
}

struct LineCase {
    const char* name;
    bool hasEnd;
    std::vector<ScriptedTransport::Step> script;
    std::vector<QByteArray> lines;      // read one after the other
    std::optional<IOError::Kind> error; // of the read after them
};

class ReadLine : public ::testing::TestWithParam<LineCase> {};

TEST_P(ReadLine, GivesTheLinesThenTheRightError) {
    const LineCase& c = GetParam();
    ScriptedTransport transport(c.hasEnd, c.script);
    BufferedReader reader(transport, QStringLiteral("TEST0"));
    for (const QByteArray& line : c.lines)
        EXPECT_EQ(reader.readLine(kTimeoutMs), line);
    EXPECT_EQ(errorOf([&] { reader.readLine(kTimeoutMs); }), c.error);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, ReadLine,
    ::testing::Values(
        LineCase{"CrLf", kSerial, {Arrive("abc\r\n")}, {"abc"}, IOError::Timeout},
        LineCase{"InnerCarriageReturnKept", kSerial, {Arrive("a\rb\n")}, {"a\rb"}, IOError::Timeout},
        LineCase{
            "SplitAnywhere", kSerial, {Arrive("ab"), Arrive("c\r"), Arrive("\n")}, {"abc"}, IOError::Timeout},
        LineCase{
            "SeveralInOneArrival", kSerial, {Arrive("one\n\ntwo\n")}, {"one", "", "two"}, IOError::Timeout},
        LineCase{"EndWithoutLineFeed",
                 kGpib,
                 {ArriveEnd("abc"), ArriveEnd("def\n")},
                 {"abc", "def"},
                 IOError::Timeout},
        LineCase{"LineFeedBeforeEnd", kGpib, {ArriveEnd("a\nb")}, {"a", "b"}, IOError::Timeout},
        LineCase{
            "UnfinishedLineTimesOut", kSerial, {Arrive("ab"), Stall(), Arrive("c\n")}, {}, IOError::Timeout},
        LineCase{"ConnectionDrops", kSerial, {Arrive("ab"), Drop()}, {}, IOError::Dropped}),
    caseName<LineCase>);

TEST(ReadLineRecovery, TheRestOfAnUnfinishedLineJoinsIt) {
    ScriptedTransport transport(kSerial, {Arrive("abc"), Stall(), Arrive("def\n")});
    BufferedReader reader(transport, QStringLiteral("TEST0"));
    EXPECT_EQ(errorOf([&] { reader.readLine(kTimeoutMs); }), IOError::Timeout);
    EXPECT_EQ(reader.readLine(kTimeoutMs), QByteArray("abcdef"));
}

struct BytesCase {
    const char* name;
    bool hasEnd;
    std::vector<ScriptedTransport::Step> script;
    qsizetype count;
    std::optional<IOError::Kind> error;
    QByteArray data;
    QByteArray rest; // what a following read of its size gives
    QByteArray line; // a reply line read first, leaving the rest of its arrival buffered
};

class ReadBytes : public ::testing::TestWithParam<BytesCase> {};

TEST_P(ReadBytes, GivesExactlyTheCountOrAnError) {
    const BytesCase& c = GetParam();
    ScriptedTransport transport(c.hasEnd, c.script);
    BufferedReader reader(transport, QStringLiteral("TEST0"));
    if (!c.line.isEmpty()) {
        ASSERT_EQ(reader.readLine(kTimeoutMs), c.line);
    }
    QByteArray data;
    EXPECT_EQ(errorOf([&] { data = reader.readBytes(c.count, kTimeoutMs); }), c.error);
    EXPECT_EQ(data, c.data);
    EXPECT_EQ(reader.readBytes(c.rest.size(), kTimeoutMs), c.rest);
}

// Reading into the caller's memory takes what is buffered, then the bus, and fails as readBytes does.
TEST_P(ReadBytes, IntoTheCallersMemoryLikewise) {
    const BytesCase& c = GetParam();
    ScriptedTransport transport(c.hasEnd, c.script);
    BufferedReader reader(transport, QStringLiteral("TEST0"));
    if (!c.line.isEmpty()) {
        ASSERT_EQ(reader.readLine(kTimeoutMs), c.line);
    }
    QByteArray data(c.count, '?');
    EXPECT_EQ(errorOf([&] { reader.readInto(data.data(), c.count, kTimeoutMs); }), c.error);
    if (!c.error) {
        EXPECT_EQ(data, c.data);
    }
    EXPECT_EQ(reader.readBytes(c.rest.size(), kTimeoutMs), c.rest);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, ReadBytes,
    ::testing::Values(
        BytesCase{"Exact", kSerial, {Arrive("abcdef")}, 4, {}, "abcd", "ef", {}},
        BytesCase{
            "AcrossArrivals", kSerial, {Arrive("a"), Arrive("b\n"), Arrive("cd")}, 4, {}, "ab\nc", "d", {}},
        BytesCase{"EndOnTheLastByte", kGpib, {ArriveEnd("abcd"), ArriveEnd("ef")}, 4, {}, "abcd", "ef", {}},
        BytesCase{
            "EndTooEarly", kGpib, {ArriveEnd("ab"), ArriveEnd("cdef")}, 4, IOError::Truncated, {}, "cd", {}},
        BytesCase{"StopsShort",
                  kSerial,
                  {Arrive("ab"), Stall(), Arrive("xy")},
                  4,
                  IOError::Truncated,
                  {},
                  "xy",
                  {}},
        BytesCase{"NothingArrives", kSerial, {}, 1, IOError::Timeout, {}, "", {}},
        BytesCase{"ConnectionDrops", kSerial, {Arrive("ab"), Drop()}, 4, IOError::Dropped, {}, "", {}},
        BytesCase{"BufferedThenBus",
                  kSerial,
                  {Arrive("line\nab"), Arrive("cd"), Arrive("ef")},
                  4,
                  {},
                  "abcd",
                  "ef",
                  "line"},
        BytesCase{"AllBuffered", kSerial, {Arrive("line\nabcdef")}, 4, {}, "abcd", "ef", "line"},
        BytesCase{"EndInWhatIsBuffered",
                  kGpib,
                  {ArriveEnd("line\nab"), ArriveEnd("cd")},
                  4,
                  IOError::Truncated,
                  {},
                  "cd",
                  "line"}),
    caseName<BytesCase>);

} // namespace
