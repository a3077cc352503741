#include "InstrumentBridge.h"

#include "sim/SimConnection.h"

#include <QSocketNotifier>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTextStream>
#include <cerrno>
#include <unistd.h>

using namespace tavrelsim;

InstrumentBridge::InstrumentBridge(std::shared_ptr<SimBench> bench, std::optional<SimPlacement> placement,
                                   int comPort, bool quiet)
    : m_bench(std::move(bench)), m_placement(std::move(placement)), m_comPort(comPort), m_quiet(quiet) {
    if (m_comPort > 0) m_serialEndpoint = m_bench->openCom(m_comPort);
}

InstrumentBridge::~InstrumentBridge() {
    stop();
}

QString InstrumentBridge::resource() const {
    if (m_comPort > 0) return QString("COM%1").arg(m_comPort);
    return QString("GPIB%1::%2::INSTR").arg(m_placement->board).arg(m_placement->address);
}

QString InstrumentBridge::label() const {
    if (!m_placement) return "none";
    return m_placement->model.isEmpty() ? m_placement->kind : m_placement->model;
}

void InstrumentBridge::log(const QString& text) const {
    if (!m_quiet) QTextStream(stderr) << resource() << ": " << text << Qt::endl;
}

bool InstrumentBridge::listen(quint16 port, QString* error) {
    m_server = new QTcpServer(this);
    if (!m_server->listen(QHostAddress::LocalHost, port)) {
        *error = QString("%1: cannot listen on 127.0.0.1:%2: %3")
                     .arg(resource())
                     .arg(port)
                     .arg(m_server->errorString());
        return false;
    }
    connect(m_server, &QTcpServer::newConnection, this, &InstrumentBridge::acceptClient);
    return true;
}

quint16 InstrumentBridge::tcpPort() const {
    return m_server ? m_server->serverPort() : 0;
}

bool InstrumentBridge::openPty(const QString& linkDir, QString* error) {
    const SimSerialSettings initial = m_placement ? m_placement->serial : SimSerialSettings{};
    if (!m_pty.open(initial, linkDir, resource(), error)) {
        *error = resource() + ": " + *error;
        return false;
    }
    m_ptyNotifier = new QSocketNotifier(m_pty.masterFd(), QSocketNotifier::Read, this);
    connect(m_ptyNotifier, &QSocketNotifier::activated, this, &InstrumentBridge::readPty);
    return true;
}

void InstrumentBridge::acceptClient() {
    while (QTcpSocket* next = m_server->nextPendingConnection()) {
        if (m_client) { // the newest client wins, as when a host reconnects after a crash
            log("client replaced");
            m_client->disconnect(this);
            m_client->abort();
            m_client->deleteLater();
        }
        m_client = next;
        m_clientEndpoint = m_bench->openSocket(*m_placement);
        m_clientEndpoint->clear(); // a new connection starts with empty buffers
        m_connectionClears = m_clientEndpoint->clears();
        log("client connected");
        connect(next, &QTcpSocket::readyRead, this, [this, next] {
            m_route = Tcp;
            m_clientEndpoint->write(next->readAll());
        });
        connect(next, &QTcpSocket::disconnected, this, [this, next] {
            log("client disconnected");
            if (m_client == next) {
                // What the instrument had for this connection goes with it.
                m_clientEndpoint->clear();
                m_connectionClears = m_clientEndpoint->clears();
            }
            if (m_client == next && m_route == Tcp) m_route = None;
            next->deleteLater();
        });
    }
}

void InstrumentBridge::readPty() {
    char buffer[4096];
    const ssize_t n = ::read(m_pty.masterFd(), buffer, sizeof buffer);
    if (n <= 0) return;
    // The host sets its port before it writes, so the settings now are those the bytes went with.
    const SimSerialSettings host = m_pty.hostSettings();
    if (host != m_lastHostSettings) {
        m_lastHostSettings = host;
        QString text = "host line " + PtyPort::describe(host);
        if (m_placement && host != m_placement->serial)
            text += ", instrument deaf to it (it uses " + PtyPort::describe(m_placement->serial) + ")";
        log(text);
    }
    m_route = Pty;
    m_serialEndpoint->setSerialSettings(host);
    m_serialEndpoint->write(QByteArray(buffer, int(n)));
}

void InstrumentBridge::start() {
    if (!m_placement) return; // an empty port has nothing to say
    m_reader = m_bench->openSocket(*m_placement);
    m_thread = std::thread([this] { pump(); });
}

void InstrumentBridge::requestStop() {
    m_stop = true;
    std::lock_guard lock(m_mutex);
    if (m_reader) m_reader->close(); // the pump's read returns at once
}

void InstrumentBridge::stop() {
    requestStop();
    if (m_thread.joinable()) m_thread.join();
    m_pty.close();
}

void InstrumentBridge::pump() {
    while (!m_stop) {
        std::shared_ptr<SimConnection> reader;
        {
            std::lock_guard lock(m_mutex);
            reader = m_reader;
        }
        // Whole responses at once: a 2 MB waveform block then costs one hand-over to the socket
        // instead of one event-loop round per small chunk.
        const SimReadResult r = reader->read(16 << 20, 1000);
        const bool dropped = r.status == SimReadResult::Dropped && !m_stop;
        if (!r.data.isEmpty() || dropped) deliver(r.data, dropped, r.clears);
        if (dropped) {
            std::lock_guard lock(m_mutex);
            if (!m_stop) m_reader = m_bench->openSocket(*m_placement);
        }
    }
}

void InstrumentBridge::deliver(const QByteArray& bytes, bool dropped, quint64 clears) {
    if (m_route == Pty) {
        // A serial line cannot hang up: after a drop fault the host just sees the reply stop.
        if (m_pty.hostSettings() == m_placement->serial) m_pty.writeAll(bytes, m_stop);
        return;
    }
    QMetaObject::invokeMethod(this, [this, bytes, dropped, clears] {
        if (!m_client || (!dropped && clears < m_connectionClears)) return;
        m_client->write(bytes);
        if (dropped) {
            log("connection dropped (fault)");
            m_client->disconnectFromHost();
        }
    });
}
