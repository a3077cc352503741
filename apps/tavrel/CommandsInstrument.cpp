// tavrel ports | scpi ADDRESS COMMAND | idn ADDRESS | test ADDRESS | connect [--reset] [--check-id]
#include "Cli.h"
#include "CliConnection.h"
#include "CliControl.h"

#include "automation/ScopeTavrel.h"
#include "control/CTavrelEZ.h"
#include "control/TavrelScope.h"
#include "discovery/CQueryInstrument.h"
#include "discovery/IdentificationMessage.h"
#include "iolib/IOManager.h"

#include "iolib/IOSession.h"

#include <QFile>
#include <QJsonArray>

namespace {

int runPorts(CliContext& context) {
    ExpectPositional(context.args, 0, QStringLiteral("ports"));
    auto control = OpenControl(context);
    CIOconfiguration& io = control->IOConfigurationControl();
    io.RefreshPorts(*RequireIOManager(*control));
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
    // LAN instruments announced or in the control's LAN list, and attached USB instruments.
    const auto manager = RequireIOManager(*control);
    const QStringList lanList = manager->FindRsrc(QStringLiteral("TCPIP?*"));
    const QStringList usbList = manager->FindRsrc(QStringLiteral("USB?*"));
    if (context.json) {
        context.printJson({{QStringLiteral("gpib"), gpib},
                           {QStringLiteral("com"), com},
                           {QStringLiteral("lan"), QJsonArray::fromStringList(lanList)},
                           {QStringLiteral("usb"), QJsonArray::fromStringList(usbList)}});
        return 0;
    }
    for (auto it = gpib.begin(); it != gpib.end(); ++it) {
        QStringList addresses;
        for (const QJsonValue& a : it.value().toArray())
            addresses.append(QString::number(a.toInt()));
        context.print(QStringLiteral("%1: %2").arg(it.key(), addresses.isEmpty()
                                                                 ? QStringLiteral("(no instruments listed)")
                                                                 : addresses.join(QStringLiteral(", "))));
    }
    for (const QJsonValue& port : com)
        context.print(port.toString());
    if (gpib.isEmpty() && com.isEmpty()) context.print(QStringLiteral("No GPIB or COM ports found."));
    for (const QString& resource : lanList + usbList)
        context.print(resource);
    return 0;
}

// The length of an IEEE 488.2 block header ("#0", "#3123") at the start of a reply.
qsizetype blockHeaderLength(const QByteArray& block) {
    if (block.size() < 2 || block.at(0) != '#' || block.at(1) < '0' || block.at(1) > '9') return 0;
    return 2 + (block.at(1) - '0');
}

int runScpi(CliContext& context) {
    QStringList args = context.args;
    const QString outPath = TakeOption(args, QStringLiteral("--out"));
    const QString timeout = TakeOption(args, QStringLiteral("--timeout"));
    ExpectPositional(args, 2, QStringLiteral("scpi ADDRESS COMMAND [--out FILE] [--timeout MS]"));
    const QString address = args[0];
    const QString command = args[1];
    auto control = OpenControl(context);
    auto session = RequireIOManager(*control)->Open(address);
    if (!timeout.isEmpty()) {
        bool ok = false;
        const int ms = timeout.toInt(&ok);
        if (!ok || ms < 0)
            throw UsageError(QStringLiteral("--timeout takes milliseconds, not \"%1\"").arg(timeout));
        session->SetTimeout(ms);
    }
    session->WriteString(command.endsWith(u'\n') ? command : command + u'\n');
    QJsonObject answer{{QStringLiteral("address"), address}, {QStringLiteral("command"), command}};
    if (!command.contains(u'?')) {
        if (context.json) context.printJson(answer);
        return 0;
    }
    bool isBlock = false;
    const QByteArray reply = session->ReadResponse(isBlock);
    if (!outPath.isEmpty()) {
        QFile out(outPath);
        if (!out.open(QIODevice::WriteOnly) || out.write(reply) != reply.size())
            throw CliFailure(QStringLiteral("cannot write %1: %2").arg(outPath, out.errorString()));
    }
    if (isBlock) {
        const qsizetype header = blockHeaderLength(reply);
        const QByteArray data = reply.mid(header);
        answer.insert(QStringLiteral("block"), true);
        answer.insert(QStringLiteral("header"), QString::fromLatin1(reply.left(header)));
        answer.insert(QStringLiteral("bytes"), data.size());
        answer.insert(QStringLiteral("preview"), QString::fromLatin1(data.left(32).toHex(' ')));
        if (context.json)
            context.printJson(answer);
        else
            context.print(QStringLiteral("block of %1 bytes (header %2): %3%4")
                              .arg(data.size())
                              .arg(QString::fromLatin1(reply.left(header)),
                                   QString::fromLatin1(data.left(32).toHex(' ')),
                                   data.size() > 32 ? QStringLiteral(" ...") : QString()));
    } else {
        answer.insert(QStringLiteral("reply"), QString::fromLatin1(reply));
        if (context.json)
            context.printJson(answer);
        else
            context.print(TerminalText(QString::fromLatin1(reply)));
    }
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
    const bool isGPIB = control->IOConfigurationControl().IsStringGPIB(address);
    const qint16 code = isGPIB ? query.GPIBIDNQuery(address, reply) : query.RS232IDNQuery(address, reply);
    if (context.json)
        context.printJson({{QStringLiteral("address"), address},
                           {QStringLiteral("code"), code},
                           {QStringLiteral("reply"), reply}});
    else
        context.print(QStringLiteral("%1: code %2%3")
                          .arg(TerminalText(address))
                          .arg(code)
                          .arg(reply.isEmpty() ? QString() : QStringLiteral(", ") + TerminalText(reply)));
    // Anything that answered, even without a comma, has been identified; silence is a failure, told
    // in the instrument test's own words.
    if (code == IdentificationResult::NotFound || code == IdentificationResult::PortNotFound) {
        const QString message = IdentificationMessage(code, address, reply, isGPIB, false);
        context.printError(QStringLiteral("tavrel: %1: %2")
                               .arg(TerminalText(address), message.section(QStringLiteral("\r\n"), 0, 0)));
        return 1;
    }
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
    QString identity, name;
    WithConnection(*control, [&] {
        identity = control->Session().Server().Identify();
        name = control->ConnectionName();
    });
    if (context.json)
        context.printJson({{QStringLiteral("connection"), name}, {QStringLiteral("identity"), identity}});
    else
        context.print(QStringLiteral("Connected to %1: %2").arg(TerminalText(name), TerminalText(identity)));
    return 0;
}

} // namespace

QList<Command> InstrumentCommands() {
    return {
        {QStringLiteral("ports"), QString(),
         QStringLiteral("the GPIB boards with their listeners, the COM ports, and the LAN and USB "
                        "instruments found"),
         runPorts},
        {QStringLiteral("scpi"), QStringLiteral("ADDRESS COMMAND [--out FILE] [--timeout MS]"),
         QStringLiteral(
             "writes a command; for a query prints the reply (a block as its size and a hex preview)"),
         runScpi},
        {QStringLiteral("idn"), QStringLiteral("ADDRESS"), QStringLiteral("asks an address who is there"),
         runIdn},
        {QStringLiteral("test"), QStringLiteral("ADDRESS"),
         QStringLiteral("the instrument test, as its message box shows it"), runTest},
        {QStringLiteral("connect"), QStringLiteral("[--reset] [--check-id]"),
         QStringLiteral("opens the control's address, prints the connection and identity, closes"),
         runConnect},
    };
}
