// Search wall time on simulated benches with 0, 1, 2 and 4 silent COM ports and populated GPIB
// boards: the concurrent engine against the same engine forced to probe one port after another.
#include "discovery/InstrumentSearch.h"
#include "iolib/IOManager.h"
#include "sim/SimBench.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <cstdio>

namespace {

// GPIB0 and GPIB1 hold scopes and a non-Tavrel device; the COM ports beyond the scope on COM1 are
// present with nothing attached, so each of them waits out the identification timeout.
QByteArray benchJson(int silentComPorts) {
    QByteArrayList com;
    const int firstSilent = 5 - silentComPorts;
    for (int port = 1; port <= 4; ++port) {
        if (port >= firstSilent)
            com += QByteArray("{\"port\": ") + QByteArray::number(port) + "}";
        else if (port == 1)
            com += "{\"port\": 1, \"device\": {\"kind\": \"tavrel\", \"model\": \"TV100A\", \"baud\": 9600, "
                   "\"handshake\": \"XON_XOFF\", \"parity\": \"none\", \"data_bits\": 8, \"stop_bits\": 1}}";
    }
    return QByteArray("{\"gpib\": [") +
           "{\"board\": 0, \"devices\": [{\"address\": 3, \"kind\": \"no_comma\", \"idn\": \"HP3478A\"}, "
           "{\"address\": 7, \"kind\": \"tavrel\", \"model\": \"TV100A\"}, "
           "{\"address\": 12, \"kind\": \"tavrel\", \"model\": \"TV200B\"}]}, "
           "{\"board\": 1, \"devices\": [{\"address\": 5, \"kind\": \"tavrel\", \"model\": \"TV100A\"}, "
           "{\"address\": 9, \"kind\": \"tavrel\", \"model\": \"TV200B\"}]}], " +
           "\"com\": [" + com.join(", ") + "]}";
}

double searchSeconds(const QByteArray& json, bool concurrent, int& rows) {
    auto manager = std::make_shared<CorvaneIOUtilsLib::IOManager>(
        tavrelsim::SimBench::fromJson(json, QStringLiteral("benchmark bench")));
    InstrumentSearch search(CIOconfiguration(), manager, QStringLiteral("GPIB0::7::INSTR"), 50);
    search.setRefreshPortsFirst(true);
    search.setConcurrent(concurrent);
    QElapsedTimer timer;
    timer.start();
    const SearchResult result = search.run();
    rows = static_cast<int>(result.rows.size());
    return timer.nsecsElapsed() / 1e9;
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    std::printf("Instrument search wall time (simulated bench, GPIB0 + GPIB1 populated)\n\n");
    std::printf("| silent COM ports | rows | sequential (s) | concurrent (s) | sequential / concurrent |\n");
    std::printf("|---:|---:|---:|---:|---:|\n");
    for (int silent : {0, 1, 2, 4}) {
        const QByteArray json = benchJson(silent);
        int rowsSequential = 0;
        int rowsConcurrent = 0;
        const double sequential = searchSeconds(json, false, rowsSequential);
        const double concurrent = searchSeconds(json, true, rowsConcurrent);
        if (rowsSequential != rowsConcurrent) {
            std::fprintf(stderr, "the two searches found different rows (%d, %d)\n", rowsSequential, rowsConcurrent);
            return 1;
        }
        std::printf("| %d | %d | %.3f | %.3f | %.2f |\n", silent, rowsConcurrent, sequential, concurrent,
                    sequential / concurrent);
        std::fflush(stdout);
    }
    return 0;
}
