#include "iolib/backends/UsbtmcBackend.h"

#include "iolib/TransportSession.h"
#include "iolib/backends/UsbtmcDevices.h"
#include "iolib/backends/UsbtmcTransport.h"

namespace CorvaneIOUtilsLib {

QStringList UsbtmcBackend::list(const QString& literalPrefix) {
    QStringList names;
    if (!couldMatch(literalPrefix, QStringLiteral("USB0"))) return names;
    for (const UsbtmcDevice& device : UsbtmcDevices::attached())
        names << device.resourceName();
    return names;
}

std::unique_ptr<IOSession> UsbtmcBackend::open(const ResourceAddress& address) {
    const UsbtmcDevice device = UsbtmcDevices::find(address);
    const QString resource = address.resourceName();
    return std::make_unique<LineEndSession>(QStringLiteral("USB"), resource,
                                            std::make_unique<UsbtmcTransport>(device.devicePath, resource));
}

} // namespace CorvaneIOUtilsLib
