#include "EnvironmentGuard.h"
#include "iolib/IOError.h"
#include "iolib/IOManager.h"
#include "iolib/SerialSession.h"
#include "sim/SimBench.h"

#include <QElapsedTimer>
#include <QTemporaryFile>
#include <QThread>
#include <atomic>
#include <gtest/gtest.h>

using namespace CorvaneIOUtilsLib;

namespace {

const QString kScopeIdn = QStringLiteral("CORVANE TECHNOLOGIES,TV100A,CT41000301,A.01.02");

struct Failure {
    IOError::Kind kind = IOError::Io;
    QString message;
    qint64 elapsedMs = 0;
};

Failure failureOf(const std::function<void()>& body) {
    QElapsedTimer clock;
    clock.start();
    try {
        body();
    } catch (const IOError& error) {
        return {error.kind(), error.message(), clock.elapsed()};
    }
    ADD_FAILURE() << "no error";
    return {};
}

std::unique_ptr<SerialSession> openSerial(const IOManager& manager, const QString& address) {
    return std::unique_ptr<SerialSession>(dynamic_cast<SerialSession*>(manager.Open(address).release()));
}

class DefaultBench : public ::testing::Test {
protected:
    IOManager manager{tavrelsim::SimBench::defaultBench()};
};

TEST_F(DefaultBench, ListsItsPortsAndInstruments) {
    EXPECT_TRUE(manager.IsSimulated());
    const QStringList all = {QStringLiteral("GPIB0::3::INSTR"),
                             QStringLiteral("GPIB0::7::INSTR"),
                             QStringLiteral("GPIB0::12::INSTR"),
                             QStringLiteral("GPIB0::22::INSTR"),
                             QStringLiteral("COM1"),
                             QStringLiteral("COM2")};
    EXPECT_EQ(manager.FindRsrc(QStringLiteral("?*")), all);
    EXPECT_EQ(manager.FindRsrc(QStringLiteral("gpib*")), all.mid(0, 4));
    EXPECT_EQ(manager.FindRsrc(QStringLiteral("GPIB?*INSTR")), all.mid(0, 4));
    EXPECT_EQ(manager.FindRsrc(QStringLiteral("COM*")), all.mid(4));
    EXPECT_EQ(manager.FindRsrc(QStringLiteral("COM2")), all.mid(5));
    EXPECT_TRUE(manager.FindRsrc(QStringLiteral("COM4")).isEmpty());
}

// What the identification of a serial instrument does with a session, in order, starting from a
// port that does not match the instrument.
TEST_F(DefaultBench, SerialIdentificationSequence) {
    auto session = openSerial(manager, QStringLiteral("COM1::Baud=19200"));
    session->SetTimeout(300);
    EXPECT_EQ(failureOf([&] { session->Query(QStringLiteral("*IDN?")); }).kind, IOError::Timeout);
    session->SetHandShake(RS232_HandShake_None);
    session->SetDTR(false);
    session->SetRTS(false);
    session->SetDTR(true);
    session->SetRTS(true);
    session->SetHandShake(RS232_HandShake_XON_XOFF);
    session->SetBaudRate(9600);
    session->SetDataBits(8);
    session->SetStopBits(1);
    session->SetTimeout(2500);
    session->Clear();
    const int endOut = session->EndOut();
    session->SetEndOut(RS232_EndOut_None);
    session->WriteString(QStringLiteral("\r\n"));
    session->SetEndOut(endOut);
    session->WriteString(QStringLiteral("*IDN?"));
    EXPECT_EQ(session->ReadString(QStringLiteral("K")), kScopeIdn);
    session->SetTimeout(250);
    EXPECT_EQ(failureOf([&] { session->ReadBytes(1); }).kind, IOError::Timeout); // nothing left to flush
}

TEST(SimulatedSerialFraming, ParityAndSizeReachTheInstrument) {
    const QByteArray json = R"({"gpib": [], "com": [{"port": 2, "device": {"kind": "tavrel", "baud": 2400,
        "parity": "even", "data_bits": 7, "stop_bits": 2, "handshake": "DTR_DSR"}}]})";
    IOManager manager(tavrelsim::SimBench::fromJson(json, QStringLiteral("framing bench")));
    auto session =
        openSerial(manager, QStringLiteral("COM2::Baud=2400,Parity=EVEN,Size=7,Stop=2,Handshake=DTR_DSR"));
    EXPECT_TRUE(session->Query(QStringLiteral("*IDN?")).startsWith(QStringLiteral("CORVANE")));
    session->SetParity(RS232_Parity_Odd);
    session->SetTimeout(200);
    EXPECT_EQ(failureOf([&] { session->Query(QStringLiteral("*IDN?")); }).kind, IOError::Timeout);
}

