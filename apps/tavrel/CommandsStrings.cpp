// tavrel strings [--lang CODE] [--all] [ID...]
#include "Cli.h"

#include "base/Languages.h"
#include "base/Localization.h"

#include <QJsonObject>

namespace {

int runStrings(CliContext& context) {
    QStringList args = context.args;
    const QString code = TakeOption(args, QStringLiteral("--lang"));
    const bool all = TakeFlag(args, QStringLiteral("--all"));
    const LanguageInfo* language = FindLanguage(code.isEmpty() ? QStringLiteral("1") : code);
    if (!language)
        throw UsageError(
            QStringLiteral("unknown language %1 (a country code such as 33, or a tag such as fr)").arg(code));

    QList<int> baseIds;
    if (all) {
        if (!args.isEmpty()) throw UsageError(QStringLiteral("--all takes no ids"));
        if (language->offset == 0) baseIds += ResStringIds(10, 11);
        for (int id : ResStringIds(language->offset + 100, language->offset + 723))
            baseIds.append(id - language->offset);
    } else {
        for (const QString& arg : args) {
            bool ok = false;
            const int id = arg.toInt(&ok);
            if (!ok || arg.startsWith(QStringLiteral("--")))
                throw UsageError(QStringLiteral("not a string id: %1").arg(arg));
            baseIds.append(id);
        }
    }
    // The fixed help file names below 100 have no language offset.
    const auto textOf = [&](int baseId) {
        return LoadResString(baseId < 100 ? baseId : baseId + language->offset);
    };

    if (context.json) {
        QJsonObject strings;
        for (int id : baseIds)
            strings.insert(QString::number(id), textOf(id));
        context.printJson(
            {{QStringLiteral("language"), language->countryCode}, {QStringLiteral("strings"), strings}});
    } else {
        for (int id : baseIds)
            context.print(
                QStringLiteral("%1\t%2").arg(id).arg(textOf(id).replace(u'\n', QStringLiteral("\\n"))));
    }
    return 0;
}

} // namespace

QList<Command> StringsCommands() {
    return {{QStringLiteral("strings"), QStringLiteral("[--lang CODE] [--all] [ID...]"),
             QStringLiteral("localized texts of a language by base id"), runStrings}};
}
