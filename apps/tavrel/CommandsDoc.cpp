// tavrel doc init|show|set: a control kept in a host document.
#include "Cli.h"
#include "ControlProperties.h"

#include "control/ControlDocument.h"
#include "control/TavrelScope.h"

#include <QFileInfo>

namespace {

int runInit(CliContext& context) {
    QStringList args = context.args;
    const bool force = TakeFlag(args, QStringLiteral("--force"));
    ExpectPositional(args, 1, QStringLiteral("doc init FILE [--force]"));
    const QString path = args.first();
    // A symbolic link counts as there even when it dangles: writing through it would create its target.
    if ((QFileInfo::exists(path) || QFileInfo(path).isSymLink()) && !force)
        throw CliFailure(QStringLiteral("%1 exists already; use --force to replace it").arg(path));
    TavrelScope control; // creation applies the defaults of a new control
    ControlDocument::Save(control, path);
    if (context.json)
        context.printJson({{QStringLiteral("document"), path}});
    else
        context.print(QStringLiteral("New control written to %1").arg(path));
    return 0;
}

int runShow(CliContext& context) {
    ExpectPositional(context.args, 1, QStringLiteral("doc show FILE"));
    TavrelScope control;
    ControlDocument::Load(control, context.args.first());
    if (context.json)
        context.printJson(ControlProperties::ToJson(control));
    else
        for (const QString& line : ControlProperties::ToLines(control))
            context.print(line);
    return 0;
}

int runSet(CliContext& context) {
    ExpectPositional(context.args, 3, QStringLiteral("doc set FILE NAME VALUE"));
    const QString path = context.args[0];
    TavrelScope control;
    ControlDocument::Load(control, path);
    // A refused value raises before anything is written, so the file stays as it was.
    ControlProperties::Set(control, context.args[1], context.args[2]);
    ControlDocument::Save(control, path);
    if (context.json)
        context.printJson(ControlProperties::ToJson(control));
    else
        context.print(QStringLiteral("%1 set; address %2").arg(context.args[1], control.Address()));
    return 0;
}

} // namespace

QList<Command> DocCommands() {
    return {
        {QStringLiteral("doc init"), QStringLiteral("FILE [--force]"),
         QStringLiteral("writes a new control with its defaults into a host document"), runInit},
        {QStringLiteral("doc show"), QStringLiteral("FILE"),
         QStringLiteral("shows the properties and I/O configuration of a control in a host document"),
         runShow},
        {QStringLiteral("doc set"), QStringLiteral("FILE NAME VALUE"),
         QStringLiteral("assigns one property of the control in a host document"), runSet},
    };
}
