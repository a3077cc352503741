#include "discovery/NetworkProbe.h"

#include "discovery/CQueryInstrument.h"
#include "discovery/DiscoveryContext.h"
#include "iolib/IOManager.h"

#include <QThread>
#include <optional>
#include <vector>

QStringList NetworkInstruments(const CorvaneIOUtilsLib::IOManager& manager) {
    return manager.FindRsrc(QStringLiteral("TCPIP?*")) + manager.FindRsrc(QStringLiteral("USB?*"));
}

QList<SearchRow> ProbeNetworkInstruments(const QStringList& addresses, const CIOconfiguration& configuration,
                                         const std::shared_ptr<CorvaneIOUtilsLib::IOManager>& manager,
                                         qint32 delayMs, ProbeMonitor& monitor,
                                         const std::atomic<bool>& cancel) {
    std::vector<std::optional<SearchRow>> rows(static_cast<size_t>(addresses.size()));
    std::atomic<qsizetype> next{0};
    const CallerContext context = CallerContext::capture();
    // Each worker takes the next instrument until none is left; Qt threads, since the LAN backends use
    // Qt objects that need one.
    const auto work = [&] {
        context.apply();
        CQueryInstrument query;
        query.IOConfigurationChanged(delayMs, configuration, manager);
        for (qsizetype i = next++; i < addresses.size(); i = next++) {
            if (cancel.load()) return;
            const QString& address = addresses.at(i);
            monitor.probing(address);
            QString reply;
            qint16 result = IdentificationResult::NotFound;
            try {
                result = query.GPIBIDNQuery(address, reply);
            } catch (const std::exception&) {
                result = IdentificationResult::NotFound; // an instrument that cannot be identified is no row
            }
            monitor.probed();
            if (result <= IdentificationResult::NotIEEE488) {
                SearchRow row = InstrumentListEntry(reply, address);
                row.result = result;
                rows[static_cast<size_t>(i)] = row;
            }
        }
    };
    std::vector<std::unique_ptr<QThread>> workers;
    const qsizetype count = std::min<qsizetype>(addresses.size(), kNetworkProbesAtOnce);
    for (qsizetype i = 0; i < count; ++i)
        workers.emplace_back(QThread::create(work));
    for (auto& worker : workers)
        worker->start();
    for (auto& worker : workers)
        worker->wait();

    QList<SearchRow> answered;
    for (const auto& row : rows)
        if (row) answered.append(*row);
    return answered;
}
