#pragma once

#include "sim/SimEndpoint.h"
#include "sim/SimFaults.h"

#include <QByteArray>
#include <QList>
#include <QString>

namespace tavrelsim {

// What a bench file describes, validated, before any instrument exists.
struct DeviceEntry {
    enum Kind { Tavrel, NoComma, Silent };
    Kind kind = Tavrel;
    int address = 0;                 // GPIB only
    QString model, serial, firmware; // Tavrel
    QByteArray idn;                  // NoComma
    SimFaults faults;
    SimSerialSettings line; // COM only
};

struct GpibBoardEntry {
    int board = 0;
    QList<DeviceEntry> devices;
};

struct ComPortEntry {
    int port = 0;
    bool attached = false; // something is plugged into the port
    DeviceEntry device;
};

struct BenchLayout {
    QList<GpibBoardEntry> boards;
    QList<ComPortEntry> ports;
};

// Reads the bench JSON format (docs/simulator.md). Throws std::runtime_error naming the origin and
// the offending entry on anything unexpected, unknown keys included.
class BenchFile {
public:
    static BenchLayout parse(const QByteArray& json, const QString& origin);
    static QString kindName(DeviceEntry::Kind kind);
    // A "faults" object alone (as tavrel-sim takes it on its standard input); throws as parse does.
    static SimFaults parseFaults(const QByteArray& json, const QString& origin);
};

} // namespace tavrelsim
