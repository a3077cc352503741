#include "iolib/backends/LanBackend.h"

#include "iolib/TransportSession.h"
#include "iolib/backends/DnsSd.h"
#include "iolib/backends/LanTransport.h"

namespace CorvaneIOUtilsLib {

QStringList LanBackend::list(const QString& literalPrefix) {
    if (!couldMatch(literalPrefix, QStringLiteral("TCPIP0"))) return {};
    return DnsSd::resourcesFor(DnsSd::browse(kBrowseMs));
}

std::unique_ptr<IOSession> LanBackend::open(const ResourceAddress& address) {
    const QString resource = address.resourceName();
    return std::make_unique<LineEndSession>(QStringLiteral("TCPIP"), resource,
                                            std::make_unique<LanTransport>(address.host, address.tcpPort,
                                                                           resource,
                                                                           IOSession::kDefaultTimeoutMs));
}

} // namespace CorvaneIOUtilsLib
