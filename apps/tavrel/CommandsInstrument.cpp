// tavrel ports | idn ADDRESS | test ADDRESS | connect [--reset] [--check-id]
#include "Cli.h"
#include "CliControl.h"

#include "automation/ScopeTavrel.h"
#include "control/CTavrelEZ.h"
#include "control/TavrelScope.h"
#include "discovery/CQueryInstrument.h"
#include "discovery/PortDiscovery.h"
#include "iolib/IOManager.h"

#include <QJsonArray>

namespace {

int runPorts(CliContext& context) {
    ExpectPositional(context.args, 0, QStringLiteral("ports"));
    auto control = OpenControl(context);
    CIOconfiguration& io = control->IOConfigurationControl();
    RefreshPorts(io, *RequireIOManager(*control));
    QJsonObject gpib;
    QJsonArray com;
    for (int port = CIOconfiguration::kFirstGPIBPort; port <= CIOconfiguration::kLastGPIBPort; ++port) {
        if (!io.GPIBPortExists(port)) continue;
        QJsonArray addresses;
        for (int address = CIOconfiguration::kFirstGPIBAddress; address <= CIOconfiguration::kLastGPIBAddress;
             ++address)
            if (io.GPIBAddressExists(port, address)) addresses.append(address);
        gpib.insert(io.GPIBPortString(port), addresses);
    }
    for (int port = CIOconfiguration::kFirstRS232Port; port <= CIOconfiguration::kLastRS232Port; ++port)
        if (io.RS232PortExists(port)) com.append(io.RS232PortString(port));
    if (context.json) {
        context.printJson({{QStringLiteral("gpib"), gpib}, {QStringLiteral("com"), com}});
        return 0;
    }
    for (auto it = gpib.begin(); it != gpib.end(); ++it) {
        QStringList addresses;
        for (const QJsonValue& a : it.value().toArray())
            addresses.append(QString::number(a.toInt()));
        context.print(QStringLiteral("%1: %2").arg(it.key(), addresses.join(QStringLiteral(", "))));
    }
    for (const QJsonValue& port : com)
        context.print(port.toString());
    if (gpib.isEmpty() && com.isEmpty()) context.print(QStringLiteral("No GPIB or COM ports found."));
    return 0;
}

CQueryInstrument queryFor(TavrelScope& control) {
    CQueryInstrument query;
    query.IOConfigurationChanged(control.TXDelay(), control.IOConfigurationControl(),
                                 RequireIOManager(control));
    return query;
}

int runIdn(CliContext& context) {
    ExpectPositional(context.args, 1, QStringLiteral("idn ADDRESS"));
    const QString address = context.args.first();
    auto control = OpenControl(context);
    CQueryInstrument query = queryFor(*control);
    QString reply;
    const qint16 code = control->IOConfigurationControl().IsStringGPIB(address)
                            ? query.GPIBIDNQuery(address, reply)
                            : query.RS232IDNQuery(address, reply);
    if (context.json)
        context.printJson({{QStringLiteral("address"), address},
                           {QStringLiteral("code"), code},
                           {QStringLiteral("reply"), reply}});
    else
        context.print(QStringLiteral("%1: code %2%3")
                          .arg(address)
                          .arg(code)
                          .arg(reply.isEmpty() ? QString() : QStringLiteral(", ") + reply));
    return 0;
}

int runTest(CliContext& context) {
    ExpectPositional(context.args, 1, QStringLiteral("test ADDRESS"));
    auto control = OpenControl(context);
    CQueryInstrument query = queryFor(*control);
    QString reply;
    const TestOutcome outcome = query.Test(0, context.args.first(), reply);
    if (context.json)
        context.printJson({{QStringLiteral("code"), outcome.code},
                           {QStringLiteral("title"), outcome.title},
                           {QStringLiteral("message"), outcome.message}});
    else
        context.print(
            QStringLiteral("%1\n\n%2")
                .arg(outcome.title,
                     QString(outcome.message).replace(QStringLiteral("\r\n"), QStringLiteral("\n"))));
    return 0;
}

int runConnect(CliContext& context) {
    QStringList args = context.args;
    const bool reset = TakeFlag(args, QStringLiteral("--reset"));
    const bool checkId = TakeFlag(args, QStringLiteral("--check-id"));
    ExpectPositional(args, 0, QStringLiteral("connect [--reset] [--check-id]"));
    auto control = OpenControl(context);
    // The options apply to this connection only; the document keeps its own settings.
    if (reset) control->SetResetOnInitialize(true);
    if (checkId) control->SetCheckIDOnInitialize(true);
    control->Initialize();
    const QString identity = control->Session().Server().Identify();
    const QString name = control->ConnectionName();
    control->CloseConnection();
    if (context.json)
        context.printJson({{QStringLiteral("connection"), name}, {QStringLiteral("identity"), identity}});
    else
        context.print(QStringLiteral("Connected to %1: %2").arg(name, identity));
    return 0;
}

} // namespace

QList<Command> InstrumentCommands() {
    return {
        {QStringLiteral("ports"), QString(),
         QStringLiteral("the GPIB boards with their listeners, and the COM ports"), runPorts},
        {QStringLiteral("idn"), QStringLiteral("ADDRESS"), QStringLiteral("asks an address who is there"),
         runIdn},
        {QStringLiteral("test"), QStringLiteral("ADDRESS"),
         QStringLiteral("the instrument test, as its message box shows it"), runTest},
        {QStringLiteral("connect"), QStringLiteral("[--reset] [--check-id]"),
         QStringLiteral("opens the control's address, prints the connection and identity, closes"),
         runConnect},
    };
}
