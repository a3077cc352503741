#pragma once

#include "discovery/SearchRow.h"
#include "ioconfig/CIOconfiguration.h"

#include <QList>
#include <array>
#include <exception>
#include <memory>

namespace CorvaneIOUtilsLib {
class IOManager;
}

// How a port's probes learn that they should stop and tell how far they are. Called from the
// thread that probes the port.
class ProbeMonitor {
public:
    virtual ~ProbeMonitor() = default;
    // True once the search is cancelled, or a port before this one (in search order) failed.
    virtual bool shouldStop(int taskIndex) const = 0;
    virtual void probing(const QString& target) = 0;
    virtual void probed() = 0;
    // The number of planned probes changed by delta (a GPIB board listed other addresses).
    virtual void replanned(int delta) = 0;
    virtual void failed(int taskIndex) = 0;
};

// One port to search: a COM port (1..4) or a GPIB board (0..3), and its place in the search order.
struct PortTask {
    bool gpib = false;
    int port = 0;
    int index = 0;
};

// What one port contributed, kept apart until the ports are merged in search order.
struct PortOutcome {
    bool lookedUp = false; // false when the search stopped before the port was looked up
    bool found = false;    // the manager lists the port
    std::array<bool, CIOconfiguration::kGPIBAddressCount> addressExists{}; // GPIB, as the lookup left them
    QList<SearchRow> rows;
    bool answered = false; // COM: something answered
    bool silent = false;   // COM: found, but nothing answered
    bool stopped = false;  // some probe of the port did not run
    std::exception_ptr error;
};

// GPIB addresses of a board that a search would probe: included and listed.
int PlannedAddresses(const CIOconfiguration& configuration, int board);

// Looks the port up and probes it as the sequential search does; works on its own copy of the
// configuration, so ports can be probed side by side. Never throws: a failure ends up in error.
PortOutcome ProbePort(const PortTask& task, const CIOconfiguration& configuration,
                      const std::shared_ptr<CorvaneIOUtilsLib::IOManager>& manager, qint32 delayMs,
                      ProbeMonitor& monitor);
