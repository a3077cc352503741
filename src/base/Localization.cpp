#include "base/Localization.h"

#include "base/Languages.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QSaveFile>
#include <clocale>
#include <cstdlib>
#include <dlfcn.h>
#include <locale.h>
#include <mutex>

#ifndef TAVREL_DATA_FROM_LIBRARY
#define TAVREL_DATA_FROM_LIBRARY "../share/tavrel"
#endif

namespace {

QString unescape(const QString& text) {
    QString out;
    out.reserve(text.size());
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar c = text.at(i);
        if (c != u'\\' || i + 1 == text.size()) {
            out.append(c);
            continue;
        }
        const QChar next = text.at(++i);
        if (next == u'n')
            out.append(u'\n');
        else if (next == u'r')
            out.append(u'\r');
        else if (next == u't')
            out.append(u'\t');
        else
            out.append(next);
    }
    return out;
}

void loadTable(QHash<int, QString>& table, const LanguageInfo& language) {
    // Each table file holds base ids; its language's offset turns them into the ids of the block.
    QFile file(QStringLiteral(":/tavrel/strings/%1.tsv").arg(language.tag));
    if (!file.open(QIODevice::ReadOnly)) return;
    const QStringList lines = QString::fromUtf8(file.readAll()).split(u'\n');
    for (const QString& rawLine : lines) {
        QString line = rawLine;
        if (line.endsWith(u'\r')) line.chop(1);
        if (line.isEmpty() || line.startsWith(u'#')) continue;
        const qsizetype tab = line.indexOf(u'\t');
        if (tab <= 0) continue;
        bool ok = false;
        const int baseId = line.left(tab).toInt(&ok);
        if (!ok) continue;
        // The fixed help file names (ids below 100) have no translations.
        const int id = baseId < 100 ? baseId : baseId + language.offset;
        table.insert(id, unescape(line.mid(tab + 1)));
    }
}

const QHash<int, QString>& stringTable() {
    static const QHash<int, QString> table = [] {
        QHash<int, QString> t;
        for (const LanguageInfo& language : Languages())
            loadTable(t, language);
        return t;
    }();
    return table;
}

thread_local int t_stringOffset = 0;

std::mutex g_folderMutex;
QString g_componentFolder;

bool replaceFile(const QString& source, const QString& target) {
    QFile in(source);
    if (!in.open(QIODevice::ReadOnly)) return false;
    QSaveFile out(target);
    if (!out.open(QIODevice::WriteOnly)) return false;
    if (out.write(in.readAll()) < 0) return false;
    return out.commit();
}

} // namespace

QString LoadResString(int id) {
    return stringTable().value(id);
}

bool HasResString(int id) {
    return stringTable().contains(id);
}

QList<int> ResStringIds(int first, int last) {
    QList<int> ids;
    for (auto it = stringTable().cbegin(); it != stringTable().cend(); ++it)
        if (it.key() >= first && it.key() <= last) ids.append(it.key());
    std::sort(ids.begin(), ids.end());
    return ids;
}

int StringOffset() {
    return t_stringOffset;
}

void SetStringOffset(int offset) {
    t_stringOffset = offset;
}

QString Localized(int baseId) {
    return LoadResString(baseId + t_stringOffset);
}

bool IsDoubleByteCodePage() {
    // Ask the environment's character type without touching the host's own locale.
    locale_t environmentLocale = newlocale(LC_CTYPE_MASK, "", static_cast<locale_t>(nullptr));
    if (environmentLocale == static_cast<locale_t>(nullptr)) return false;
    const locale_t previous = uselocale(environmentLocale);
    const size_t largest = MB_CUR_MAX;
    uselocale(previous);
    freelocale(environmentLocale);
    return largest >= 2;
}

QString ComponentFolder() {
    {
        std::lock_guard lock(g_folderMutex);
        if (!g_componentFolder.isEmpty()) return g_componentFolder;
    }
    const QString fromEnvironment = qEnvironmentVariable("TAVREL_DATA_DIR");
    if (!fromEnvironment.isEmpty()) return fromEnvironment;
    // Where this library is, installed or in the build tree: both keep the data folder at the same
    // place relative to it, and no build path is baked in.
    QString besideLibrary;
    Dl_info info{};
    if (dladdr(reinterpret_cast<void*>(&ComponentFolder), &info) != 0 && info.dli_fname) {
        besideLibrary = QDir::cleanPath(QFileInfo(QFile::decodeName(info.dli_fname))
                                            .absoluteDir()
                                            .absoluteFilePath(QStringLiteral(TAVREL_DATA_FROM_LIBRARY)));
        if (QFileInfo(besideLibrary).isDir()) return besideLibrary;
    }
    if (QCoreApplication::instance()) {
        const QString besideBinaries =
            QDir(QCoreApplication::applicationDirPath()).absoluteFilePath(QStringLiteral("../share/tavrel"));
        if (QFileInfo(besideBinaries).isDir()) return QDir::cleanPath(besideBinaries);
    }
    return besideLibrary;
}

void SetComponentFolder(const QString& folder) {
    std::lock_guard lock(g_folderMutex);
    g_componentFolder = folder;
}

bool InstallLanguageHelpFiles(int offset) {
    const QDir folder(ComponentFolder());
    const QDir help(folder.filePath(QStringLiteral("Help")));
    const bool helpCopied =
        replaceFile(help.filePath(LoadResString(100 + offset)), folder.filePath(LoadResString(10)));
    const bool contentsCopied =
        replaceFile(help.filePath(LoadResString(101 + offset)), folder.filePath(LoadResString(11)));
    return helpCopied && contentsCopied;
}
