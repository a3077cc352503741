#include "iolib/backends/UsbtmcBackend.h"

#include "iolib/TransportSession.h"
#include "iolib/backends/UsbtmcDevices.h"
#include "iolib/backends/UsbtmcTransport.h"

namespace CorvaneIOUtilsLib {

namespace {

// USBTMC marks a message's end itself; a write still ends with a line end, as SCPI instruments on
// USB expect, so that "*IDN?" is a complete command on every bus.
class UsbtmcSession : public TransportSession<IOSession> {
public:
    using TransportSession<IOSession>::TransportSession;

protected:
    void send(const QByteArray& bytes) override {
        TransportSession<IOSession>::send(bytes.endsWith('\n') ? bytes : bytes + '\n');
    }
};

} // namespace

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
    return std::make_unique<UsbtmcSession>(QStringLiteral("USB"), resource,
                                           std::make_unique<UsbtmcTransport>(device.devicePath, resource));
}

} // namespace CorvaneIOUtilsLib
