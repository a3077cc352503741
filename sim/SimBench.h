#pragma once

#include "sim/SimEndpoint.h"
#include "sim/SimFaults.h"

#include <QList>
#include <QString>
#include <memory>

namespace tavrelsim {

class SimInstrument;
class SimConnection;

// Where an instrument of the bench sits and what it is, for listings and for tavrel-sim.
struct SimPlacement {
    enum Bus { Gpib, Com };
    Bus bus = Gpib;
    int board = 0;            // GPIB board number
    int address = 0;          // GPIB primary address
    int comPort = 0;          // COM port number (1..4)
    QString model;            // empty for a device that is not a Tavrel scope
    QString kind;             // the bench file's kind: "tavrel", "no_comma" or "silent"
    SimSerialSettings serial; // the instrument's own settings (COM only)
};

// A simulated set of buses and instruments: GPIB boards with listeners, COM ports with or without
// an instrument. Instruments keep their state for the bench's lifetime, across connections.
class SimBench {
public:
    // The bench compiled into the product.
    static std::shared_ptr<SimBench> defaultBench();
    // A bench described by a JSON file; throws std::runtime_error with a clear message naming the
    // file and the offending entry.
    static std::shared_ptr<SimBench> fromFile(const QString& path);
    static std::shared_ptr<SimBench> fromJson(const QByteArray& json, const QString& origin);
    // The compiled-in bench as bench-file JSON.
    static QByteArray defaultBenchJson();

    virtual ~SimBench();

    QList<int> gpibBoards() const;             // present boards, ascending
    QList<int> gpibAddresses(int board) const; // addresses of listed devices on a board, ascending
    QList<int> comPorts() const;               // present COM ports, ascending
    QList<SimPlacement> placements() const;    // every instrument, GPIB first then COM

    // nullptr when nothing is listed there / the port is absent. A present COM port with nothing
    // attached gives an endpoint that never answers.
    std::unique_ptr<SimEndpoint> openGpib(int board, int address);
    std::unique_ptr<SimEndpoint> openCom(int port);
    // The instrument at a placement as a LAN socket carries it: a byte stream whose commands end
    // at "\n", with no END and no serial settings. nullptr for an unknown placement.
    // A SimConnection, so that a server can close() it from another thread.
    std::unique_ptr<SimConnection> openSocket(const SimPlacement& placement);
    // The same as a message-based network link (VXI-11) carries it: as on GPIB, a write ends with
    // END and a read flags the end of a response. While it is open, the instrument's output goes to
    // it alone.
    std::unique_ptr<SimConnection> openLink(const SimPlacement& placement);

    // Changes an instrument's faults while the bench runs (a test's, or tavrel-sim's standard input);
    // false for an unknown placement.
    bool setFaults(const SimPlacement& placement, const SimFaults& faults);

    // Implementation detail; defined in SimBench.cpp.
    struct Impl;

private:
    SimBench();
    std::unique_ptr<SimConnection> openPlaced(const SimPlacement& placement, int bus);
    std::shared_ptr<SimInstrument> placed(const SimPlacement& placement) const;
    std::unique_ptr<Impl> d;
};

} // namespace tavrelsim
