#include "discovery/InstrumentSearch.h"
#include "DiscoveryTestSupport.h"
#include "support/DiagnosticsCapture.h"

#include <QThread>
#include <algorithm>
#include <gtest/gtest.h>
#include <string>
#include <vector>

using namespace discoverytest;
using IO = CIOconfiguration;

namespace {

const QString kMaker = QStringLiteral("CORVANE TECHNOLOGIES");

// "model address", and " by manufacturer" when that is not Corvane.
std::vector<std::string> Rows(const SearchResult& result) {
    std::vector<std::string> rows;
    for (const SearchRow& row : result.rows) {
        EXPECT_EQ(row.supported, T(202)) << row.address.toStdString();
        const QString maker =
            row.manufacturer == kMaker ? QString() : QStringLiteral(" by ") + row.manufacturer;
        rows.push_back((row.model + u' ' + row.address + maker).toStdString());
    }
    return rows;
}

using Flags = std::array<bool, 4>; // instrumentFoundOnCOMPort

using Steps = QList<std::tuple<QString, int, int>>;

// Runs the search, keeping its progress steps (target, done, total).
SearchResult Search(const std::shared_ptr<CorvaneIOUtilsLib::IOManager>& manager, const IO& configuration,
                    const QString& active, bool concurrent = true, Steps* steps = nullptr) {
    InstrumentSearch search(configuration, manager, active, 0);
    search.setConcurrent(concurrent);
    std::mutex mutex;
    QObject::connect(&search, &InstrumentSearch::progress, [&](const SearchProgress& step) {
        std::lock_guard lock(mutex);
        if (steps) steps->append({step.target, step.done, step.total});
    });
    return search.run();
}

// The default bench without its two silent places, which take a timeout each.
IO QuickDefaultBench(const CorvaneIOUtilsLib::IOManager& manager) {
    IO configuration = Refreshed(manager);
    configuration.SetRS232PortIncluded(2, false);
    configuration.SetGPIBAddressIncluded(0, 22, false);
    return configuration;
}

} // namespace

TEST(InstrumentSearch, DefaultBenchConcurrentAndSequentialAgree) {
    const auto manager = DefaultBench();
    InstrumentSearch concurrent(IO(), manager, QStringLiteral("GPIB0::7::INSTR"), 50);
    concurrent.setRefreshPortsFirst(true);
    const SearchResult result = concurrent.run();
    EXPECT_EQ(Rows(result), std::vector<std::string>({"TV100A COM1", "Unknown GPIB0::3::INSTR by Unknown",
                                                      "TV100A GPIB0::7::INSTR", "TV200B GPIB0::12::INSTR",
                                                      "Unknown GPIB0::22::INSTR by Unknown"}));
    EXPECT_EQ(result.rows[1].result, IdentificationResult::NotIEEE488);
    EXPECT_EQ(result.rows[4].result, IdentificationResult::NotFound);
    EXPECT_EQ(result.selectedIndex, 3);
    EXPECT_EQ(result.silentCOMPorts, QList<int>({2}));
    EXPECT_EQ(result.instrumentFoundOnCOMPort, Flags({true, false, true, true}));
    EXPECT_TRUE(result.portsNotFound.isEmpty());
    EXPECT_FALSE(result.cancelled || result.error);

    InstrumentSearch sequential(Refreshed(*manager), manager, QStringLiteral("GPIB0::7::INSTR"), 50);
    sequential.setConcurrent(false);
    const SearchResult same = sequential.run();
    EXPECT_EQ(same.rows, result.rows);
    EXPECT_EQ(same.selectedIndex, result.selectedIndex);
    EXPECT_EQ(same.instrumentFoundOnCOMPort, result.instrumentFoundOnCOMPort);
    EXPECT_EQ(same.silentCOMPorts, result.silentCOMPorts);
    EXPECT_EQ(same.configuration.SearchCriteriaBytes(), result.configuration.SearchCriteriaBytes());
    EXPECT_EQ(Listed(same.configuration, 0), Listed(result.configuration, 0));
    EXPECT_TRUE(same.portsNotFound.isEmpty() && !same.cancelled);
}

TEST(InstrumentSearch, ModelWordAndReplyWithoutComma) {
    const auto manager = Bench(R"({
        "com": [{"port": 2, "device": {"kind": "tavrel", "model": "MODELTV300C"}}],
        "gpib": [{"board": 1, "devices": [{"address": 4, "kind": "tavrel", "model": "TV120A"},
                                           {"address": 9, "kind": "no_comma", "idn": "XYZ"}]}]})");
    const SearchResult result = Search(manager, Refreshed(*manager), QStringLiteral("COM2::Baud=9600"));
    EXPECT_EQ(Rows(result), std::vector<std::string>({"TV300C COM2", "TV120A GPIB1::4::INSTR",
                                                      "Unknown GPIB1::9::INSTR by Unknown"}));
    EXPECT_EQ(result.selectedIndex, 1);
    EXPECT_TRUE(result.silentCOMPorts.isEmpty());
}

