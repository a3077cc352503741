#pragma once

#include "iolib/IOBackend.h"

namespace CorvaneIOUtilsLib {

// VXI-11 instruments ("TCPIP0::host[::inst0]::INSTR"), found through the portmapper of their host.
// Like raw sockets, only addresses the user gives are opened. TAVREL_PORTMAPPER_PORT moves the
// portmapper from port 111, so that a simulated bench can serve without root.
class Vxi11Backend : public IOBackend {
public:
    static constexpr quint16 kPortmapperPort = 111;

    QList<ResourceAddress::Kind> kinds() const override { return {ResourceAddress::Vxi11}; }
    QStringList list(const QString&) override { return {}; }
    std::unique_ptr<IOSession> open(const ResourceAddress& address) override;

    // The portmapper port for address: TAVREL_PORTMAPPER_PORT when set; throws IOError for a value
    // that is not a port.
    static quint16 portmapperPort(const QString& resource);
};

} // namespace CorvaneIOUtilsLib
