// Endpoints: END on GPIB, streams, device clear, threads, serial settings and injected faults.

#include "SimTestSupport.h"
#include "sim/NoCommaDevice.h"
#include "sim/SimConnection.h"
#include "sim/SimInstrument.h"

#include <atomic>
#include <gtest/gtest.h>
#include <thread>

using namespace tavrelsim;
using simtest::query;

namespace {

std::shared_ptr<SimInstrument> scope(std::optional<SimSerialSettings> line = std::nullopt) {
    return std::make_shared<SimInstrument>(std::make_unique<TavrelScope>(), SimFaults{}, line);
}

const QByteArray Idn = "CORVANE TECHNOLOGIES,TV100A,CT41000107,A.01.02\n";

TEST(GpibEndpoint, ReadStopsAtEachResponseAndFlagsEnd) {
    SimConnection ep(scope(), SimConnection::Gpib);
    ep.write("*OPC?");
    ep.write("*IDN?");
    SimReadResult r = ep.read(1000, 1000);
    EXPECT_EQ(r.data, "1\n");
    EXPECT_TRUE(r.end);
    r = ep.read(10, 1000);
    EXPECT_EQ(r.data, Idn.left(10));
    EXPECT_FALSE(r.end) << "END belongs to the last byte only";
    r = ep.read(1000, 1000);
    EXPECT_EQ(r.data, Idn.mid(10));
    EXPECT_TRUE(r.end);
}

TEST(StreamEndpoints, CarryNoEndAndJoinResponses) {
    for (SimConnection::Bus bus : {SimConnection::Serial, SimConnection::Socket}) {
        SimConnection ep(scope(), bus);
        ep.write("*OPC?");
        EXPECT_EQ(ep.read(100, 200).status, SimReadResult::Timeout) << "no END: the query is unfinished";
        ep.write("\n*OPC?\n");
        const SimReadResult r = ep.read(100, 1000);
        EXPECT_EQ(r.data, "1\n1\n");
        EXPECT_FALSE(r.end);
    }
}

TEST(Endpoint, ClearDiscardsPendingInputAndOutput) {
    SimConnection ep(scope(), SimConnection::Socket);
    ep.write("*IDN?\n:CHAN2:SCAL 5");
    ep.clear();
    ep.write("\n*OPC?\n"); // the half command was discarded, so this newline ends an empty one
    EXPECT_EQ(simtest::readResponse(ep), "1\n");
    EXPECT_EQ(query(ep, ":CHAN2:SCAL?;:SYST:ERR?"), "+1.000000E+00;0,\"No error\"\n");
}

TEST(Endpoint, BlockedReadWakesWhenOutputArrivesOtherInstrumentsServeMeanwhile) {
    auto a = scope();
    SimConnection reader(a, SimConnection::Gpib);
    std::atomic<bool> done = false;
    SimReadResult got;
    std::thread t([&] {
        got = reader.read(1000, 20000);
        done = true;
    });
    SimConnection other(std::make_shared<SimInstrument>(std::make_unique<NoCommaDevice>()),
                        SimConnection::Gpib);
    EXPECT_EQ(query(other, "*IDN?"), "HP3478A\n");
    EXPECT_FALSE(done);
    SimConnection(a, SimConnection::Gpib).write("*IDN?"); // the instrument's state is shared
    t.join();
    EXPECT_EQ(got.data, Idn);
    EXPECT_EQ(got.status, SimReadResult::Ok);
}

const SimSerialSettings Line{9600, 1, 8, 1, 2};

// A host whose port differs from the instrument's is heard as garbage: no answer, then or later.
TEST(SerialEndpoint, MismatchedSettingsGetNoAnswer) {
    const std::pair<const char*, SimSerialSettings> hosts[] = {{"baud", {19200, 1, 8, 1, 2}},
                                                               {"parity", {9600, 3, 8, 1, 2}},
                                                               {"data bits", {9600, 1, 7, 1, 2}},
                                                               {"stop bits", {9600, 1, 8, 2, 2}},
                                                               {"handshake", {9600, 1, 8, 1, 4}}};
    for (const auto& [what, host] : hosts) {
        SimConnection ep(scope(Line), SimConnection::Serial);
        ep.setSerialSettings(host);
        ep.write("*IDN?\n");
        EXPECT_EQ(ep.read(100, 200).status, SimReadResult::Timeout) << what;
        ep.setSerialSettings(Line);
        EXPECT_EQ(query(ep, "*OPC?"), "1\n") << what;
        EXPECT_EQ(ep.read(100, 100).status, SimReadResult::Timeout) << what << ": only the new query";
        ep.write("*OPC?\n"); // a reply waits while the host listens wrongly; modem lines do not matter
        ep.setSerialSettings(host);
        ep.setModemLines(false, false);
        EXPECT_EQ(ep.read(100, 200).status, SimReadResult::Timeout) << what;
        ep.setSerialSettings(Line);
        EXPECT_EQ(ep.read(100, 1000).data, "1\n") << what;
    }
}

// A bench with one scope at GPIB0::7 carrying the given faults (a JSON object's contents).
std::unique_ptr<SimEndpoint> faultyScope(const QByteArray& faults) {
    const QByteArray device = R"({"address": 7, "kind": "tavrel", "faults": {)" + faults + "}}";
    return SimBench::fromJson(R"({"gpib": [{"board": 0, "devices": [)" + device + "]}]}", "test")
        ->openGpib(0, 7);
}

TEST(Faults, SilentNoCommaAndDelayedReplies) {
    auto silent = faultyScope(R"("silent": true)");
    silent->write(":CHAN2:SCAL 0.5;*IDN?");
    EXPECT_EQ(silent->read(100, 200).status, SimReadResult::Timeout);
    const QByteArray idn = query(*faultyScope(R"("no_comma": true)"), "*IDN?");
    EXPECT_TRUE(idn.contains("TV100A") && !idn.contains(',')) << idn.toStdString();
    auto delayed = faultyScope(R"("reply_delay_ms": 500)");
    delayed->write("*OPC?");
    EXPECT_EQ(delayed->read(100, 0).status, SimReadResult::Timeout);
    const SimReadResult r = delayed->read(100, 10000);
    EXPECT_TRUE(r.data == "1\n" && r.end);
}

// The binary's tests see the same faults cut a reply over TCP; here, what a reader is told.
TEST(Faults, DroppedConnectionStaysDroppedTruncatedBlockNeverEnds) {
    auto ep = faultyScope(R"("drop_after_bytes": 10)");
    EXPECT_EQ(query(*ep, "*OPC?"), "1\n") << "short replies pass";
    ep->write("*IDN?");
    const SimReadResult r = ep->read(1000, 1000);
    EXPECT_EQ(r.data, "CORVANE TE");
    EXPECT_FALSE(r.end);
    EXPECT_EQ(ep->read(1000, 1000).status, SimReadResult::Dropped);
    ep->write("*OPC?");
    EXPECT_EQ(ep->read(1000, 1000).status, SimReadResult::Dropped) << "a dropped connection stays dropped";
    auto zero = faultyScope(R"("drop_after_bytes": 0)");
    zero->write("*OPC?");
    EXPECT_EQ(zero->read(1000, 1000).status, SimReadResult::Dropped) << "at the first reply";
    auto truncating = faultyScope(R"("truncate_blocks": 7)");
    truncating->write(":SYST:SET?;*OPC?");
    EXPECT_FALSE(simtest::readResponse(*truncating, 500).endsWith('\n')) << "no ';1', no newline";
    EXPECT_EQ(query(*truncating, "*OPC?"), "1\n") << "plain replies are whole";
}

} // namespace