TEST(InstrumentSearch, SilentPortsAreWaitedForSideBySide) {
    const auto manager = Bench(R"({"com": [{"port": 1}, {"port": 2}]})");
    Steps steps;
    const SearchResult result = Search(manager, Refreshed(*manager), {}, true, &steps);
    EXPECT_EQ(result.silentCOMPorts, QList<int>({1, 2}));
    EXPECT_EQ(result.instrumentFoundOnCOMPort, Flags({false, false, true, true}));
    // Each port starts while the other still waits out its timeout.
    std::sort(steps.begin(), steps.end());
    EXPECT_EQ(steps, Steps({{"COM1", 0, 2}, {"COM2", 0, 2}}));
}

TEST(InstrumentSearch, OnlyIncludedPortsAndAddressesAreProbedInOrder) {
    const auto manager = DefaultBench();
    IO configuration = QuickDefaultBench(*manager);
    configuration.SetGPIBAddressIncluded(0, 3, false);
    Steps steps;
    SearchResult result = Search(manager, configuration, QStringLiteral("GPIB0::12::INSTR"), false, &steps);
    EXPECT_EQ(Rows(result),
              std::vector<std::string>({"TV100A COM1", "TV100A GPIB0::7::INSTR", "TV200B GPIB0::12::INSTR"}));
    EXPECT_EQ(result.selectedIndex, 3);
    EXPECT_TRUE(result.silentCOMPorts.isEmpty());
    EXPECT_EQ(result.instrumentFoundOnCOMPort, Flags({true, true, true, true})); // COM2 was not searched
    EXPECT_EQ(steps, Steps({{"COM1", 0, 5},
                            {"GPIB0", 1, 5},
                            {"GPIB0::7::INSTR", 2, 5},
                            {"GPIB0::12::INSTR", 3, 5},
                            {"GPIB1", 4, 5}}));

    for (int port = IO::kFirstRS232Port; port <= IO::kLastRS232Port; ++port)
        configuration.SetRS232PortIncluded(port, false);
    for (int address = IO::kFirstGPIBAddress; address <= IO::kLastGPIBAddress; ++address)
        configuration.SetGPIBAddressIncluded(0, address, false);
    steps.clear();
    result = Search(manager, configuration, QStringLiteral("GPIB0::7::INSTR"), false, &steps);
    EXPECT_EQ(steps, Steps({{"GPIB0", 0, 2}, {"GPIB1", 1, 2}})); // the boards are still looked up
    EXPECT_TRUE(result.rows.isEmpty());
    EXPECT_EQ(result.selectedIndex, -1);
    EXPECT_EQ(result.instrumentFoundOnCOMPort, Flags({true, true, true, true}));
}

TEST(InstrumentSearch, PortsNoLongerListedGiveTheirMessageInTheCallersLanguage) {
    Language french(kFrench);
    const auto manager = DefaultBench();
    IO configuration = QuickDefaultBench(*manager);
    configuration.SetRS232PortExists(3, true);
    configuration.SetGPIBPortExists(2, true);
    configuration.SetGPIBAddressExists(2, 5, true);
    const SearchResult result = Search(manager, configuration, QStringLiteral("COM3"));
    EXPECT_EQ(Rows(result), std::vector<std::string>({"TV100A COM1", "Inconnu GPIB0::3::INSTR by Inconnu",
                                                      "TV100A GPIB0::7::INSTR", "TV200B GPIB0::12::INSTR"}));
    EXPECT_EQ(result.portsNotFound, QList<PortNotFound>({PortNotFoundMessage(QStringLiteral("COM3")),
                                                         PortNotFoundMessage(QStringLiteral("GPIB2"))}));
    EXPECT_TRUE(result.portsNotFound[0].message.startsWith(T(241)));
    EXPECT_EQ(result.selectedIndex, -1);
    EXPECT_EQ(result.instrumentFoundOnCOMPort, Flags({true, true, false, true}));
    // The lookups refreshed the working copy.
    EXPECT_FALSE(result.configuration.RS232PortExists(3) || result.configuration.GPIBPortExists(2));
    EXPECT_TRUE(Listed(result.configuration, 2).isEmpty());
}

TEST(InstrumentSearch, WorkersReportToTheCallersDiagnostics) {
    DiagnosticsCapture capture;
    const auto manager = Bench(R"({
        "com": [{"port": 1, "device": {"kind": "tavrel", "handshake": "NONE"}}],
        "gpib": [{"board": 0, "devices": [{"address": 7, "kind": "tavrel"}]}]})");
    IO configuration = Refreshed(*manager);
    configuration.SetRS232Handshake(1, CorvaneIOUtilsLib::RS232_HandShake_None);
    EXPECT_EQ(Search(manager, configuration, {}).rows.size(), 2);
    EXPECT_TRUE(capture.hasReportWith({"File: CQueryInstrument", "Function: RS232IDNQuery"}));
}

