#include "ControlProperties.h"

#include "Cli.h"

#include "control/TavrelScope.h"

#include <QJsonArray>
#include <QMetaProperty>

namespace {

// A property the tool sets: a designable, writable property of the control, or of its I/O
// configuration.
struct Settable {
    QMetaProperty property;
    bool ofIOConfiguration;
};

QList<Settable> settables() {
    QList<Settable> list;
    for (const auto& [meta, ofIOConfiguration] : {std::pair{&TavrelScope::staticMetaObject, false},
                                                  std::pair{&CIOconfiguration::staticMetaObject, true}}) {
        for (int i = meta->propertyOffset(); i < meta->propertyCount(); ++i) {
            const QMetaProperty property = meta->property(i);
            if (property.isWritable() && property.isDesignable()) list.append({property, ofIOConfiguration});
        }
    }
    return list;
}

QVariant convert(const QString& name, QMetaType type, const QString& text) {
    switch (type.id()) {
    case QMetaType::Int: {
        bool ok = false;
        const int value = text.trimmed().toInt(&ok, 0);
        if (!ok) throw UsageError(QStringLiteral("%1 takes an integer, not \"%2\"").arg(name, text));
        return value;
    }
    case QMetaType::Bool: {
        const QString t = text.trimmed().toLower();
        if (t == QStringLiteral("true") || t == QStringLiteral("1") || t == QStringLiteral("yes"))
            return true;
        if (t == QStringLiteral("false") || t == QStringLiteral("0") || t == QStringLiteral("no"))
            return false;
        throw UsageError(QStringLiteral("%1 takes true or false, not \"%2\"").arg(name, text));
    }
    default:
        return text;
    }
}

QJsonObject ioConfigurationJson(const CIOconfiguration& io) {
    QJsonObject o;
    o.insert(QStringLiteral("ActiveAddressString"), io.ActiveAddressString());
    o.insert(QStringLiteral("ActiveAutomationServerAddress"), io.ActiveAutomationServerAddress());
    o.insert(QStringLiteral("ActiveIOPort"), io.ActiveIOPort());
    o.insert(QStringLiteral("IsGPIB"), io.IsGPIB());
    if (io.IsGPIB()) {
        o.insert(QStringLiteral("ActivePortGPIBAddress"), io.ActivePortGPIBAddress());
    } else {
        o.insert(QStringLiteral("ActivePortBaudRate"), io.ActivePortBaudRate());
        o.insert(QStringLiteral("ActivePortHandshake"), io.ActivePortHandshake());
    }
    o.insert(QStringLiteral("ActiveAddressInstrumentID"), io.ActiveAddressInstrumentID());
    o.insert(QStringLiteral("DTROnly"), io.DTROnly());
    QJsonObject gpib;
    for (int port = 0; port <= 3; ++port) {
        QJsonArray included;
        for (int address = 0; address <= 30; ++address)
            if (io.GPIBAddressIncluded(port, address)) included.append(address);
        gpib.insert(io.GPIBPortString(port),
                    QJsonObject{{QStringLiteral("exists"), io.GPIBPortExists(port)},
                                {QStringLiteral("included"), io.GPIBPortIncluded(port)},
                                {QStringLiteral("addressesIncluded"), included}});
    }
    o.insert(QStringLiteral("GPIB"), gpib);
    QJsonObject com;
    for (int port = 1; port <= 4; ++port)
        com.insert(io.RS232PortString(port),
                   QJsonObject{{QStringLiteral("exists"), io.RS232PortExists(port)},
                               {QStringLiteral("included"), io.RS232PortIncluded(port)},
                               {QStringLiteral("baudRate"), io.RS232BaudRate(port)},
                               {QStringLiteral("parity"), io.RS232Parity(port)},
                               {QStringLiteral("handshake"), io.RS232Handshake(port)}});
    o.insert(QStringLiteral("COM"), com);
    return o;
}

QString describe(const QJsonValue& v) {
    if (v.isBool()) return v.toBool() ? QStringLiteral("true") : QStringLiteral("false");
    if (v.isDouble()) return QString::number(v.toInteger());
    return v.toString();
}

} // namespace

