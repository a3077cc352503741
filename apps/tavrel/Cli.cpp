#include "Cli.h"

#include <QJsonDocument>
#include <cstdio>

namespace {

QString hex(char16_t value, int width) {
    return QString::number(value, 16).toUpper().rightJustified(width, u'0');
}

bool isBidiControl(char16_t c) {
    return c == 0x061C || c == 0x200E || c == 0x200F || (c >= 0x202A && c <= 0x202E) ||
           (c >= 0x2066 && c <= 0x2069);
}

} // namespace

QString TerminalText(const QString& text, bool keepLineBreaks) {
    QString shown;
    shown.reserve(text.size());
    for (const QChar qc : text) {
        const char16_t c = qc.unicode();
        if (c == u'\n' && keepLineBreaks) {
            shown += qc;
        } else if (c == u'\n') {
            shown += QStringLiteral("\\n");
        } else if (c == u'\r') {
            shown += QStringLiteral("\\r");
        } else if (c == u'\t') {
            shown += QStringLiteral("\\t");
        } else if (c < 0x20 || c == 0x7F) {
            shown += QStringLiteral("\\x") + hex(c, 2);
        } else if ((c >= 0x80 && c <= 0x9F) || isBidiControl(c)) {
            shown += QStringLiteral("\\u") + hex(c, 4);
        } else {
            shown += qc;
        }
    }
    return shown;
}

void CliContext::print(const QString& text) const {
    std::fputs(TerminalText(text, true).toUtf8().constData(), stdout);
    std::fputc('\n', stdout);
}

void CliContext::printJson(const QJsonObject& o) const {
    // JSON escapes C0 but passes DEL and C1 through as they are; a terminal reading them takes U+009B
    // for the start of a command. Their UTF-8 bytes occur only inside strings, where \u escapes are
    // the same text.
    const QByteArray json = QJsonDocument(o).toJson(QJsonDocument::Indented);
    QByteArray safe;
    safe.reserve(json.size());
    for (qsizetype i = 0; i < json.size(); ++i) {
        const auto byte = static_cast<unsigned char>(json[i]);
        const auto next = i + 1 < json.size() ? static_cast<unsigned char>(json[i + 1]) : 0;
        if (byte == 0x7F) {
            safe += "\\u007f";
        } else if (byte == 0xC2 && next >= 0x80 && next <= 0x9F) {
            safe += "\\u00" + QByteArray::number(next, 16);
            ++i;
        } else {
            safe += char(byte);
        }
    }
    std::fputs(safe.constData(), stdout);
}

void CliContext::printError(const QString& text) const {
    std::fputs(TerminalText(text, true).toUtf8().constData(), stderr);
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
