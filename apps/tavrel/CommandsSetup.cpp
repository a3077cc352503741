// tavrel setup list|add|remove|comment|get|send|save|load|info: the setups of a control kept in a
// host document, their transfer to and from the instrument, and setup files.
#include "Cli.h"
#include "CliConnection.h"
#include "CliControl.h"

#include "control/TavrelScope.h"
#include "setups/CSetupFile.h"
#include "setups/ISetupFile.h"
#include "setups/SetupSupport.h"
#include "setups/SetupsTavrelScope.h"

#include <QFile>
#include <QJsonArray>

namespace {

// The setups live in the document; a command that changes them has nothing to keep them in
// without one.
void requireDocument(const CliContext& context, const QString& usage) {
    if (context.documentPath.isEmpty())
        throw UsageError(
            QStringLiteral("setup %1 needs --doc FILE: the setups are kept in a host document").arg(usage));
}

qsizetype learnStringSize(const QVariant& learnString) {
    return learnString.isValid() ? learnString.toByteArray().size() : 0;
}

void answer(const CliContext& context, const QJsonObject& json, const QString& text) {
    if (context.json)
        context.printJson(json);
    else
        context.print(text);
}

QJsonObject describe(const SetupTavrelScope& setup) {
    return {{QStringLiteral("name"), setup.Name()},
            {QStringLiteral("model"), setup.Model()},
            {QStringLiteral("version"), setup.Version()},
            {QStringLiteral("comments"), setup.Comments()},
            {QStringLiteral("bytes"), learnStringSize(setup.LearnString())}};
}

QString describeLine(const SetupTavrelScope& setup) {
    QString line =
        QStringLiteral("%1: %2 %3, %4 bytes")
            .arg(TerminalText(setup.Name()),
                 setup.Model().isEmpty() ? QStringLiteral("(no model)") : TerminalText(setup.Model()),
                 setup.Version().isEmpty() ? QStringLiteral("(no version)") : TerminalText(setup.Version()))
            .arg(learnStringSize(setup.LearnString()));
    if (!setup.Comments().isEmpty()) line += QStringLiteral(" -- ") + TerminalText(setup.Comments());
    return line;
}

int runList(CliContext& context) {
    ExpectPositional(context.args, 0, QStringLiteral("setup list"));
    auto control = OpenControl(context);
    const SetupsTavrelScope& setups = control->Setups();
    if (context.json) {
        QJsonArray list;
        for (const SetupTavrelScope& setup : setups)
            list.append(describe(setup));
        context.printJson(
            {{QStringLiteral("setups"), list}, {QStringLiteral("last"), setups.LastInstrumentSetup()}});
        return 0;
    }
    for (const SetupTavrelScope& setup : setups)
        context.print(describeLine(setup));
    if (setups.Count() == 0) context.print(QStringLiteral("No setups."));
    if (!setups.LastInstrumentSetup().isEmpty())
        context.print(
            QStringLiteral("Last instrument setup: %1").arg(TerminalText(setups.LastInstrumentSetup())));
    return 0;
}

int runAdd(CliContext& context) {
    QStringList args = context.args;
    const QString comments = TakeOption(args, QStringLiteral("--comments"));
    ExpectPositional(args, 1, QStringLiteral("setup add NAME [--comments TEXT]"));
    requireDocument(context, QStringLiteral("add"));
    auto control = OpenControl(context);
    SetupTavrelScope& setup = control->Setups().Add(args.first());
    setup.SetComments(comments);
    SaveControl(context, *control);
    answer(context, describe(setup), QStringLiteral("Added %1").arg(describeLine(setup)));
    return 0;
}

int runRemove(CliContext& context) {
    ExpectPositional(context.args, 1, QStringLiteral("setup remove NAME"));
    requireDocument(context, QStringLiteral("remove"));
    auto control = OpenControl(context);
    control->Setups().Remove(context.args.first());
    SaveControl(context, *control);
    answer(context, {{QStringLiteral("removed"), context.args.first()}},
           QStringLiteral("Removed %1").arg(TerminalText(context.args.first())));
    return 0;
}

int runComment(CliContext& context) {
    ExpectPositional(context.args, 2, QStringLiteral("setup comment NAME TEXT"));
    requireDocument(context, QStringLiteral("comment"));
    auto control = OpenControl(context);
    SetupTavrelScope& setup = control->Setups().Item(context.args[0]);
    setup.SetComments(context.args[1]);
    SaveControl(context, *control);
    answer(context, describe(setup), describeLine(setup));
    return 0;
}

int runGet(CliContext& context) {
    ExpectPositional(context.args, 1, QStringLiteral("setup get NAME"));
    requireDocument(context, QStringLiteral("get"));
    auto control = OpenControl(context);
    SetupTavrelScope& setup = control->Setups().Item(context.args.first());
    // A refusal by the instrument keeps the refusal's number; only the I/O fails as the connection.
    SetupSupport::WithTransferErrors(SetupSupport::kGetSetupTitle, kServerRefusedErrorNumber,
                                     [&] { WithConnection(*control, [&] { setup.GetFromInstrument(); }); });
    SaveControl(context, *control);
    answer(context, describe(setup), QStringLiteral("Got %1").arg(describeLine(setup)));
    return 0;
}

int runSend(CliContext& context) {
    ExpectPositional(context.args, 1, QStringLiteral("setup send NAME"));
    requireDocument(context, QStringLiteral("send"));
    auto control = OpenControl(context);
    SetupTavrelScope& setup = control->Setups().Item(context.args.first());
    SetupSupport::WithTransferErrors(SetupSupport::kSendSetupTitle, ErrorNumber::SendRefused,
                                     [&] { WithConnection(*control, [&] { setup.SendToInstrument(); }); });
    // The collection remembers the setup last sent.
    SaveControl(context, *control);
    answer(context, describe(setup), QStringLiteral("Sent %1").arg(describeLine(setup)));
    return 0;
}

int runSave(CliContext& context) {
    ExpectPositional(context.args, 2, QStringLiteral("setup save NAME FILE"));
    requireDocument(context, QStringLiteral("save"));
    auto control = OpenControl(context);
    const SetupTavrelScope& setup = control->Setups().Item(context.args[0]);
    setup.SaveToFile(context.args[1]);
    answer(context, {{QStringLiteral("saved"), setup.Name()}, {QStringLiteral("file"), context.args[1]}},
           QStringLiteral("Saved %1 to %2").arg(TerminalText(setup.Name()), TerminalText(context.args[1])));
    return 0;
}

int runLoad(CliContext& context) {
    ExpectPositional(context.args, 2, QStringLiteral("setup load NAME FILE"));
    requireDocument(context, QStringLiteral("load"));
    auto control = OpenControl(context);
    SetupTavrelScope& setup = control->Setups().Item(context.args[0]);
    setup.ReadFromFile(context.args[1]);
    SaveControl(context, *control);
    answer(context, describe(setup), QStringLiteral("Loaded %1").arg(describeLine(setup)));
    return 0;
}

// The .scp header length as the file's first field states it; the reader has checked it already.
qint64 statedHeaderLength(const QString& fileName) {
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly)) return 0;
    const QByteArray start = file.read(32);
    const qsizetype bar = start.indexOf('|');
    return bar > 0 ? start.left(bar).toLongLong() : 0;
}

