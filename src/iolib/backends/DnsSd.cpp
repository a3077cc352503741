#include "iolib/backends/DnsSd.h"

#include "iolib/ResourceAddress.h"

#include <QDeadlineTimer>
#include <avahi-client/client.h>
#include <avahi-client/lookup.h>
#include <avahi-common/error.h>
#include <avahi-common/simple-watch.h>

namespace CorvaneIOUtilsLib {

namespace DnsSd {

const QStringList& instrumentTypes() {
    static const QStringList types = {QStringLiteral("_vxi-11._tcp"), QStringLiteral("_hislip._tcp"),
                                      QStringLiteral("_scpi-raw._tcp"), QStringLiteral("_lxi._tcp")};
    return types;
}

QStringList resourcesFor(const QList<Service>& services) {
    QStringList resources;
    for (const Service& service : services) {
        if (service.address.isEmpty() || service.address.contains(QLatin1Char(':'))) continue;
        ResourceAddress address;
        address.host = service.address;
        if (service.type == QLatin1String("_hislip._tcp")) {
            address.kind = ResourceAddress::Hislip;
            address.device = QStringLiteral("hislip0");
            address.tcpPort = service.port ? service.port : ResourceAddress::kHislipDefaultPort;
        } else if (service.type == QLatin1String("_scpi-raw._tcp")) {
            if (service.port == 0) continue;
            address.kind = ResourceAddress::TcpSocket;
            address.tcpPort = service.port;
        } else if (service.type == QLatin1String("_vxi-11._tcp") ||
                   service.type == QLatin1String("_lxi._tcp")) {
            // An LXI instrument always speaks VXI-11; its port is the web page's.
            address.kind = ResourceAddress::Vxi11;
            address.device = QStringLiteral("inst0");
        } else {
            continue;
        }
        const QString resource = address.resourceName();
        if (!resources.contains(resource)) resources.append(resource);
    }
    return resources;
}

namespace {

// One browse: the browsers and resolvers that are still at work, and what they found.
struct Browse {
    AvahiClient* client = nullptr;
    QList<Service> found;
    int browsersBusy = 0;
    int resolversBusy = 0;
};

void resolved(AvahiServiceResolver* resolver, AvahiIfIndex, AvahiProtocol, AvahiResolverEvent event,
              const char*, const char* type, const char*, const char*, const AvahiAddress* address,
              uint16_t port, AvahiStringList*, AvahiLookupResultFlags, void* userdata) {
    auto* browse = static_cast<Browse*>(userdata);
    if (event == AVAHI_RESOLVER_FOUND && address && address->proto == AVAHI_PROTO_INET) {
        char text[AVAHI_ADDRESS_STR_MAX];
        avahi_address_snprint(text, sizeof text, address);
        const Service service{QString::fromUtf8(type), QString::fromLatin1(text), port};
        if (!browse->found.contains(service)) browse->found.append(service);
    }
    --browse->resolversBusy;
    avahi_service_resolver_free(resolver);
}

void browsed(AvahiServiceBrowser*, AvahiIfIndex interface, AvahiProtocol protocol, AvahiBrowserEvent event,
             const char* name, const char* type, const char* domain, AvahiLookupResultFlags, void* userdata) {
    auto* browse = static_cast<Browse*>(userdata);
    switch (event) {
    case AVAHI_BROWSER_NEW:
        if (avahi_service_resolver_new(browse->client, interface, protocol, name, type, domain,
                                       AVAHI_PROTO_INET, AvahiLookupFlags(0), resolved, browse))
            ++browse->resolversBusy;
        break;
    case AVAHI_BROWSER_ALL_FOR_NOW:
    case AVAHI_BROWSER_FAILURE:
        --browse->browsersBusy;
        break;
    default:
        break;
    }
}

void clientChanged(AvahiClient*, AvahiClientState, void*) {}

} // namespace

QList<Service> browse(int waitMs) {
    AvahiSimplePoll* poll = avahi_simple_poll_new();
    if (!poll) return {};
    Browse browse;
    int error = 0;
    // Without AVAHI_CLIENT_NO_FAIL this fails at once when no daemon runs: nothing is waited for.
    browse.client =
        avahi_client_new(avahi_simple_poll_get(poll), AvahiClientFlags(0), clientChanged, nullptr, &error);
    if (browse.client) {
        QList<AvahiServiceBrowser*> browsers;
        for (const QString& type : instrumentTypes()) {
            AvahiServiceBrowser* browser = avahi_service_browser_new(
                browse.client, AVAHI_IF_UNSPEC, AVAHI_PROTO_INET, type.toUtf8().constData(), nullptr,
                AvahiLookupFlags(0), browsed, &browse);
            if (!browser) continue;
            browsers.append(browser);
            ++browse.browsersBusy;
        }
        const QDeadlineTimer deadline(waitMs);
        while ((browse.browsersBusy > 0 || browse.resolversBusy > 0) && !deadline.hasExpired()) {
            const int left = static_cast<int>(std::max<qint64>(deadline.remainingTime(), 0));
            if (avahi_simple_poll_iterate(poll, std::min(left, 100)) != 0) break;
        }
        for (AvahiServiceBrowser* browser : browsers)
            avahi_service_browser_free(browser);
        avahi_client_free(browse.client); // frees the resolvers still at work
    }
    avahi_simple_poll_free(poll);
    return browse.found;
}

} // namespace DnsSd

} // namespace CorvaneIOUtilsLib
