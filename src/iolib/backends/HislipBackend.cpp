#include "iolib/backends/HislipBackend.h"

#include "iolib/TransportSession.h"
#include "iolib/backends/HislipTransport.h"

namespace CorvaneIOUtilsLib {

std::unique_ptr<IOSession> HislipBackend::open(const ResourceAddress& address) {
    // DataEnd marks where a message stops, as END does on GPIB: writes go out as they are.
    return std::make_unique<TransportSession<IOSession>>(
        QStringLiteral("TCPIP"), address.resourceName(),
        std::make_unique<HislipTransport>(address, IOSession::kDefaultTimeoutMs));
}

} // namespace CorvaneIOUtilsLib