// Faults of the bench, each of which must surface as a clear error within the timeout.
const QByteArray kFaultyBench = R"({
  "gpib": [{"board": 0, "devices": [
    {"address": 1, "kind": "tavrel", "faults": {"reply_delay_ms": 5000}},
    {"address": 2, "kind": "tavrel", "faults": {"drop_after_bytes": 10}},
    {"address": 4, "kind": "tavrel", "faults": {"truncate_blocks": 5}},
    {"address": 5, "kind": "silent"}]}],
  "com": [{"port": 3, "device": {"kind": "tavrel", "faults": {"truncate_blocks": 5}}}, {"port": 4}]
})";

struct FaultCase {
    const char* address;
    const char* command;
    bool block;
    IOError::Kind kind;
};

class FaultyBench : public ::testing::TestWithParam<FaultCase> {};

TEST_P(FaultyBench, FailsClearlyWithinTheTimeout) {
    const FaultCase& c = GetParam();
    IOManager manager(tavrelsim::SimBench::fromJson(kFaultyBench, QStringLiteral("faulty bench")));
    auto session = manager.Open(QString::fromLatin1(c.address));
    session->SetTimeout(300);
    const Failure failure = failureOf([&] {
        session->WriteString(QString::fromLatin1(c.command));
        c.block ? void(session->ReadIEEEBlock()) : void(session->ReadString());
    });
    EXPECT_EQ(IOError::kindName(failure.kind), IOError::kindName(c.kind)) << failure.message.toStdString();
    EXPECT_TRUE(failure.message.startsWith(QString::fromLatin1(c.address) + ": "))
        << failure.message.toStdString();
    EXPECT_LT(failure.elapsedMs, 300 + 2000);
}

INSTANTIATE_TEST_SUITE_P(Cases, FaultyBench,
                         ::testing::Values(FaultCase{"GPIB0::1::INSTR", "*IDN?", false, IOError::Timeout},
                                           FaultCase{"GPIB0::5::INSTR", "*IDN?", false, IOError::Timeout},
                                           FaultCase{"COM4", "*IDN?", false, IOError::Timeout},
                                           FaultCase{"GPIB0::9::INSTR", "*IDN?", false, IOError::NotFound},
                                           FaultCase{"GPIB0::2::INSTR", "*IDN?", false, IOError::Dropped},
                                           FaultCase{"GPIB0::2::INSTR", ":SYST:SET?", true, IOError::Dropped},
                                           FaultCase{"GPIB0::4::INSTR", ":SYST:SET?", true,
                                                     IOError::Truncated},
                                           FaultCase{"COM3", ":SYST:SET?", true, IOError::Truncated}));

// Several threads at once, each on its own port, as the instrument search runs.
TEST_F(DefaultBench, PortsCanBeUsedFromSeveralThreadsAtOnce) {
    std::atomic<int> failures{0};
    std::vector<std::unique_ptr<QThread>> threads;
    for (const char* address : {"GPIB0::7::INSTR", "GPIB0::12::INSTR", "COM1"}) {
        threads.emplace_back(QThread::create([&, address] {
            for (int i = 0; i < 10; ++i) {
                try {
                    failures += manager.FindRsrc(QStringLiteral("?*")).size() != 6;
                    failures += !manager.Open(QString::fromLatin1(address))
                                     ->Query(QStringLiteral("*IDN?"))
                                     .contains(',');
                } catch (const IOError&) {
                    ++failures;
                }
            }
        }));
        threads.back()->start();
    }
    for (auto& thread : threads)
        thread->wait();
    EXPECT_EQ(failures, 0);
}

TEST(CreateFromEnvironment, PicksTheBackendsOrSaysWhatIsWrong) {
    QTemporaryFile benchFile;
    ASSERT_TRUE(benchFile.open());
    benchFile.write(kFaultyBench);
    benchFile.close();
    {
        EnvironmentGuard io("TAVREL_IO", "", false);
        EXPECT_FALSE(IOManager::create()->IsSimulated());
    }
    {
        EnvironmentGuard io("TAVREL_IO", "sim");
        EXPECT_EQ(IOManager::create()->FindRsrc(QStringLiteral("COM*")).size(), 2);
    }
    {
        EnvironmentGuard io("TAVREL_IO", "sim:" + benchFile.fileName().toLocal8Bit());
        EXPECT_EQ(IOManager::create()->FindRsrc(QStringLiteral("COM*")),
                  (QStringList{QStringLiteral("COM3"), QStringLiteral("COM4")}));
    }
    for (const auto& [value, kind] : {std::pair{"sim:/nonexistent/bench.json", IOError::Io},
                                      std::pair{"hardware", IOError::Unsupported}}) {
        EnvironmentGuard io("TAVREL_IO", value);
        const Failure failure = failureOf([] { IOManager::create(); });
        EXPECT_EQ(failure.kind, kind) << value;
        EXPECT_TRUE(failure.message.contains(QString::fromLatin1(value).section(QLatin1Char(':'), -1)))
            << failure.message.toStdString();
    }
}

} // namespace
