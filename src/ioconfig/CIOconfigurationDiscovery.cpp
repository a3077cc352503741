#include "ioconfig/CIOconfiguration.h"

#include "base/Diagnostics.h"
#include "base/TavrelError.h"
#include "iolib/IOManager.h"

namespace {

using IO = CIOconfiguration;
const QString kDiagnosticsClass = QStringLiteral("CIOConfiguration");

// The address in an entry of the listing, or -1 for an entry without a valid one (which the
// lookups skip rather than fail on).
int ListedAddress(const CIOconfiguration& configuration, const QString& entry) {
    // A board's own entry ("GPIB1::INTFC") says the board is there and names no instrument.
    if (entry.endsWith(QStringLiteral("::INTFC"), Qt::CaseInsensitive)) return -1;
    try {
        return configuration.GPIBInstrumentAddress(entry);
    } catch (const TavrelError&) {
        return -1;
    }
}

QString PortString(const CIOconfiguration& configuration, int port, bool gpib) {
    return gpib ? configuration.GPIBPortString(port) : configuration.RS232PortString(port);
}

} // namespace

bool CIOconfiguration::FindGPIBPort(int port, const CorvaneIOUtilsLib::IOManager& manager) {
    CIOconfiguration& configuration = *this;
    ReportAssertion(port >= IO::kFirstGPIBPort && port <= IO::kLastGPIBPort,
                    QStringLiteral("(gpib_portFind >= GPIB_PORT.First And gpib_portFind <= GPIB_PORT.Last)"),
                    kDiagnosticsClass, QStringLiteral("FindGPIBPort"));
    for (int address = IO::kFirstGPIBAddress; address <= IO::kLastGPIBAddress; ++address)
        configuration.SetGPIBAddressExists(port, address, false);

    const QString portString = PortString(configuration, port, true);
    bool found = false;
    for (const QString& entry : manager.FindRsrc(QStringLiteral("GPIB%1").arg(port))) {
        if (entry.contains(portString, Qt::CaseInsensitive)) found = true;
        const int address = ListedAddress(configuration, entry);
        if (address >= 0) configuration.SetGPIBAddressExists(port, address, true);
    }
    return found;
}

bool CIOconfiguration::FindRS232Port(int port, const CorvaneIOUtilsLib::IOManager& manager) const {
    const CIOconfiguration& configuration = *this;
    ReportAssertion(
        port >= IO::kFirstRS232Port && port <= IO::kLastRS232Port,
        QStringLiteral("(rs232_portFind >= RS232_PORT.First And rs232_portFind <= RS232_PORT.Last)"),
        kDiagnosticsClass, QStringLiteral("FindRS232Port"));
    const QString portString = PortString(configuration, port, false);
    for (const QString& entry : manager.FindRsrc(QStringLiteral("COM%1").arg(port)))
        if (entry.contains(portString, Qt::CaseInsensitive)) return true;
    return false;
}

void CIOconfiguration::RefreshPorts(const CorvaneIOUtilsLib::IOManager& manager) {
    CIOconfiguration& configuration = *this;
    for (int port = IO::kFirstRS232Port; port <= IO::kLastRS232Port; ++port)
        configuration.SetRS232PortExists(port, false);
    for (const QString& entry : manager.FindRsrc(QStringLiteral("COM*")))
        for (int port = IO::kFirstRS232Port; port <= IO::kLastRS232Port; ++port)
            if (entry.contains(configuration.RS232PortString(port), Qt::CaseInsensitive))
                configuration.SetRS232PortExists(port, true);

    for (int port = IO::kFirstGPIBPort; port <= IO::kLastGPIBPort; ++port) {
        configuration.SetGPIBPortExists(port, false);
        for (int address = IO::kFirstGPIBAddress; address <= IO::kLastGPIBAddress; ++address)
            configuration.SetGPIBAddressExists(port, address, false);
    }
    for (const QString& entry : manager.FindRsrc(QStringLiteral("GPIB*"))) {
        for (int port = IO::kFirstGPIBPort; port <= IO::kLastGPIBPort; ++port) {
            if (!entry.contains(configuration.GPIBPortString(port), Qt::CaseInsensitive)) continue;
            configuration.SetGPIBPortExists(port, true);
            const int address = ListedAddress(configuration, entry);
            if (address >= 0) configuration.SetGPIBAddressExists(port, address, true);
        }
    }
}
