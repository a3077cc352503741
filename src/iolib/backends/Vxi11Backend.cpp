#include "iolib/backends/Vxi11Backend.h"

#include "iolib/IOError.h"
#include "iolib/TransportSession.h"
#include "iolib/backends/Vxi11Transport.h"

namespace CorvaneIOUtilsLib {

quint16 Vxi11Backend::portmapperPort(const QString& resource) {
    const QString text = qEnvironmentVariable("TAVREL_PORTMAPPER_PORT").trimmed();
    if (text.isEmpty()) return kPortmapperPort;
    bool ok = false;
    const uint port = text.toUInt(&ok);
    if (!ok || port == 0 || port > 65535)
        throw IOError(
            IOError::Unsupported,
            QStringLiteral("%1: TAVREL_PORTMAPPER_PORT=\"%2\" is not a port (1..65535)").arg(resource, text));
    return static_cast<quint16>(port);
}

std::unique_ptr<IOSession> Vxi11Backend::open(const ResourceAddress& address) {
    const QString resource = address.resourceName();
    // END marks where a message stops, as on GPIB: writes go out as they are.
    return std::make_unique<TransportSession<IOSession>>(
        QStringLiteral("TCPIP"), resource,
        std::make_unique<Vxi11Transport>(address, portmapperPort(resource), IOSession::kDefaultTimeoutMs));
}

} // namespace CorvaneIOUtilsLib
