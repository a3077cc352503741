#include "discovery/InstrumentSearch.h"
#include "DiscoveryTestSupport.h"
#include "support/DiagnosticsCapture.h"

#include <QElapsedTimer>
#include <QThread>
#include <gtest/gtest.h>
#include <mutex>

using namespace discoverytest;
using IO = CIOconfiguration;

namespace {

const QString kMaker = QStringLiteral("CORVANE TECHNOLOGIES");

struct Row {
    QString model, address, manufacturer;
    bool operator==(const Row&) const = default;
};

void PrintTo(const Row& row, std::ostream* os) {
    *os << "{" << row.model.toStdString() << ", " << row.address.toStdString() << ", "
        << row.manufacturer.toStdString() << "}";
}

QList<Row> Rows(const SearchResult& result) {
    QList<Row> rows;
    for (const SearchRow& row : result.rows) {
        EXPECT_EQ(row.supported, T(202)) << row.address.toStdString();
        rows.append({row.model, row.address, row.manufacturer});
    }
    return rows;
}

std::array<bool, 4> Flags(bool com1, bool com2, bool com3, bool com4) {
    return {com1, com2, com3, com4};
}

QList<QList<int>> ListedAddresses(const CIOconfiguration& configuration) {
    QList<QList<int>> boards;
    for (int board = IO::kFirstGPIBPort; board <= IO::kLastGPIBPort; ++board) {
        boards.append(QList<int>());
        for (int address = IO::kFirstGPIBAddress; address <= IO::kLastGPIBAddress; ++address)
            if (configuration.GPIBAddressExists(board, address)) boards.last().append(address);
    }
    return boards;
}

void ExpectSameResult(const SearchResult& a, const SearchResult& b) {
    EXPECT_EQ(a.rows, b.rows);
    EXPECT_EQ(a.selectedIndex, b.selectedIndex);
    EXPECT_EQ(a.instrumentFoundOnCOMPort, b.instrumentFoundOnCOMPort);
    EXPECT_EQ(a.silentCOMPorts, b.silentCOMPorts);
    EXPECT_EQ(a.portsNotFound, b.portsNotFound);
    EXPECT_EQ(a.cancelled, b.cancelled);
    EXPECT_EQ(a.configuration.SearchCriteriaBytes(), b.configuration.SearchCriteriaBytes());
    EXPECT_EQ(ListedAddresses(a.configuration), ListedAddresses(b.configuration));
}

SearchResult Search(const std::shared_ptr<CorvaneIOUtilsLib::IOManager>& manager,
                    const CIOconfiguration& configuration, const QString& active, bool concurrent = true) {
    InstrumentSearch search(configuration, manager, active, 0);
    search.setConcurrent(concurrent);
    return search.run();
}

// The default bench without its two silent places, which take a timeout each.
CIOconfiguration QuickDefaultBench(const CorvaneIOUtilsLib::IOManager& manager) {
    CIOconfiguration configuration = Refreshed(manager);
    configuration.SetRS232PortIncluded(2, false);
    configuration.SetGPIBAddressIncluded(0, 22, false);
    return configuration;
}

} // namespace

TEST(InstrumentSearch, DefaultBenchConcurrentAndSequentialAgree) {
    const auto manager = DefaultBench();
    InstrumentSearch concurrent(CIOconfiguration(), manager, QStringLiteral("GPIB0::7::INSTR"), 50);
    concurrent.setRefreshPortsFirst(true);
    const SearchResult result = concurrent.run();

    const QString unknownMaker = T(229), unknownModel = T(230);
    EXPECT_EQ(Rows(result), QList<Row>({
                                {"TV100A", "COM1", kMaker},
                                {unknownModel, "GPIB0::3::INSTR", unknownMaker},
                                {"TV100A", "GPIB0::7::INSTR", kMaker},
                                {"TV200B", "GPIB0::12::INSTR", kMaker},
                                {unknownModel, "GPIB0::22::INSTR", unknownMaker},
                            }));
    EXPECT_EQ(result.rows[1].result, IdentificationResult::NotIEEE488);
    EXPECT_EQ(result.rows[4].result, IdentificationResult::NotFound);
    EXPECT_EQ(result.selectedIndex, 3);
    EXPECT_EQ(result.silentCOMPorts, QList<int>({2}));
    EXPECT_EQ(result.instrumentFoundOnCOMPort, Flags(true, false, true, true));
    EXPECT_TRUE(result.portsNotFound.isEmpty());
    EXPECT_FALSE(result.cancelled);
    EXPECT_FALSE(result.error);

    InstrumentSearch sequential(Refreshed(*manager), manager, QStringLiteral("GPIB0::7::INSTR"), 50);
    sequential.setConcurrent(false);
    ExpectSameResult(sequential.run(), result);
}

