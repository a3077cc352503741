#pragma once

#include "discovery/PortProbe.h"
#include "discovery/SearchRow.h"

#include <QStringList>
#include <atomic>
#include <memory>

// LAN and USB instruments have no port to search: the I/O manager lists them (DNS-SD announcements,
// the user's LAN list, attached USBTMC devices) and each is identified as a GPIB address is.

// What the search probes after the ports: FindRsrc("TCPIP?*") then FindRsrc("USB?*").
QStringList NetworkInstruments(const CorvaneIOUtilsLib::IOManager& manager);

// Identifies the instruments side by side, at most kNetworkProbesAtOnce at a time, each within the
// query timeout; returns the rows of those that answered, in the order given. Instruments not yet
// probed when cancel is set are skipped; the monitor hears of every probe.
constexpr int kNetworkProbesAtOnce = 8;
QList<SearchRow> ProbeNetworkInstruments(const QStringList& addresses, const CIOconfiguration& configuration,
                                         const std::shared_ptr<CorvaneIOUtilsLib::IOManager>& manager,
                                         qint32 delayMs, ProbeMonitor& monitor,
                                         const std::atomic<bool>& cancel);
