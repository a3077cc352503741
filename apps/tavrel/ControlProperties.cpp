#include "ControlProperties.h"

#include "Cli.h"

#include "control/TavrelScope.h"

#include <QJsonArray>
#include <functional>

namespace {

enum class Kind { Integer, Boolean, Text };

struct Settable {
    QString name;
    Kind kind;
    std::function<void(TavrelScope&, const QVariant&)> let;
};

const QList<Settable>& settables() {
    static const QList<Settable> list = {
        {QStringLiteral("Address"), Kind::Text,
         [](TavrelScope& c, const QVariant& v) { c.SetAddress(v.toString()); }},
        {QStringLiteral("CountryCode"), Kind::Integer,
         [](TavrelScope& c, const QVariant& v) { c.SetCountryCode(v.toInt()); }},
        {QStringLiteral("FontName"), Kind::Text,
         [](TavrelScope& c, const QVariant& v) { c.SetFontName(v.toString()); }},
        {QStringLiteral("FontSize"), Kind::Integer,
         [](TavrelScope& c, const QVariant& v) { c.SetFontSize(v.toInt()); }},
        {QStringLiteral("DebugEnabled"), Kind::Boolean,
         [](TavrelScope& c, const QVariant& v) { c.SetDebugEnabled(v.toBool()); }},
        {QStringLiteral("DTROnly"), Kind::Boolean,
         [](TavrelScope& c, const QVariant& v) { c.SetDTROnly(v.toBool()); }},
        {QStringLiteral("ActiveIOPort"), Kind::Text,
         [](TavrelScope& c, const QVariant& v) { c.IOConfigurationControl().SetActiveIOPort(v.toString()); }},
        {QStringLiteral("ActivePortGPIBAddress"), Kind::Integer,
         [](TavrelScope& c, const QVariant& v) {
             c.IOConfigurationControl().SetActivePortGPIBAddress(v.toInt());
         }},
        {QStringLiteral("ActivePortBaudRate"), Kind::Integer,
         [](TavrelScope& c, const QVariant& v) {
             c.IOConfigurationControl().SetActivePortBaudRate(v.toInt());
         }},
        {QStringLiteral("ActivePortHandshake"), Kind::Integer,
         [](TavrelScope& c, const QVariant& v) {
             c.IOConfigurationControl().SetActivePortHandshake(v.toInt());
         }},
        {QStringLiteral("SupportMessageMode"), Kind::Integer,
         [](TavrelScope& c, const QVariant& v) { c.SetSupportMessageMode(v.toInt()); }},
        {QStringLiteral("LastIOHandshakeAddress"), Kind::Text,
         [](TavrelScope& c, const QVariant& v) { c.SetLastIOHandshakeAddress(v.toString()); }},
        {QStringLiteral("InitialSearchMode"), Kind::Boolean,
         [](TavrelScope& c, const QVariant& v) { c.SetInitialSearchMode(v.toBool()); }},
        {QStringLiteral("DontShowSetupIOConfigurationWarning"), Kind::Boolean,
         [](TavrelScope& c, const QVariant& v) { c.SetDontShowSetupIOConfigurationWarning(v.toBool()); }},
        {QStringLiteral("TXDelay"), Kind::Integer,
         [](TavrelScope& c, const QVariant& v) { c.SetTXDelay(v.toInt()); }},
        {QStringLiteral("ResetOnInitialize"), Kind::Boolean,
         [](TavrelScope& c, const QVariant& v) { c.SetResetOnInitialize(v.toBool()); }},
        {QStringLiteral("CheckIDOnInitialize"), Kind::Boolean,
         [](TavrelScope& c, const QVariant& v) { c.SetCheckIDOnInitialize(v.toBool()); }},
    };
    return list;
}

QVariant convert(const QString& name, Kind kind, const QString& text) {
    switch (kind) {
    case Kind::Integer: {
        bool ok = false;
        const int value = text.trimmed().toInt(&ok, 0);
        if (!ok) throw UsageError(QStringLiteral("%1 takes an integer, not \"%2\"").arg(name, text));
        return value;
    }
    case Kind::Boolean: {
        const QString t = text.trimmed().toLower();
        if (t == QStringLiteral("true") || t == QStringLiteral("1") || t == QStringLiteral("yes"))
            return true;
        if (t == QStringLiteral("false") || t == QStringLiteral("0") || t == QStringLiteral("no"))
            return false;
        throw UsageError(QStringLiteral("%1 takes true or false, not \"%2\"").arg(name, text));
    }
    case Kind::Text:
        break;
    }
    return text;
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
        names.append(s.name);
    return names;
}

void Set(TavrelScope& control, const QString& name, const QString& value) {
    for (const Settable& s : settables()) {
        if (s.name.compare(name, Qt::CaseInsensitive) == 0) {
            s.let(control, convert(s.name, s.kind, value));
            return;
        }
    }
    throw UsageError(QStringLiteral("unknown property %1; one of: %2").arg(name, SettableNames().join(u' ')));
}

QJsonObject ToJson(TavrelScope& control) {
    return {
        {QStringLiteral("CountryCode"), control.CountryCode()},
        {QStringLiteral("Address"), control.Address()},
        {QStringLiteral("FontName"), control.FontName()},
        {QStringLiteral("FontSize"), control.FontSize()},
        {QStringLiteral("DebugEnabled"), control.DebugEnabled()},
        {QStringLiteral("DontShowSetupIOConfigurationWarning"),
         control.DontShowSetupIOConfigurationWarning()},
        {QStringLiteral("LastIOHandshakeAddress"), control.LastIOHandshakeAddress()},
        {QStringLiteral("InitialSearchMode"), control.InitialSearchMode()},
        {QStringLiteral("DTROnly"), control.DTROnly()},
        {QStringLiteral("SupportMessageMode"), control.SupportMessageMode()},
        {QStringLiteral("TXDelay"), control.TXDelay()},
        {QStringLiteral("ResetOnInitialize"), control.ResetOnInitialize()},
        {QStringLiteral("CheckIDOnInitialize"), control.CheckIDOnInitialize()},
        {QStringLiteral("AutomationServerAddress"),
         control.IOConfigurationControl().ActiveAutomationServerAddress()},
        {QStringLiteral("IOConfiguration"), ioConfigurationJson(control.IOConfigurationControl())},
    };
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
