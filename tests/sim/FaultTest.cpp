#include "SimTestSupport.h"

#include <gtest/gtest.h>

using namespace tavrelsim;

namespace {

// A bench with one scope at GPIB0::7 carrying the given faults (a JSON object's contents).
std::unique_ptr<SimEndpoint> faultyScope(const QByteArray& faults) {
    // The endpoint keeps its instrument alive; the bench itself may go.
    return SimBench::fromJson(R"({"gpib": [{"board": 0, "devices": [{"address": 7, "kind": "tavrel",
                              "faults": {)" +
                                  faults + "}}]}]}",
                              "test")
        ->openGpib(0, 7);
}

TEST(Faults, SilentNeverAnswersButStillListens) {
    auto ep = faultyScope(R"("silent": true)");
    ep->write(":CHAN2:SCAL 0.5");
    ep->write("*IDN?");
    EXPECT_EQ(ep->read(100, 200).status, SimReadResult::Timeout);
}

TEST(Faults, NoCommaGivesAnIdentityWithoutCommas) {
    auto ep = faultyScope(R"("no_comma": true)");
    const QByteArray idn = simtest::query(*ep, "*IDN?");
    EXPECT_FALSE(idn.trimmed().isEmpty());
    EXPECT_FALSE(idn.contains(','));
    EXPECT_TRUE(idn.contains("TV100A"));
}

TEST(Faults, ReplyDelayHoldsTheResponseBack) {
    auto ep = faultyScope(R"("reply_delay_ms": 500)");
    ep->write("*OPC?");
    EXPECT_EQ(ep->read(100, 0).status, SimReadResult::Timeout);
    const SimReadResult r = ep->read(100, 10000);
    EXPECT_EQ(r.data, "1\n");
    EXPECT_TRUE(r.end);
}

TEST(Faults, DropAfterBytesDeliversThePrefixThenDrops) {
    auto ep = faultyScope(R"("drop_after_bytes": 10)");
    EXPECT_EQ(simtest::query(*ep, "*OPC?"), "1\n") << "short replies pass";
    ep->write("*IDN?");
    SimReadResult r = ep->read(1000, 1000);
    EXPECT_EQ(r.data, "CORVANE TE");
    EXPECT_FALSE(r.end);
    EXPECT_EQ(ep->read(1000, 1000).status, SimReadResult::Dropped);
    ep->write("*OPC?");
    EXPECT_EQ(ep->read(1000, 1000).status, SimReadResult::Dropped) << "a dropped connection stays dropped";
}

TEST(Faults, DropAfterZeroBytesDropsAtTheFirstReply) {
    auto ep = faultyScope(R"("drop_after_bytes": 0)");
    ep->write("*OPC?");
    const SimReadResult r = ep->read(1000, 1000);
    EXPECT_EQ(r.status, SimReadResult::Dropped);
    EXPECT_TRUE(r.data.isEmpty());
}

TEST(Faults, TruncatedBlockKeepsItsHeaderAndStopsShort) {
    auto ep = faultyScope(R"("truncate_blocks": 7)");
    ep->write(":SYST:SET?;*OPC?");
    QByteArray got;
    SimReadResult r;
    do {
        r = ep->read(100, 500);
        got += r.data;
        EXPECT_FALSE(r.end);
    } while (r.status == SimReadResult::Ok);
    EXPECT_EQ(r.status, SimReadResult::Timeout);
    const int digits = got[1] - '0';
    const int announced = got.mid(2, digits).toInt();
    EXPECT_EQ(got.size(), 2 + digits + announced - 7) << "no data after the cut, no ';1', no newline";
    EXPECT_EQ(simtest::query(*ep, "*OPC?"), "1\n") << "plain replies are whole";
}

} // namespace
