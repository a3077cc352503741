// tavrel address normalize|server-form ADDRESS [--dtr-only]
#include "Cli.h"

#include "ioconfig/CIOconfiguration.h"

namespace {

int runAddress(CliContext& context, bool serverForm) {
    QStringList args = context.args;
    const bool dtrOnly = TakeFlag(args, QStringLiteral("--dtr-only"));
    ExpectPositional(args, 1, QStringLiteral("ADDRESS [--dtr-only]"));
    CIOconfiguration configuration;
    if (dtrOnly) configuration.SetDTROnly(true);
    configuration.SetActiveAddressString(args.first());
    const QString address =
        serverForm ? configuration.ActiveAutomationServerAddress() : configuration.ActiveAddressString();
    if (context.json)
        context.printJson({{QStringLiteral("address"), address}});
    else
        context.print(address);
    return 0;
}

} // namespace

QList<Command> AddressCommands() {
    return {
        {QStringLiteral("address normalize"), QStringLiteral("ADDRESS [--dtr-only]"),
         QStringLiteral("the canonical form of an instrument address"),
         [](CliContext& c) { return runAddress(c, false); }},
        {QStringLiteral("address server-form"), QStringLiteral("ADDRESS [--dtr-only]"),
         QStringLiteral("the address as the automation server opens it"),
         [](CliContext& c) { return runAddress(c, true); }},
    };
}