namespace ControlProperties {

QStringList SettableNames() {
    QStringList names;
    for (const Settable& s : settables())
        names.append(QString::fromLatin1(s.property.name()));
    return names;
}

void Set(TavrelScope& control, const QString& name, const QString& value) {
    for (const Settable& s : settables()) {
        const QString propertyName = QString::fromLatin1(s.property.name());
        if (propertyName.compare(name, Qt::CaseInsensitive) != 0) continue;
        const QVariant converted = convert(propertyName, s.property.metaType(), value);
        // The setters raise TavrelError for a refused value; a false here is a type the tool
        // cannot convert, which the tests of every property would show.
        const bool written = s.ofIOConfiguration
                                 ? s.property.writeOnGadget(&control.IOConfigurationControl(), converted)
                                 : s.property.write(&control, converted);
        if (!written)
            throw UsageError(QStringLiteral("%1 cannot be set from \"%2\"").arg(propertyName, value));
        return;
    }
    throw UsageError(QStringLiteral("unknown property %1; one of: %2").arg(name, SettableNames().join(u' ')));
}

QJsonObject ToJson(TavrelScope& control) {
    QJsonObject o;
    const QMetaObject& meta = TavrelScope::staticMetaObject;
    for (int i = meta.propertyOffset(); i < meta.propertyCount(); ++i) {
        const QMetaProperty property = meta.property(i);
        if (property.isDesignable())
            o.insert(QString::fromLatin1(property.name()), QJsonValue::fromVariant(property.read(&control)));
    }
    o.insert(QStringLiteral("AutomationServerAddress"),
             control.IOConfigurationControl().ActiveAutomationServerAddress());
    o.insert(QStringLiteral("IOConfiguration"), ioConfigurationJson(control.IOConfigurationControl()));
    return o;
}

QStringList ToLines(TavrelScope& control) {
    const QJsonObject o = ToJson(control);
    QStringList lines;
    for (const QString& key :
         {QStringLiteral("Address"), QStringLiteral("CountryCode"), QStringLiteral("FontName"),
          QStringLiteral("FontSize"), QStringLiteral("DebugEnabled"), QStringLiteral("DTROnly"),
          QStringLiteral("SupportMessageMode"), QStringLiteral("TXDelay"),
          QStringLiteral("ResetOnInitialize"), QStringLiteral("CheckIDOnInitialize"),
          QStringLiteral("LastIOHandshakeAddress"), QStringLiteral("InitialSearchMode"),
          QStringLiteral("DontShowSetupIOConfigurationWarning")})
        lines.append(QStringLiteral("%1: %2").arg(key, describe(o.value(key))));
    const QJsonObject io = o.value(QStringLiteral("IOConfiguration")).toObject();
    lines.append(QStringLiteral("I/O configuration:"));
    for (const QString& key :
         {QStringLiteral("ActiveIOPort"), QStringLiteral("ActivePortGPIBAddress"),
          QStringLiteral("ActivePortBaudRate"), QStringLiteral("ActivePortHandshake"),
          QStringLiteral("ActiveAutomationServerAddress"), QStringLiteral("ActiveAddressInstrumentID")})
        if (io.contains(key)) lines.append(QStringLiteral("  %1: %2").arg(key, describe(io.value(key))));
    const QJsonObject gpib = io.value(QStringLiteral("GPIB")).toObject();
    for (auto it = gpib.begin(); it != gpib.end(); ++it) {
        const QJsonObject p = it.value().toObject();
        const int included = p.value(QStringLiteral("addressesIncluded")).toArray().size();
        lines.append(QStringLiteral("  %1: exists %2, included %3, %4 of 31 addresses searched")
                         .arg(it.key(), describe(p.value(QStringLiteral("exists"))),
                              describe(p.value(QStringLiteral("included"))))
                         .arg(included));
    }
    const QJsonObject com = io.value(QStringLiteral("COM")).toObject();
    for (auto it = com.begin(); it != com.end(); ++it) {
        const QJsonObject p = it.value().toObject();
        lines.append(QStringLiteral("  %1: exists %2, included %3, %4 baud, parity %5, handshake %6")
                         .arg(it.key(), describe(p.value(QStringLiteral("exists"))),
                              describe(p.value(QStringLiteral("included"))),
                              describe(p.value(QStringLiteral("baudRate"))),
                              describe(p.value(QStringLiteral("parity"))),
                              p.value(QStringLiteral("handshake")).toInt() == 4
                                  ? QStringLiteral("DTR/DSR")
                                  : QStringLiteral("XON/XOFF")));
    }
    return lines;
}

} // namespace ControlProperties
