#pragma once

#include "sim/SimBench.h"

#include <QString>
#include <atomic>
#include <list>
#include <memory>
#include <mutex>
#include <thread>

namespace tavrelsim {

// Serves every instrument of a bench over HiSLIP on 127.0.0.1, one port for all: "hislip0" is the
// bench's first Tavrel scope, "hislip<n>" its n-th instrument (GPIB first, then COM). Each session
// is a synchronous channel (Data and DataEnd both ways, the device clear's completion) and an
// asynchronous one (the size negotiation, the device clear, lock and status queries), served by
// threads of their own. A session holds its instrument's output like a VXI-11 link, and the server
// sends each response as it comes, DataEnd marking its end (synchronized mode).
class HislipServer {
public:
    // The largest message the server takes; the host splits longer ones.
    static constexpr quint64 kMaxMessage = 1024 * 1024;

    explicit HislipServer(std::shared_ptr<SimBench> bench);
    ~HislipServer();
    HislipServer(const HislipServer&) = delete;
    HislipServer& operator=(const HislipServer&) = delete;

    // Listens on 127.0.0.1:port (0: a free port); on failure says why in *error.
    bool listen(quint16 port, QString* error);
    quint16 port() const { return m_port; }
    // The sub-address of the bench's index-th instrument (1-based, in placements() order).
    static QString subAddress(int index) { return QStringLiteral("hislip%1").arg(index); }

    void start();
    // Ends every session and waits for their threads; safe to call twice.
    void stop();

private:
    struct Session;
    struct Channel;
    void acceptLoop();
    void serve(const std::shared_ptr<Channel>& channel);
    void serveSync(const std::shared_ptr<Session>& session, int fd);
    void serveAsync(const std::shared_ptr<Session>& session, int fd);
    void push(const std::shared_ptr<Session>& session);
    std::shared_ptr<SimConnection> instrumentFor(const QString& subAddress);
    void reapFinished();

    std::shared_ptr<SimBench> m_bench;
    int m_listenFd = -1;
    int m_wake[2] = {-1, -1};
    quint16 m_port = 0;
    std::atomic<bool> m_stop{false};
    std::atomic<quint16> m_nextSession{1};
    std::thread m_acceptThread;
    std::mutex m_mutex; // guards m_channels and m_sessions
    std::list<std::shared_ptr<Channel>> m_channels;
    std::list<std::shared_ptr<Session>> m_sessions;
};

} // namespace tavrelsim
