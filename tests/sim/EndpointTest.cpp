#include "SimTestSupport.h"
#include "sim/NoCommaDevice.h"
#include "sim/SilentDevice.h"
#include "sim/SimConnection.h"
#include "sim/SimInstrument.h"

#include <QElapsedTimer>
#include <atomic>
#include <gtest/gtest.h>
#include <thread>

using namespace tavrelsim;

namespace {

std::shared_ptr<SimInstrument> scope(SimFaults faults = {},
                                     std::optional<SimSerialSettings> line = std::nullopt) {
    return std::make_shared<SimInstrument>(std::make_unique<TavrelScope>(ScopeIdentity{}, faults), faults,
                                           line);
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

TEST(Endpoint, TimeoutWaitsAtLeastItsTimeAndNoLonger) {
    SimConnection ep(scope(), SimConnection::Gpib);
    QElapsedTimer clock;
    clock.start();
    const SimReadResult r = ep.read(100, 150);
    EXPECT_EQ(r.status, SimReadResult::Timeout);
    EXPECT_TRUE(r.data.isEmpty());
    EXPECT_GE(clock.elapsed(), 149);
    EXPECT_LT(clock.elapsed(), 150 + 3000);
}

TEST(Endpoint, ClearDiscardsPendingInputAndOutput) {
    SimConnection ep(scope(), SimConnection::Socket);
    ep.write("*IDN?\n:CHAN2:SCAL 5");
    ep.clear();
    ep.write("\n*OPC?\n"); // the half command was discarded, so this newline ends an empty one
    EXPECT_EQ(simtest::readResponse(ep), "1\n");
    EXPECT_EQ(simtest::query(ep, ":CHAN2:SCAL?;:SYST:ERR?"), "+1.000000E+00;0,\"No error\"\n");
}

TEST(Endpoint, StateOutlivesTheConnection) {
    auto instrument = scope();
    SimConnection(instrument, SimConnection::Gpib).write(":CHAN3:SCAL 4");
    SimConnection second(instrument, SimConnection::Gpib);
    EXPECT_EQ(simtest::query(second, ":CHAN3:SCAL?"), "+4.000000E+00\n");
}

TEST(Endpoint, BlockedReadWakesWhenOutputArrives) {
    auto a = scope();
    auto b = std::make_shared<SimInstrument>(std::make_unique<NoCommaDevice>());
    SimConnection reader(a, SimConnection::Gpib);
    std::atomic<bool> done = false;
    SimReadResult got;
    std::thread t([&] {
        got = reader.read(1000, 20000);
        done = true;
    });
    // Another instrument is usable meanwhile, from this thread.
    SimConnection other(b, SimConnection::Gpib);
    EXPECT_EQ(simtest::query(other, "*IDN?"), "HP3478A\n");
    EXPECT_FALSE(done);
    SimConnection(a, SimConnection::Gpib).write("*IDN?");
    t.join();
    EXPECT_EQ(got.data, Idn);
    EXPECT_EQ(got.status, SimReadResult::Ok);
}

TEST(Endpoint, InstrumentsServeThreadsConcurrently) {
    auto a = scope();
    auto b = scope();
    auto run = [](std::shared_ptr<SimInstrument> instrument, int channel, int* failures) {
        SimConnection ep(instrument, SimConnection::Gpib);
        for (int i = 1; i <= 200; ++i) {
            const QByteArray value = QByteArray::number(i * 0.01);
            ep.write(":CHAN" + QByteArray::number(channel) + ":SCAL " + value + ";SCAL?");
            if (simtest::readResponse(ep).trimmed().toDouble() != value.toDouble()) ++*failures;
        }
    };
    int fa = 0, fb = 0;
    std::thread ta(run, a, 1, &fa), tb(run, b, 2, &fb);
    ta.join();
    tb.join();
    EXPECT_EQ(fa + fb, 0);
}

const SimSerialSettings Line{9600, 1, 8, 1, 2};

struct Mismatch {
    const char* what;
    SimSerialSettings host;
};

class SerialMismatch : public ::testing::TestWithParam<Mismatch> {};

TEST_P(SerialMismatch, InstrumentHearsGarbageAndStaysSilent) {
    SimConnection ep(scope({}, Line), SimConnection::Serial);
    ep.setSerialSettings(GetParam().host);
    ep.write("*IDN?\n");
    EXPECT_EQ(ep.read(100, 200).status, SimReadResult::Timeout);
    // Once the host gets its port right the instrument answers, and only the new query.
    ep.setSerialSettings(Line);
    EXPECT_EQ(simtest::query(ep, "*OPC?"), "1\n");
    EXPECT_EQ(ep.read(100, 100).status, SimReadResult::Timeout);
}

INSTANTIATE_TEST_SUITE_P(Settings, SerialMismatch,
                         ::testing::Values(Mismatch{"baud", {19200, 1, 8, 1, 2}},
                                           Mismatch{"parity", {9600, 3, 8, 1, 2}},
                                           Mismatch{"data_bits", {9600, 1, 7, 1, 2}},
                                           Mismatch{"stop_bits", {9600, 1, 8, 2, 2}},
                                           Mismatch{"handshake", {9600, 1, 8, 1, 4}}),
                         [](const auto& info) { return std::string(info.param.what); });

TEST(SerialEndpoint, ReplyWaitsWhileTheHostListensWrongly) {
    SimConnection ep(scope({}, Line), SimConnection::Serial);
    ep.setSerialSettings(Line);
    ep.write("*OPC?\n");
    ep.setSerialSettings({2400, 1, 8, 1, 2});
    EXPECT_EQ(ep.read(100, 200).status, SimReadResult::Timeout);
    ep.setSerialSettings(Line);
    EXPECT_EQ(ep.read(100, 1000).data, "1\n");
}

TEST(SerialEndpoint, ModemLinesDoNotMatter) {
    SimConnection ep(scope({}, Line), SimConnection::Serial);
    ep.setSerialSettings(Line);
    ep.setModemLines(false, false);
    EXPECT_EQ(simtest::query(ep, "*OPC?"), "1\n");
}

TEST(SilentEndpoint, NeverAnswers) {
    SimConnection ep(std::make_shared<SimInstrument>(std::make_unique<SilentDevice>()), SimConnection::Gpib);
    ep.write("*IDN?");
    EXPECT_EQ(ep.read(100, 100).status, SimReadResult::Timeout);
}

} // namespace
