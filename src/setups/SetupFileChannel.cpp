#include "setups/SetupFileChannel.h"

#include "hosting/FileReplacement.h"

#include <QFile>
#include <QFileInfo>
#include <memory>

namespace {

// The one open setup file and the lock that makes its users take turns.
std::mutex g_channelMutex;
std::unique_ptr<QFile> g_openFile;

} // namespace

SetupFileChannel::SetupFileChannel() : m_lock(g_channelMutex) {
    Close();
}

SetupFileChannel::~SetupFileChannel() {
    Close();
}

std::optional<QString> SetupFileChannel::OpenForReading(const QString& fileName) {
    Close();
    const QFileInfo info(fileName);
    if (!info.exists()) return QStringLiteral("there is no such file.");
    // Directories, devices and pipes are no setup files; a pipe would also block the open.
    if (!info.isFile()) return QStringLiteral("it is not a regular file.");
    auto file = std::make_unique<QFile>(fileName);
    if (!file->open(QIODevice::ReadOnly))
        return QStringLiteral("it cannot be read (%1).").arg(file->errorString());
    g_openFile = std::move(file);
    return std::nullopt;
}

QString SetupFileChannel::ReplaceContent(const QString& fileName, const QByteArray& content) {
    Close();
    return FileReplacement::Replace(fileName, content);
}

void SetupFileChannel::Close() {
    g_openFile.reset();
}

bool SetupFileChannel::GetChar(char& c) {
    return g_openFile && g_openFile->getChar(&c);
}

QByteArray SetupFileChannel::Read(qint64 count) {
    if (!g_openFile || count <= 0) return {};
    return g_openFile->read(count);
}

qint64 SetupFileChannel::Remaining() const {
    return g_openFile ? g_openFile->size() - g_openFile->pos() : 0;
}

TavrelError ConversionError(qint32 number, const QString& fileName, const QString& field) {
    TavrelError error(number, Localized(104),
                      number == kOverflow ? QStringLiteral("Overflow") : QStringLiteral("Type mismatch"),
                      kComponentHelpFile);
    error.withDetail(QStringLiteral("\"%1\": %2").arg(fileName, field));
    return error;
}

QString SetupFieldReader::ReadField(qint64 maxLength) {
    // Without a maximum the file's own end bounds the field.
    const qint64 limit = maxLength >= 1 ? maxLength : m_channel.Remaining() + 1;
    QByteArray field;
    for (qint64 read = 0;; ++read) {
        char c = 0;
        if (read == limit)
            throw SetupFileRefusal{"ReadField", SetupFileText::LoadError, "",
                                   QStringLiteral("the field at offset %1 is longer than %2 characters.")
                                       .arg(m_consumed - read)
                                       .arg(limit - 1)};
        if (!m_channel.GetChar(c))
            throw SetupFileRefusal{
                "ReadField", SetupFileText::LoadError, "",
                QStringLiteral("the file ends inside a field at offset %1.").arg(m_consumed - read)};
        ++m_consumed;
        if (c == m_terminator) return QString::fromLatin1(field);
        field.append(c);
    }
}

std::optional<qint64> ParseDecimal(const QString& text) {
    qsizetype i = (text.startsWith(u'-') || text.startsWith(u'+')) ? 1 : 0;
    const qsizetype digits = text.size() - i;
    if (digits < 1 || digits > 18) return std::nullopt;
    qint64 value = 0;
    for (; i < text.size(); ++i) {
        const QChar c = text.at(i);
        if (c < u'0' || c > u'9') return std::nullopt;
        value = value * 10 + (c.unicode() - u'0');
    }
    return text.startsWith(u'-') ? -value : value;
}
