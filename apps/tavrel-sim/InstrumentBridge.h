#pragma once

#include "PtyPort.h"
#include "sim/SimBench.h"

#include <QObject>
#include <QPointer>
#include <atomic>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

class QSocketNotifier;
class QTcpServer;
class QTcpSocket;
namespace tavrelsim {
class SimConnection;
}

// Puts one bench instrument on the outside: a TCP socket on 127.0.0.1 and, for a COM port, a
// pseudo-terminal. Whatever the host last wrote through receives the instrument's output, which a
// thread of the bridge carries out with blocking reads.
class InstrumentBridge : public QObject {
    Q_OBJECT
public:
    // placement: the instrument, or nullopt for a COM port with nothing attached (pty only).
    InstrumentBridge(std::shared_ptr<tavrelsim::SimBench> bench,
                     std::optional<tavrelsim::SimPlacement> placement, int comPort, bool quiet);
    ~InstrumentBridge() override;

    QString resource() const; // "GPIB0::7::INSTR" or "COM1"
    QString label() const;    // the model, or the kind of a device that is no Tavrel scope
    bool hasInstrument() const { return m_placement.has_value(); }
    bool isSerial() const { return m_comPort > 0; }

    bool listen(quint16 port, QString* error);
    quint16 tcpPort() const;
    bool openPty(const QString& linkDir, QString* error);
    const PtyPort& pty() const { return m_pty; }

    void start();
    void requestStop();
    void stop();

private:
    enum Route { None, Tcp, Pty };
    void acceptClient();
    void readPty();
    void pump();
    void deliver(const QByteArray& bytes, bool dropped, quint64 clears);
    void log(const QString& text) const;

    std::shared_ptr<tavrelsim::SimBench> m_bench;
    std::optional<tavrelsim::SimPlacement> m_placement;
    int m_comPort = 0;
    bool m_quiet = false;

    QTcpServer* m_server = nullptr;
    QPointer<QTcpSocket> m_client;
    std::shared_ptr<tavrelsim::SimConnection> m_clientEndpoint; // what the TCP client writes through
    PtyPort m_pty;
    QSocketNotifier* m_ptyNotifier = nullptr;
    std::unique_ptr<tavrelsim::SimEndpoint> m_serialEndpoint; // what the pty host writes through
    std::optional<tavrelsim::SimSerialSettings> m_lastHostSettings;

    // The instrument's output is read through a connection of its own and goes to whichever side
    // wrote last. Replies that the pty host cannot hear because its settings are wrong are lost.
    std::atomic<Route> m_route{None};
    std::mutex m_mutex; // guards m_reader
    std::shared_ptr<tavrelsim::SimConnection> m_reader;
    std::atomic<bool> m_stop{false};
    // The instrument's device clears when the current TCP connection began: output taken before
    // that was meant for an earlier connection and is never delivered to this one.
    std::atomic<quint64> m_connectionClears{0};
    std::thread m_thread;
};
