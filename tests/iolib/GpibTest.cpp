#include "EnvironmentGuard.h"
#include "iolib/IOError.h"
#include "iolib/IOManager.h"
#include "iolib/IOTrace.h"

#include <QElapsedTimer>
#include <gtest/gtest.h>

using namespace CorvaneIOUtilsLib;

namespace {

const QStringList kBoard0 = {QStringLiteral("GPIB0::3::INSTR"), QStringLiteral("GPIB0::7::INSTR"),
                             QStringLiteral("GPIB0::12::INSTR"), QStringLiteral("GPIB0::22::INSTR")};

IOError::Kind errorKind(const std::function<void()>& body, const QString& mentioned) {
    try {
        body();
    } catch (const IOError& error) {
        EXPECT_TRUE(error.message().contains(mentioned)) << error.what();
        return error.kind();
    }
    ADD_FAILURE() << "no error";
    return IOError::Io;
}

// The real GPIB backend with the test double (over the default bench) in place of libgpib, once with
// per-thread status functions and once with only the old global variables.
class Gpib : public ::testing::TestWithParam<const char*> {
protected:
    EnvironmentGuard library{"TAVREL_GPIB_LIBRARY", GetParam()};
    EnvironmentGuard noSerial{"TAVREL_COM_PORTS", ""};
    IOManager manager;
};

TEST_P(Gpib, ListsTheListenersOfEveryBoard) {
    EXPECT_EQ(manager.FindRsrc(QStringLiteral("GPIB*")), kBoard0);
    EXPECT_EQ(manager.FindRsrc(QStringLiteral("GPIB0")), kBoard0);
    EXPECT_EQ(manager.FindRsrc(QStringLiteral("?*")), kBoard0);
    EXPECT_TRUE(manager.FindRsrc(QStringLiteral("GPIB1")).isEmpty()); // present, nobody on it
    EXPECT_TRUE(manager.FindRsrc(QStringLiteral("GPIB2")).isEmpty());
}

TEST_P(Gpib, IdentifiesInstrumentsAndMovesTheLearnString) {
    auto session = manager.Open(QStringLiteral("GPIB0::7::INSTR"));
    EXPECT_EQ(session->IOType(), QStringLiteral("GPIB"));
    session->SetTimeout(2500);
    session->Clear();
    session->WriteString(QStringLiteral("*IDN?")); // END completes the command
    EXPECT_EQ(session->ReadString(), QStringLiteral("CORVANE TECHNOLOGIES,TV100A,CT41000107,A.01.02"));
    EXPECT_EQ(manager.Open(QStringLiteral("GPIB0::3::INSTR"))->Query(QStringLiteral("*IDN?")),
              QStringLiteral("HP3478A"));

    session->WriteString(QStringLiteral(":SYST:SET?"));
    const QByteArray block = session->ReadIEEEBlock();
    ASSERT_FALSE(block.isEmpty());
    const QByteArray length = QByteArray::number(block.size());
    session->WriteBytes(":SYST:SET #" + QByteArray::number(length.size()) + length + block);
    EXPECT_TRUE(session->Query(QStringLiteral(":SYST:ERR?")).startsWith(QLatin1Char('0')));
}

TEST_P(Gpib, ASilentInstrumentTimesOutWithinTheTimeout) {
    auto session = manager.Open(QStringLiteral("GPIB0::22::INSTR"));
    session->SetTimeout(300);
    session->WriteString(QStringLiteral("*IDN?"));
    QElapsedTimer clock;
    clock.start();
    EXPECT_EQ(
        errorKind([&] { session->ReadString(); }, QStringLiteral("GPIB0::22::INSTR: no reply within 300 ms")),
        IOError::Timeout);
    EXPECT_LT(clock.elapsed(), 300 + 2000);
}

TEST_P(Gpib, AbsentListenersAndBoardsAreNotFound) {
    auto session = manager.Open(QStringLiteral("GPIB0::5::INSTR")); // as ibdev, opening does not check
    EXPECT_EQ(
        errorKind([&] { session->WriteString(QStringLiteral("*IDN?")); }, QStringLiteral("GPIB0::5::INSTR")),
        IOError::NotFound);
    EXPECT_EQ(errorKind([&] { manager.Open(QStringLiteral("GPIB3::7::INSTR")); }, QStringLiteral("GPIB3")),
              IOError::NotFound);
}

INSTANTIATE_TEST_SUITE_P(Double, Gpib, ::testing::Values(GPIB_DOUBLE_PATH, GPIB_DOUBLE_GLOBALS_PATH),
                         [](const auto& info) {
                             return std::string(info.index == 0 ? "Thread" : "Global") + "Status";
                         });

// Without a usable library (none there, or one that is not a GPIB library) there are no GPIB ports.
class GpibWithoutLibrary : public ::testing::TestWithParam<const char*> {};

TEST_P(GpibWithoutLibrary, HasNoPortsAndSaysWhy) {
    EnvironmentGuard library("TAVREL_GPIB_LIBRARY", GetParam());
    EnvironmentGuard noSerial("TAVREL_COM_PORTS", "");
    QStringList notes;
    SetTraceHook([&](const QString& note) { notes << note; });
    IOManager manager;
    SetTraceHook({});
    EXPECT_TRUE(manager.FindRsrc(QStringLiteral("?*")).isEmpty());
    EXPECT_EQ(notes.filter(QString::fromLatin1(GetParam())).size(), 1);
    EXPECT_EQ(
        errorKind([&] { manager.Open(QStringLiteral("GPIB0::7::INSTR")); }, QString::fromLatin1(GetParam())),
        IOError::NotFound);
}

INSTANTIATE_TEST_SUITE_P(Cases, GpibWithoutLibrary,
                         ::testing::Values("/nonexistent/libgpib.so.0", "libm.so.6"), [](const auto& info) {
                             return std::string(info.index == 0 ? "Missing" : "NotGpib");
                         });

} // namespace
