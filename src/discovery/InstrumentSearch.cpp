#include "discovery/InstrumentSearch.h"

#include "base/Diagnostics.h"
#include "base/TavrelError.h"
#include "discovery/DiscoveryContext.h"
#include "discovery/NetworkProbe.h"
#include "discovery/PortProbe.h"
#include "iolib/IOManager.h"

#include <QThread>
#include <climits>
#include <vector>

namespace {

using IO = CIOconfiguration;

// In search order: the COM ports, then the GPIB boards, each only when it exists and is included.
QList<PortTask> PortsToSearch(const CIOconfiguration& configuration) {
    QList<PortTask> tasks;
    for (int port = IO::kFirstRS232Port; port <= IO::kLastRS232Port; ++port)
        if (configuration.RS232PortExists(port) && configuration.RS232PortIncluded(port))
            tasks.append({false, port, static_cast<int>(tasks.size())});
    for (int board = IO::kFirstGPIBPort; board <= IO::kLastGPIBPort; ++board)
        if (configuration.GPIBPortExists(board) && configuration.GPIBPortIncluded(board))
            tasks.append({true, board, static_cast<int>(tasks.size())});
    return tasks;
}

void ReportSearchError(const std::exception_ptr& error) {
    try {
        std::rethrow_exception(error);
    } catch (const TavrelError& failure) {
        ReportFailure(failure, QStringLiteral("TavrelPPSrchIO"), QStringLiteral("Search_Click"));
    } catch (...) {
        // Library failures carry no error number; the caller gets them with the result.
    }
}

} // namespace

class InstrumentSearch::Monitor : public ProbeMonitor {
public:
    Monitor(InstrumentSearch& search, int total) : m_search(search), m_total(total) {}

    bool shouldStop(int taskIndex) const override {
        return m_search.m_cancel.load() || taskIndex > m_firstFailure.load();
    }
    void probing(const QString& target) override {
        SearchProgress step;
        {
            std::lock_guard lock(m_mutex);
            step = {target, m_done, m_total};
        }
        emit m_search.progress(step);
    }
    void probed() override {
        std::lock_guard lock(m_mutex);
        ++m_done;
    }
    void replanned(int delta) override {
        std::lock_guard lock(m_mutex);
        m_total += delta;
    }
    // Ports after a failed one need not go on: the merge stops at the failure.
    void failed(int taskIndex) override {
        int first = m_firstFailure.load();
        while (taskIndex < first && !m_firstFailure.compare_exchange_weak(first, taskIndex)) {
        }
    }

private:
    InstrumentSearch& m_search;
    mutable std::mutex m_mutex;
    int m_done = 0;
    int m_total;
    std::atomic<int> m_firstFailure{INT_MAX};
};

InstrumentSearch::InstrumentSearch(CIOconfiguration configuration,
                                   std::shared_ptr<CorvaneIOUtilsLib::IOManager> manager,
                                   QString activeAddress, qint32 transmitDelayMs, QObject* parent)
    : QObject(parent), m_configuration(std::move(configuration)), m_manager(std::move(manager)),
      m_activeAddress(std::move(activeAddress)), m_delayMs(transmitDelayMs) {
    qRegisterMetaType<SearchResult>();
    qRegisterMetaType<SearchProgress>();
    qRegisterMetaType<QList<SearchRow>>();
}

InstrumentSearch::~InstrumentSearch() {
    cancel();
    if (!m_thread.joinable()) return;
    if (m_thread.get_id() == std::this_thread::get_id())
        m_thread.detach();
    else
        m_thread.join();
}

SearchResult InstrumentSearch::run() {
    if (isRunning()) waitForFinished();
    m_cancel = false;
    SearchResult result = execute();
    if (result.error) std::rethrow_exception(result.error);
    return result;
}

void InstrumentSearch::start() {
    std::lock_guard lock(m_mutex);
    if (m_running) return;
    if (m_thread.joinable()) {
        // The previous search's thread, done but for its finished signal (or inside it).
        if (m_thread.get_id() == std::this_thread::get_id())
            m_thread.detach();
        else
            m_thread.join();
    }
    m_running = true;
    m_result.reset();
    m_cancel = false;
    const CallerContext context = CallerContext::capture();
    m_thread = std::thread([this, context] {
        context.apply();
        SearchResult result = execute();
        {
            std::lock_guard done(m_mutex);
            m_result = result;
            m_running = false;
        }
        m_ended.notify_all();
        emit finished(result);
    });
}

bool InstrumentSearch::isRunning() const {
    std::lock_guard lock(m_mutex);
    return m_running;
}

