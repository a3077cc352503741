// The LAN list: instruments a network cannot announce, which the search probes after the ports.
#include "ioconfig/CIOconfiguration.h"

#include "base/TavrelError.h"
#include "iolib/IOError.h"
#include "iolib/ResourceAddress.h"

namespace {

const QChar kSeparator = QLatin1Char(';');

QString LanResource(const QString& entry) {
    using CorvaneIOUtilsLib::ResourceAddress;
    const QString text =
        entry.contains(QStringLiteral("::")) ? entry : QStringLiteral("TCPIP0::%1::INSTR").arg(entry);
    ResourceAddress address;
    try {
        address = ResourceAddress::parse(text);
    } catch (const CorvaneIOUtilsLib::IOError& error) {
        throw InvalidPropertyValueError().withDetail(
            QStringLiteral("the LAN instrument \"%1\" is not an address: %2").arg(entry, error.message()));
    }
    if (address.kind != ResourceAddress::TcpSocket && address.kind != ResourceAddress::Vxi11 &&
        address.kind != ResourceAddress::Hislip)
        throw InvalidPropertyValueError().withDetail(
            QStringLiteral("the LAN instrument \"%1\" is not a TCPIP address").arg(entry));
    return address.resourceName();
}

} // namespace

void CIOconfiguration::SetLANInstruments(const QStringList& entries) {
    QStringList resources;
    for (const QString& entry : entries) {
        const QString trimmed = entry.trimmed();
        if (trimmed.isEmpty()) continue;
        const QString resource = LanResource(trimmed);
        if (!resources.contains(resource, Qt::CaseInsensitive)) resources.append(resource);
    }
    if (resources.size() > kMaxLANInstruments)
        throw InvalidPropertyValueError().withDetail(
            QStringLiteral("the LAN list holds %1 instruments; %2 is the most")
                .arg(resources.size())
                .arg(kMaxLANInstruments));
    m_astrLANInstruments = resources;
}

QString CIOconfiguration::LANInstrumentsText() const {
    return m_astrLANInstruments.join(kSeparator);
}

void CIOconfiguration::SetLANInstrumentsText(const QString& text) {
    SetLANInstruments(text.split(kSeparator));
}
