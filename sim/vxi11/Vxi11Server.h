#pragma once

#include "sim/SimBench.h"

#include <QString>
#include <atomic>
#include <list>
#include <memory>
#include <mutex>
#include <thread>

namespace tavrelsim {

// Serves every instrument of a bench over VXI-11 on 127.0.0.1: a portmapper that answers GETPORT
// for the VXI-11 core channel, and that core channel (create_link, device_write, device_read,
// device_clear, destroy_link). Each connection is served by a thread of its own, with blocking
// reads; a link is a connection to the instrument as GPIB carries it, so END marks where messages
// stop. An instrument whose connection drops (a fault of the bench) takes the TCP connection with it.
class Vxi11Server {
public:
    static constexpr quint32 kCoreProgram = 0x0607AF;
    static constexpr quint32 kCoreVersion = 1;
    // The most one device_write carries; the host splits longer messages.
    static constexpr quint32 kMaxReceive = 1024 * 1024;

    explicit Vxi11Server(std::shared_ptr<SimBench> bench);
    ~Vxi11Server();
    Vxi11Server(const Vxi11Server&) = delete;
    Vxi11Server& operator=(const Vxi11Server&) = delete;

    // Listens on 127.0.0.1: the portmapper at portmapperPort (0: a free port), the core channel on a
    // free port. On failure says why in *error.
    bool listen(quint16 portmapperPort, QString* error);
    quint16 portmapperPort() const { return m_portmapperPort; }
    quint16 corePort() const { return m_corePort; }

    // The device name an instrument is linked by: "gpib0,7" on GPIB, "com1" on a COM port.
    static QString deviceName(const SimPlacement& placement);
    // "inst0" names the bench's first Tavrel scope as well.
    static constexpr const char* kDefaultDevice = "inst0";

    void start();
    // Ends every connection and waits for their threads; safe to call twice.
    void stop();

private:
    struct Connection;
    void acceptLoop();
    void serve(const std::shared_ptr<Connection>& connection);
    void reapFinished();

    std::shared_ptr<SimBench> m_bench;
    int m_portmapperFd = -1;
    int m_coreFd = -1;
    int m_wake[2] = {-1, -1};
    quint16 m_portmapperPort = 0;
    quint16 m_corePort = 0;
    std::atomic<bool> m_stop{false};
    std::atomic<quint32> m_nextLink{1};
    std::thread m_acceptThread;
    std::mutex m_mutex; // guards m_connections
    std::list<std::shared_ptr<Connection>> m_connections;
};

} // namespace tavrelsim
