#pragma once

#include <QList>
#include <QString>
#include <QStringList>

namespace CorvaneIOUtilsLib {

// Instruments that announce themselves on the local network over DNS-SD (multicast DNS), found
// through the Avahi daemon. Without a running daemon nothing is found, at once.
namespace DnsSd {

// One resolved announcement.
struct Service {
    QString type;    // "_vxi-11._tcp", "_hislip._tcp", "_scpi-raw._tcp", "_lxi._tcp"
    QString address; // IPv4 address of the host
    quint16 port = 0;

    bool operator==(const Service&) const = default;
};

// The service types an instrument announces.
const QStringList& instrumentTypes();

// The resource strings the announcements stand for: VXI-11 and LXI as "TCPIP0::host::inst0::INSTR",
// HiSLIP as "TCPIP0::host::hislip0[,port]::INSTR", raw SCPI as "TCPIP0::host::port::SOCKET"; each once,
// in the order given.
QStringList resourcesFor(const QList<Service>& services);

// Browses every instrument type and resolves what answers, for at most waitMs.
QList<Service> browse(int waitMs);

} // namespace DnsSd

} // namespace CorvaneIOUtilsLib