SearchResult InstrumentSearch::waitForFinished() {
    std::unique_lock lock(m_mutex);
    m_ended.wait(lock, [this] { return !m_running; });
    return m_result.value_or(SearchResult{});
}

void InstrumentSearch::cancel() {
    m_cancel = true;
}

SearchResult InstrumentSearch::execute() {
    SearchResult result;
    result.configuration = m_configuration;
    CIOconfiguration& configuration = result.configuration;
    if (m_refreshPorts) {
        // In a thread that Qt started, as the probes below: the backends use Qt objects that need one.
        const CallerContext context = CallerContext::capture();
        std::unique_ptr<QThread> refresh(QThread::create([&] {
            context.apply();
            try {
                configuration.RefreshPorts(*m_manager);
            } catch (...) {
                result.error = std::current_exception();
            }
        }));
        refresh->start();
        refresh->wait();
        if (result.error) {
            ReportSearchError(result.error);
            return result;
        }
    }

    const QList<PortTask> tasks = PortsToSearch(configuration);
    int total = static_cast<int>(tasks.size());
    for (const PortTask& task : tasks)
        if (task.gpib) total += PlannedAddresses(configuration, task.port);
    Monitor monitor(*this, total);

    std::vector<PortOutcome> outcomes(tasks.size());
    auto probe = [&](qsizetype i) {
        outcomes[i] = ProbePort(tasks.at(i), configuration, m_manager, m_delayMs, monitor);
        if (!outcomes[i].rows.isEmpty()) emit found(outcomes[i].rows);
    };
    // Probes run in threads that Qt started, whatever thread runs the search: the serial and LAN
    // backends use Qt objects that need one. Sequentially, one thread probes the ports in turn.
    const CallerContext context = CallerContext::capture();
    const auto worker = [&](auto body) {
        return std::unique_ptr<QThread>(QThread::create([body, context] {
            context.apply();
            body();
        }));
    };
    std::vector<std::unique_ptr<QThread>> workers;
    if (m_concurrent) {
        for (qsizetype i = 0; i < tasks.size(); ++i)
            workers.push_back(worker([&probe, i] { probe(i); }));
    } else {
        workers.push_back(worker([&] {
            for (qsizetype i = 0; i < tasks.size(); ++i)
                probe(i);
        }));
    }
    for (auto& thread : workers)
        thread->start();
    for (auto& thread : workers)
        thread->wait();

    // Ports that are not searched are never reported as empty.
    for (int port = IO::kFirstRS232Port; port <= IO::kLastRS232Port; ++port)
        result.instrumentFoundOnCOMPort[port - 1] =
            !(configuration.RS232PortExists(port) && configuration.RS232PortIncluded(port));

    for (qsizetype i = 0; i < tasks.size(); ++i) {
        const PortTask& task = tasks.at(i);
        const PortOutcome& outcome = outcomes.at(i);
        if (!outcome.lookedUp && !outcome.error) {
            if (!task.gpib) result.instrumentFoundOnCOMPort[task.port - 1] = true;
            result.cancelled = true;
            continue;
        }
        if (task.gpib) {
            configuration.SetGPIBPortExists(task.port, outcome.found);
            for (int address = IO::kFirstGPIBAddress; address <= IO::kLastGPIBAddress; ++address)
                configuration.SetGPIBAddressExists(task.port, address, outcome.addressExists[address]);
        } else {
            configuration.SetRS232PortExists(task.port, outcome.found);
            result.instrumentFoundOnCOMPort[task.port - 1] = outcome.answered;
            if (outcome.silent) result.silentCOMPorts.append(task.port);
        }
        result.rows.append(outcome.rows);
        if (outcome.error) {
            result.error = outcome.error;
            break;
        }
        if (!outcome.found)
            result.portsNotFound.append(PortNotFoundMessage(task.gpib
                                                                ? configuration.GPIBPortString(task.port)
                                                                : configuration.RS232PortString(task.port)));
        result.cancelled = result.cancelled || outcome.stopped;
    }
    // LAN and USB instruments after the ports, side by side; only those that answer become rows.
    if (!result.error && !result.cancelled && !m_cancel.load()) {
        const QStringList network = NetworkInstruments(*m_manager);
        monitor.replanned(static_cast<int>(network.size()));
        result.rows.append(
            ProbeNetworkInstruments(network, configuration, m_manager, m_delayMs, monitor, m_cancel));
        result.cancelled = m_cancel.load();
    }
    result.selectedIndex = SelectedRowIndex(result.rows, m_activeAddress);
    if (result.error) ReportSearchError(result.error);
    return result;
}