TEST(InstrumentSearch, CancelSkipsTheProbesNotYetStarted) {
    const auto manager = Bench(R"({"gpib": [{"board": 0, "devices": [
        {"address": 1, "kind": "tavrel"}, {"address": 2, "kind": "silent"}, {"address": 3, "kind": "silent"},
        {"address": 4, "kind": "silent"}, {"address": 5, "kind": "silent"}]}]})");
    for (const bool concurrent : {false, true}) {
        InstrumentSearch search(Refreshed(*manager), manager, QStringLiteral("GPIB0::1::INSTR"), 0);
        search.setConcurrent(concurrent);
        const Qt::HANDLE caller = QThread::currentThreadId();
        std::atomic<bool> offThread{true};
        QObject::connect(&search, &InstrumentSearch::progress, [&](const SearchProgress& step) {
            offThread = offThread && QThread::currentThreadId() != caller;
            if (step.target == QStringLiteral("GPIB0::2::INSTR")) search.cancel();
        });
        std::atomic<int> finishedRows{-1};
        QObject::connect(&search, &InstrumentSearch::finished,
                         [&](const SearchResult& result) { finishedRows = int(result.rows.size()); });
        search.start();
        const SearchResult result = search.waitForFinished();
        EXPECT_TRUE(offThread);
        EXPECT_TRUE(result.cancelled);
        // The probe under way when cancel came is finished; the rest never start.
        ASSERT_EQ(result.rows.size(), 2);
        EXPECT_EQ(result.rows[1].address, QStringLiteral("GPIB0::2::INSTR"));
        EXPECT_EQ(result.selectedIndex, 1);
        for (int i = 0; i < 200 && finishedRows < 0; ++i)
            QThread::msleep(5); // emitted after the result is kept
        EXPECT_EQ(finishedRows, 2);
    }
}

TEST(PortDiscovery, RefreshPortsFromTheDefaultBench) {
    CIOconfiguration configuration;
    configuration.SetGPIBAddressExists(0, 5, true);
    configuration.SetRS232PortExists(4, true);
    DiagnosticsCapture capture;
    configuration.RefreshPorts(*DefaultBench());
    EXPECT_TRUE(capture.reports.isEmpty()) << "a board's own entry is not a bad address";
    EXPECT_TRUE(configuration.RS232PortExists(1) && configuration.RS232PortExists(2));
    EXPECT_FALSE(configuration.RS232PortExists(3) || configuration.RS232PortExists(4));
    EXPECT_TRUE(configuration.GPIBPortExists(0));
    EXPECT_EQ(Listed(configuration, 0), QList<int>({3, 7, 12, 22}));
    // A board with nobody listening on it is there, with no addresses.
    EXPECT_TRUE(configuration.GPIBPortExists(1));
    EXPECT_TRUE(Listed(configuration, 1).isEmpty());

    configuration.RefreshPorts(*Bench("{}"));
    EXPECT_FALSE(configuration.AnyPortExists().toBool());
    EXPECT_TRUE(Listed(configuration, 0).isEmpty());
}

TEST(PortDiscovery, FindPortsRefreshOnlyTheirOwn) {
    const auto manager = DefaultBench();
    CIOconfiguration configuration;
    configuration.SetGPIBAddressExists(0, 5, true);
    configuration.SetGPIBAddressExists(1, 5, true);
    EXPECT_TRUE(configuration.FindGPIBPort(0, *manager));
    EXPECT_EQ(Listed(configuration, 0), QList<int>({3, 7, 12, 22}));
    EXPECT_EQ(Listed(configuration, 1), QList<int>({5}));
    EXPECT_FALSE(configuration.GPIBPortExists(0));        // storing the result is the caller's business
    EXPECT_TRUE(configuration.FindGPIBPort(1, *manager)); // there, with nobody on it
    EXPECT_TRUE(Listed(configuration, 1).isEmpty());
    EXPECT_FALSE(configuration.FindGPIBPort(2, *manager));

    const bool found[] = {true, true, false, false};
    for (int port = 1; port <= 4; ++port)
        EXPECT_EQ(configuration.FindRS232Port(port, *manager), found[port - 1]) << port;

    DiagnosticsCapture capture; // ports outside their range
    EXPECT_ANY_THROW(configuration.FindGPIBPort(4, *manager));
    EXPECT_ANY_THROW(configuration.FindRS232Port(0, *manager));
    EXPECT_TRUE(capture.hasReportWith(
        {"Assertion: (gpib_portFind >= GPIB_PORT.First And gpib_portFind <= GPIB_PORT.Last)",
         "Function: FindGPIBPort"}));
    EXPECT_TRUE(capture.hasReportWith(
        {"Assertion: (rs232_portFind >= RS232_PORT.First And rs232_portFind <= RS232_PORT.Last)",
         "Function: FindRS232Port"}));
}
