#include "iolib/backends/LanBackend.h"

#include "iolib/TransportSession.h"
#include "iolib/backends/LanTransport.h"

namespace CorvaneIOUtilsLib {

std::unique_ptr<IOSession> LanBackend::open(const ResourceAddress& address) {
    const QString resource = address.resourceName();
    return std::make_unique<TransportSession<IOSession>>(
        QStringLiteral("TCPIP"), resource,
        std::make_unique<LanTransport>(address.host, address.tcpPort, resource,
                                       IOSession::kDefaultTimeoutMs));
}

} // namespace CorvaneIOUtilsLib
