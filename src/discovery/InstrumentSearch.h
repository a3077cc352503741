#pragma once

#include "discovery/SearchResult.h"
#include "ioconfig/CIOconfiguration.h"

#include <QObject>
#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

namespace CorvaneIOUtilsLib {
class IOManager;
}

// The instrument search of the Search Instruments page without the page: COM1..COM4, then every
// listed and included address of GPIB0..GPIB3, then the LAN and USB instruments the I/O manager lists
// (those that answer become rows), each identified with "*IDN?", giving the rows of the
// instrument list, the row of the connected instrument and what the page reports afterwards.
//
// Ports are independent, so by default each one is probed in a thread of its own (the addresses of a
// board one after another); the result is the same as probing them in order, because the rows are
// merged in port order. Texts are in the language of the thread that called run() or start(), and
// assertions go to its diagnostics object.
class InstrumentSearch : public QObject {
    Q_OBJECT
public:
    // configuration is the page's working copy; activeAddress the control's active address string;
    // transmitDelayMs the delay between instrument commands.
    InstrumentSearch(CIOconfiguration configuration, std::shared_ptr<CorvaneIOUtilsLib::IOManager> manager,
                     QString activeAddress, qint32 transmitDelayMs, QObject* parent = nullptr);
    ~InstrumentSearch() override; // cancels a running search and waits for it

    // Off: one port after the other, as the page always did.
    void setConcurrent(bool concurrent) { m_concurrent = concurrent; }
    bool isConcurrent() const { return m_concurrent; }
    // On: refresh every exists flag from the manager before searching (the page's Find Ports).
    void setRefreshPortsFirst(bool refresh) { m_refreshPorts = refresh; }
    bool refreshPortsFirst() const { return m_refreshPorts; }

    // Searches on the calling thread's behalf and returns when done; rethrows the error that ended it.
    SearchResult run();
    // Starts the search and returns at once; finished() follows. Ignored while a search runs.
    void start();
    bool isRunning() const;
    // Blocks until the search started last has ended and returns its result (error included, not
    // thrown). Returns an empty result when none was started.
    SearchResult waitForFinished();
    // Probes not yet started are skipped and the result says cancelled; probes under way end within
    // their own timeout. Safe from any thread.
    void cancel();

signals:
    // Emitted from the probing threads: connect with a receiver object to have it queued.
    void progress(const SearchProgress& step);
    // The rows of one port (or of the LAN and USB instruments) as soon as it is searched, in the
    // order the ports finish; finished() then has every row in search order.
    void found(const QList<SearchRow>& rows);
    void finished(const SearchResult& result);

private:
    class Monitor;

    SearchResult execute();

    const CIOconfiguration m_configuration;
    const std::shared_ptr<CorvaneIOUtilsLib::IOManager> m_manager;
    const QString m_activeAddress;
    const qint32 m_delayMs;
    bool m_concurrent = true;
    bool m_refreshPorts = false;

    std::atomic<bool> m_cancel{false};
    mutable std::mutex m_mutex;
    std::condition_variable m_ended;
    std::thread m_thread;
    bool m_running = false;
    std::optional<SearchResult> m_result;
};