TEST(InstrumentSearch, SilentCOMPortAndModelWord) {
    const auto manager = Bench(R"({
        "com": [{"port": 1, "device": {"kind": "silent"}},
                {"port": 2, "device": {"kind": "tavrel", "model": "MODELTV300C"}}],
        "gpib": [{"board": 1, "devices": [{"address": 4, "kind": "tavrel", "model": "TV120A"},
                                           {"address": 9, "kind": "no_comma", "idn": "XYZ"}]}]})");
    const SearchResult result = Search(manager, Refreshed(*manager), QStringLiteral("COM2::Baud=9600"));
    EXPECT_EQ(Rows(result), QList<Row>({
                                {"TV300C", "COM2", kMaker},
                                {"TV120A", "GPIB1::4::INSTR", kMaker},
                                {T(230), "GPIB1::9::INSTR", T(229)},
                            }));
    EXPECT_EQ(result.selectedIndex, 1);
    EXPECT_EQ(result.silentCOMPorts, QList<int>({1}));
    EXPECT_EQ(result.instrumentFoundOnCOMPort, Flags(false, true, true, true));
}

TEST(InstrumentSearch, ExcludedPortsAndAddressesAreNotProbed) {
    const auto manager = DefaultBench();
    CIOconfiguration configuration = QuickDefaultBench(*manager);
    configuration.SetGPIBAddressIncluded(0, 3, false);
    InstrumentSearch search(configuration, manager, QStringLiteral("GPIB0::12::INSTR"), 0);
    search.setConcurrent(false);
    QList<std::tuple<QString, int, int>> steps;
    QObject::connect(&search, &InstrumentSearch::progress, [&](const SearchProgress& step) {
        steps.append({step.target, step.done, step.total});
    });
    const SearchResult result = search.run();
    EXPECT_EQ(Rows(result), QList<Row>({
                                {"TV100A", "COM1", kMaker},
                                {"TV100A", "GPIB0::7::INSTR", kMaker},
                                {"TV200B", "GPIB0::12::INSTR", kMaker},
                            }));
    EXPECT_EQ(result.selectedIndex, 3);
    EXPECT_TRUE(result.silentCOMPorts.isEmpty());
    EXPECT_EQ(result.instrumentFoundOnCOMPort, Flags(true, true, true, true)); // COM2 was not searched
    const QList<std::tuple<QString, int, int>> expected = {
        {"COM1", 0, 4}, {"GPIB0", 1, 4}, {"GPIB0::7::INSTR", 2, 4}, {"GPIB0::12::INSTR", 3, 4}};
    EXPECT_EQ(steps, expected);
}

