#include "setups/SetupFileChannel.h"

#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
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

bool SetupFileChannel::OpenForReading(const QString& fileName) {
    Close();
    // Directories, devices and pipes are no setup files; a pipe would also block the open.
    if (!QFileInfo(fileName).isFile()) return false;
    auto file = std::make_unique<QFile>(fileName);
    if (!file->open(QIODevice::ReadOnly)) return false;
    g_openFile = std::move(file);
    return true;
}

bool SetupFileChannel::ReplaceContent(const QString& fileName, const QByteArray& content) {
    Close();
    // Not kept in the channel: a save that does not commit is discarded when this returns.
    QSaveFile file(fileName);
    return file.open(QIODevice::WriteOnly) && file.write(content) == content.size() && file.commit();
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

QString SetupFieldReader::ReadField(int maxLength) {
    const int limit = maxLength >= 1 ? maxLength : kMaxFieldLength + 1;
    QByteArray field;
    for (int read = 0;; ++read) {
        char c = 0;
        if (read == limit || !m_channel.GetChar(c))
            throw SetupFileRefusal{"ReadField", SetupFileText::LoadError};
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
