#include "sim/iobackend/SimBackend.h"

#include "iolib/IOBackendRegistry.h"
#include "iolib/IOError.h"
#include "iolib/SerialLineSession.h"
#include "iolib/TransportSession.h"
#include "iolib/backends/LanBackend.h"
#include "sim/SimBench.h"
#include "sim/iobackend/SimTransport.h"

namespace CorvaneIOUtilsLib {

SimBackend::SimBackend(std::shared_ptr<tavrelsim::SimBench> bench) : m_bench(std::move(bench)) {}

QStringList SimBackend::list(const QString& literalPrefix) {
    std::lock_guard lock(m_mutex);
    QStringList entries;
    for (int board : m_bench->gpibBoards()) {
        if (!couldMatch(literalPrefix, QStringLiteral("GPIB%1").arg(board))) continue;
        // The board itself comes first, so that one with nobody listening on it is still seen.
        entries << QStringLiteral("GPIB%1::INTFC").arg(board);
        for (int address : m_bench->gpibAddresses(board))
            entries << QStringLiteral("GPIB%1::%2::INSTR").arg(board).arg(address);
    }
    for (int port : m_bench->comPorts())
        if (couldMatch(literalPrefix, QStringLiteral("COM%1").arg(port)))
            entries << QStringLiteral("COM%1").arg(port);
    return entries;
}

std::unique_ptr<IOSession> SimBackend::open(const ResourceAddress& address) {
    const QString resource = address.resourceName();
    std::unique_lock lock(m_mutex);
    if (address.kind == ResourceAddress::Gpib) {
        if (!m_bench->gpibBoards().contains(address.board))
            throw IOError(IOError::NotFound,
                          QStringLiteral("%1: the GPIB port %2 does not exist on the simulated bench")
                              .arg(resource, address.portName()));
        // A null endpoint is an address where nothing listens; opening it succeeds, as with ibdev.
        auto endpoint = m_bench->openGpib(address.board, address.primary);
        lock.unlock();
        return std::make_unique<TransportSession<IOSession>>(
            QStringLiteral("GPIB"), resource,
            std::make_unique<SimTransport>(std::move(endpoint), SimTransport::Gpib, resource));
    }
    auto endpoint =
        m_bench->comPorts().contains(address.comPort) ? m_bench->openCom(address.comPort) : nullptr;
    lock.unlock();
    if (!endpoint)
        throw IOError(IOError::NotFound,
                      QStringLiteral("%1 does not exist on the simulated bench").arg(resource));
    return std::make_unique<SerialLineSession>(
        resource, std::make_unique<SimTransport>(std::move(endpoint), SimTransport::Com, resource),
        address.serial);
}

} // namespace CorvaneIOUtilsLib

namespace tavrelsim {

std::vector<std::unique_ptr<CorvaneIOUtilsLib::IOBackend>> benchBackends(std::shared_ptr<SimBench> bench) {
    std::vector<std::unique_ptr<CorvaneIOUtilsLib::IOBackend>> backends;
    backends.push_back(std::make_unique<CorvaneIOUtilsLib::SimBackend>(std::move(bench)));
    backends.push_back(std::make_unique<CorvaneIOUtilsLib::LanBackend>());
    return backends;
}

namespace {

// Linking this library in is what makes TAVREL_IO=sim work.
[[maybe_unused]] const bool registered =
    CorvaneIOUtilsLib::IOBackendRegistry::add(QStringLiteral("sim"), [](const QString& path) {
        if (path.isNull()) return benchBackends(SimBench::defaultBench());
        std::shared_ptr<SimBench> bench;
        try {
            bench = SimBench::fromFile(path);
        } catch (const std::exception& e) {
            throw CorvaneIOUtilsLib::IOError(
                CorvaneIOUtilsLib::IOError::Io,
                QStringLiteral("TAVREL_IO: %1").arg(QString::fromUtf8(e.what())));
        }
        return benchBackends(std::move(bench));
    });

} // namespace

std::shared_ptr<CorvaneIOUtilsLib::IOManager> simulatedIOManager(std::shared_ptr<SimBench> bench) {
    return std::make_shared<CorvaneIOUtilsLib::IOManager>(benchBackends(std::move(bench)), true);
}

} // namespace tavrelsim