TEST(InstrumentSearch, NothingIncludedProbesNothing) {
    const auto manager = DefaultBench();
    CIOconfiguration configuration = Refreshed(*manager);
    for (int port = IO::kFirstRS232Port; port <= IO::kLastRS232Port; ++port)
        configuration.SetRS232PortIncluded(port, false);
    for (int address = IO::kFirstGPIBAddress; address <= IO::kLastGPIBAddress; ++address)
        configuration.SetGPIBAddressIncluded(0, address, false);
    InstrumentSearch search(configuration, manager, QStringLiteral("GPIB0::7::INSTR"), 0);
    QStringList probed;
    QObject::connect(&search, &InstrumentSearch::progress,
                     [&](const SearchProgress& step) { probed << step.target; });
    const SearchResult result = search.run();
    EXPECT_EQ(probed, QStringList({"GPIB0"})); // the board is still looked up
    EXPECT_TRUE(result.rows.isEmpty());
    EXPECT_EQ(result.selectedIndex, -1);
    EXPECT_TRUE(result.silentCOMPorts.isEmpty());
    EXPECT_EQ(result.instrumentFoundOnCOMPort, Flags(true, true, true, true));
}

TEST(InstrumentSearch, PortsNoLongerListedGiveTheirMessageInTheCallersLanguage) {
    Language french(kFrench);
    const auto manager = DefaultBench();
    CIOconfiguration configuration = QuickDefaultBench(*manager);
    configuration.SetRS232PortExists(3, true);
    configuration.SetGPIBPortExists(1, true);
    configuration.SetGPIBAddressExists(1, 5, true);
    const SearchResult result = Search(manager, configuration, QStringLiteral("COM3"));
    EXPECT_EQ(Rows(result), QList<Row>({
                                {"TV100A", "COM1", kMaker},
                                {T(230), "GPIB0::3::INSTR", T(229)},
                                {"TV100A", "GPIB0::7::INSTR", kMaker},
                                {"TV200B", "GPIB0::12::INSTR", kMaker},
                            }));
    EXPECT_EQ(T(229), QStringLiteral("Inconnu"));
    EXPECT_EQ(result.portsNotFound, QList<PortNotFound>({PortNotFoundMessage(QStringLiteral("COM3")),
                                                         PortNotFoundMessage(QStringLiteral("GPIB1"))}));
    EXPECT_TRUE(result.portsNotFound[0].message.startsWith(T(241)));
    EXPECT_EQ(result.selectedIndex, -1);
    EXPECT_TRUE(result.silentCOMPorts.isEmpty());
    EXPECT_EQ(result.instrumentFoundOnCOMPort, Flags(true, true, false, true));
    // The lookups refreshed the working copy.
    EXPECT_FALSE(result.configuration.RS232PortExists(3));
    EXPECT_FALSE(result.configuration.GPIBPortExists(1));
    EXPECT_TRUE(ListedAddresses(result.configuration)[1].isEmpty());
}

TEST(InstrumentSearch, WorkersReportToTheCallersDiagnostics) {
    DiagnosticsCapture capture;
    const auto manager = Bench(R"({
        "com": [{"port": 1, "device": {"kind": "tavrel", "handshake": "NONE"}}],
        "gpib": [{"board": 0, "devices": [{"address": 7, "kind": "tavrel"}]}]})");
    CIOconfiguration configuration = Refreshed(*manager);
    configuration.SetRS232Handshake(1, CorvaneIOUtilsLib::RS232_HandShake_None);
    const SearchResult result = Search(manager, configuration, {});
    EXPECT_EQ(result.rows.size(), 2);
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

// The one timed test: both runs happen here, side by side, and only their ratio is judged.
TEST(InstrumentSearch, SilentPortsAreWaitedForSideBySide) {
    const auto manager = Bench(R"({"com": [{"port": 1}, {"port": 2}]})");
    const CIOconfiguration configuration = Refreshed(*manager);
    QElapsedTimer timer;
    timer.start();
    const SearchResult sequential = Search(manager, configuration, {}, false);
    const qint64 sequentialMs = timer.restart();
    const SearchResult concurrent = Search(manager, configuration, {}, true);
    const qint64 concurrentMs = timer.elapsed();
    ExpectSameResult(concurrent, sequential);
    EXPECT_EQ(concurrent.silentCOMPorts, QList<int>({1, 2}));
    EXPECT_LT(concurrentMs, sequentialMs * 8 / 10) << concurrentMs << " ms vs " << sequentialMs << " ms";
}
