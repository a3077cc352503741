#include "Cli.h"

#include <QJsonDocument>
#include <cstdio>

void CliContext::print(const QString& text) const {
    std::fputs(text.toUtf8().constData(), stdout);
    std::fputc('\n', stdout);
}

void CliContext::printJson(const QJsonObject& o) const {
    std::fputs(QJsonDocument(o).toJson(QJsonDocument::Indented).constData(), stdout);
}

void CliContext::printError(const QString& text) const {
    std::fputs(text.toUtf8().constData(), stderr);
    std::fputc('\n', stderr);
}

bool TakeFlag(QStringList& args, const QString& name) {
    return args.removeAll(name) > 0;
}

QString TakeOption(QStringList& args, const QString& name) {
    for (qsizetype i = 0; i < args.size(); ++i) {
        if (args[i] == name) {
            if (i + 1 >= args.size()) throw UsageError(QStringLiteral("%1 needs a value").arg(name));
            const QString value = args[i + 1];
            args.remove(i, 2);
            return value;
        }
        if (args[i].startsWith(name + u'=')) {
            const QString value = args[i].mid(name.size() + 1);
            args.removeAt(i);
            return value;
        }
    }
    return {};
}

void ExpectPositional(const QStringList& args, qsizetype count, const QString& usage) {
    for (const QString& arg : args)
        if (arg.startsWith(QStringLiteral("--")))
            throw UsageError(QStringLiteral("unknown option %1; usage: %2").arg(arg, usage));
    if (args.size() != count) throw UsageError(QStringLiteral("usage: %1").arg(usage));
}