int runInfo(CliContext& context) {
    ExpectPositional(context.args, 1, QStringLiteral("setup info FILE"));
    const QString fileName = context.args.first();
    const std::unique_ptr<ISetupFile> reader = SetupSupport::AcceptingReader(fileName);
    if (!reader) throw SetupSupport::NotASetupFileError(fileName);
    reader->ReadFile(fileName);
    const bool scp = dynamic_cast<CSetupFile*>(reader.get()) != nullptr;
    const QJsonArray extra{reader->ExtraField1(), reader->ExtraField2(), reader->ExtraField3(),
                           reader->ExtraField4()};
    const qsizetype bytes = learnStringSize(reader->LearnString());
    QJsonObject info{{QStringLiteral("format"), scp ? QStringLiteral("scp") : QStringLiteral("stp")},
                     {QStringLiteral("model"), reader->Model()},
                     {QStringLiteral("company"), reader->CompanyName()},
                     {QStringLiteral("version"), reader->Version()},
                     {QStringLiteral("comments"), reader->Comments()},
                     {QStringLiteral("extra"), extra},
                     {QStringLiteral("bytes"), bytes}};
    if (scp) info.insert(QStringLiteral("header_length"), statedHeaderLength(fileName));
    if (context.json) {
        context.printJson(info);
        return 0;
    }
    context.print(QStringLiteral("format: %1").arg(info.value(QStringLiteral("format")).toString()));
    context.print(QStringLiteral("model: %1").arg(TerminalText(reader->Model())));
    context.print(QStringLiteral("company: %1").arg(TerminalText(reader->CompanyName())));
    context.print(QStringLiteral("version: %1").arg(TerminalText(reader->Version())));
    context.print(QStringLiteral("comments: %1").arg(TerminalText(reader->Comments())));
    for (int i = 0; i < extra.size(); ++i)
        context.print(QStringLiteral("extra %1: %2").arg(i + 1).arg(TerminalText(extra.at(i).toString())));
    context.print(QStringLiteral("learn string: %1 bytes").arg(bytes));
    if (scp) context.print(QStringLiteral("header length: %1").arg(statedHeaderLength(fileName)));
    return 0;
}

} // namespace

QList<Command> SetupCommands() {
    return {
        {QStringLiteral("setup list"), QString(),
         QStringLiteral("the setups of the --doc control: name, model, version, comments, learn-string size"),
         runList},
        {QStringLiteral("setup add"), QStringLiteral("NAME [--comments TEXT]"),
         QStringLiteral("adds an empty setup to the --doc control"), runAdd},
        {QStringLiteral("setup remove"), QStringLiteral("NAME"),
         QStringLiteral("removes a setup from the --doc control"), runRemove},
        {QStringLiteral("setup comment"), QStringLiteral("NAME TEXT"),
         QStringLiteral("replaces a setup's comments"), runComment},
        {QStringLiteral("setup get"), QStringLiteral("NAME"),
         QStringLiteral("gets a setup's learn string from the instrument at the control's address"), runGet},
        {QStringLiteral("setup send"), QStringLiteral("NAME"),
         QStringLiteral("sends a setup to the instrument at the control's address if it is compatible"),
         runSend},
        {QStringLiteral("setup save"), QStringLiteral("NAME FILE"),
         QStringLiteral("saves a setup to a .scp file (whatever the extension)"), runSave},
        {QStringLiteral("setup load"), QStringLiteral("NAME FILE"),
         QStringLiteral("loads a .scp or .stp file into an existing setup; its name stays"), runLoad},
        {QStringLiteral("setup info"), QStringLiteral("FILE"),
         QStringLiteral("what a .scp or .stp file holds, without a document"), runInfo},
    };
}
