#include "iolib/backends/LanBackend.h"

#include "iolib/TransportSession.h"
#include "iolib/backends/DnsSd.h"
#include "iolib/backends/LanTransport.h"

namespace CorvaneIOUtilsLib {

namespace {

// A socket has no END to mark where a command stops, so a write ends with a line end, as a serial
// line's does by default: "*IDN?" is a complete command on every bus.
class LanSession : public TransportSession<IOSession> {
public:
    using TransportSession<IOSession>::TransportSession;

protected:
    void send(const QByteArray& bytes) override {
        TransportSession<IOSession>::send(bytes.endsWith('\n') ? bytes : bytes + '\n');
    }
};

} // namespace

QStringList LanBackend::list(const QString& literalPrefix) {
    if (!couldMatch(literalPrefix, QStringLiteral("TCPIP0"))) return {};
    return DnsSd::resourcesFor(DnsSd::browse(kBrowseMs));
}

std::unique_ptr<IOSession> LanBackend::open(const ResourceAddress& address) {
    const QString resource = address.resourceName();
    return std::make_unique<LanSession>(QStringLiteral("TCPIP"), resource,
                                        std::make_unique<LanTransport>(address.host, address.tcpPort,
                                                                       resource,
                                                                       IOSession::kDefaultTimeoutMs));
}

} // namespace CorvaneIOUtilsLib
