#pragma once

#include "discovery/SearchRow.h"
#include "ioconfig/CIOconfiguration.h"

#include <QList>
#include <QMetaType>
#include <QString>
#include <array>
#include <exception>

// A port that exists and is included in the search but that the I/O manager no longer lists: the
// message the page shows for it (it is not shown here).
struct PortNotFound {
    QString port;    // "COM2", "GPIB1"
    QString title;   // text 207 "Search"
    QString message; // text 241 with the port, then 242 and 243

    bool operator==(const PortNotFound&) const = default;
};

PortNotFound PortNotFoundMessage(const QString& port);

// What a search found, in the order a one-port-at-a-time search would have found it.
struct SearchResult {
    QList<SearchRow> rows;
    int selectedIndex = -1; // 1-based row of the instrument at the active address; -1 for none
    // Per COM port, [0] for COM1: cleared when the port was probed and nothing answered, or when it was
    // not found; set when something answered and for ports that were not searched.
    std::array<bool, CIOconfiguration::kRS232PortCount> instrumentFoundOnCOMPort{};
    QList<int> silentCOMPorts; // found ports on which nothing answered, ascending
    QList<PortNotFound> portsNotFound;
    // The working copy with the exists flags of every port looked up refreshed.
    CIOconfiguration configuration;
    bool cancelled = false; // some probes did not run because cancel() came first
    // What ended the search early (TavrelError for a result code outside the known set, IOError when the
    // manager cannot list a port); the rows found before it are kept.
    std::exception_ptr error;

    bool instrumentFound(int comPort) const { return instrumentFoundOnCOMPort.at(comPort - 1); }
};

// Progress of a running search: sent as each port is looked up and each address probed.
struct SearchProgress {
    QString target; // "COM1", "GPIB0", "GPIB0::7::INSTR"
    int done = 0;   // probes finished so far
    int total = 0;  // probes planned; grows or shrinks as GPIB boards are looked up
};

Q_DECLARE_METATYPE(SearchResult)
Q_DECLARE_METATYPE(SearchProgress)
