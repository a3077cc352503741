#include "sim/SimBench.h"

#include "sim/BenchFile.h"
#include "sim/NoCommaDevice.h"
#include "sim/SilentDevice.h"
#include "sim/SimConnection.h"
#include "sim/SimInstrument.h"
#include "sim/TavrelScope.h"

#include <QFile>
#include <QMap>
#include <algorithm>
#include <stdexcept>

namespace tavrelsim {

struct SimBench::Impl {
    QMap<int, QMap<int, std::shared_ptr<SimInstrument>>> gpib;
    QMap<int, std::shared_ptr<SimInstrument>> com; // an empty port holds a silent instrument
    QList<SimPlacement> placements;
    QList<std::shared_ptr<SimInstrument>> placed; // parallel to placements
};

namespace {

std::shared_ptr<SimInstrument> build(const DeviceEntry& d, std::optional<SimSerialSettings> line) {
    std::unique_ptr<SimDevice> device;
    switch (d.kind) {
    case DeviceEntry::Tavrel:
        device = std::make_unique<TavrelScope>(ScopeIdentity{d.model, d.serial, d.firmware}, d.faults);
        break;
    case DeviceEntry::NoComma:
        device = std::make_unique<NoCommaDevice>(d.idn);
        break;
    case DeviceEntry::Silent:
        device = std::make_unique<SilentDevice>();
        break;
    }
    // A bench file's truncated blocks are the scope's own (it then stops answering); the instrument
    // truncates only when told to while it runs.
    SimFaults instrumentFaults = d.faults;
    instrumentFaults.truncateBlocks = 0;
    return std::make_shared<SimInstrument>(std::move(device), instrumentFaults, line);
}

SimPlacement placement(const DeviceEntry& d) {
    SimPlacement p;
    p.kind = BenchFile::kindName(d.kind);
    if (d.kind == DeviceEntry::Tavrel) p.model = d.model;
    return p;
}

} // namespace

SimBench::SimBench() : d(std::make_unique<Impl>()) {}
SimBench::~SimBench() = default;

std::shared_ptr<SimBench> SimBench::defaultBench() {
    return fromJson(defaultBenchJson(), "<default bench>");
}

std::shared_ptr<SimBench> SimBench::fromFile(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        throw std::runtime_error(
            QString("bench file %1: cannot be read: %2").arg(path, file.errorString()).toStdString());
    return fromJson(file.readAll(), path);
}

std::shared_ptr<SimBench> SimBench::fromJson(const QByteArray& json, const QString& origin) {
    BenchLayout layout = BenchFile::parse(json, origin);
    std::shared_ptr<SimBench> bench(new SimBench);
    Impl& d = *bench->d;
    std::sort(layout.boards.begin(), layout.boards.end(), [](auto& a, auto& b) { return a.board < b.board; });
    std::sort(layout.ports.begin(), layout.ports.end(), [](auto& a, auto& b) { return a.port < b.port; });
    for (GpibBoardEntry& board : layout.boards) {
        std::sort(board.devices.begin(), board.devices.end(),
                  [](auto& a, auto& b) { return a.address < b.address; });
        QMap<int, std::shared_ptr<SimInstrument>>& listeners = d.gpib[board.board];
        for (const DeviceEntry& device : board.devices) {
            listeners.insert(device.address, build(device, std::nullopt));
            SimPlacement p = placement(device);
            p.bus = SimPlacement::Gpib;
            p.board = board.board;
            p.address = device.address;
            d.placements.append(p);
            d.placed.append(listeners.value(device.address));
        }
    }
    for (const ComPortEntry& port : layout.ports) {
        if (!port.attached) {
            d.com.insert(port.port, std::make_shared<SimInstrument>(std::make_unique<SilentDevice>()));
            continue;
        }
        d.com.insert(port.port, build(port.device, port.device.line));
        SimPlacement p = placement(port.device);
        p.bus = SimPlacement::Com;
        p.comPort = port.port;
        p.serial = port.device.line;
        d.placements.append(p);
        d.placed.append(d.com.value(port.port));
    }
    return bench;
}

QList<int> SimBench::gpibBoards() const {
    return d->gpib.keys();
}

QList<int> SimBench::gpibAddresses(int board) const {
    return d->gpib.value(board).keys();
}

QList<int> SimBench::comPorts() const {
    return d->com.keys();
}

QList<SimPlacement> SimBench::placements() const {
    return d->placements;
}

std::unique_ptr<SimEndpoint> SimBench::openGpib(int board, int address) {
    const std::shared_ptr<SimInstrument> instrument = d->gpib.value(board).value(address);
    if (!instrument) return nullptr;
    return std::make_unique<SimConnection>(instrument, SimConnection::Gpib);
}

std::unique_ptr<SimEndpoint> SimBench::openCom(int port) {
    const std::shared_ptr<SimInstrument> instrument = d->com.value(port);
    if (!instrument) return nullptr;
    return std::make_unique<SimConnection>(instrument, SimConnection::Serial);
}

std::unique_ptr<SimConnection> SimBench::openSocket(const SimPlacement& placement) {
    return openPlaced(placement, SimConnection::Socket);
}

std::unique_ptr<SimConnection> SimBench::openLink(const SimPlacement& placement) {
    return openPlaced(placement, SimConnection::Link);
}

std::shared_ptr<SimInstrument> SimBench::placed(const SimPlacement& placement) const {
    for (qsizetype i = 0; i < d->placements.size(); ++i) {
        const SimPlacement& p = d->placements.at(i);
        const bool same =
            p.bus == placement.bus &&
            (p.bus == SimPlacement::Gpib ? p.board == placement.board && p.address == placement.address
                                         : p.comPort == placement.comPort);
        if (same) return d->placed.at(i);
    }
    return nullptr;
}

std::unique_ptr<SimConnection> SimBench::openPlaced(const SimPlacement& placement, int bus) {
    const std::shared_ptr<SimInstrument> instrument = placed(placement);
    if (!instrument) return nullptr;
    return std::make_unique<SimConnection>(instrument, SimConnection::Bus(bus));
}

bool SimBench::setFaults(const SimPlacement& placement, const SimFaults& faults) {
    const std::shared_ptr<SimInstrument> instrument = placed(placement);
    if (!instrument) return false;
    instrument->setFaults(faults);
    return true;
}

} // namespace tavrelsim
