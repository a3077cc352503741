#include "base/CDebug.h"

#include "base/MessageBoxSeam.h"
#include "base/PropertyBag.h"

#include <QDir>
#include <QLocale>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

const QString kLineEnd = QStringLiteral("\r\n");
const QString kLogFileName = QStringLiteral("VelScope.DBG");
const QString kMessageBoxTitle = QStringLiteral("Remote Support Assistant");

// The temporary directory is fetched into a 255-character buffer: a path that leaves no room for
// its terminating NUL within the first 254 positions yields no directory at all.
constexpr qsizetype kTempPathBuffer = 254;

thread_local CDebug* t_diagnostics = nullptr;

// Opens the log without following a planted symbolic link and refuses a file that is not a plain
// file of our own; a new file is readable by its owner only. The temporary directory is shared, so
// the path may hold a FIFO or a device: the open does not block, and only after fstat has shown a
// regular file are writes made blocking again.
int openLogFile(const QString& path, int extraFlags) {
    const QByteArray native = QFile::encodeName(path);
    const int fd =
        ::open(native.constData(),
               O_WRONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC | extraFlags, 0600);
    if (fd < 0) return -1;
    struct stat info {};
    if (::fstat(fd, &info) != 0 || !S_ISREG(info.st_mode) || info.st_uid != ::geteuid() ||
        info.st_nlink != 1) {
        ::close(fd);
        return -1;
    }
    const int flags = ::fcntl(fd, F_GETFL);
    if (flags >= 0) ::fcntl(fd, F_SETFL, flags & ~O_NONBLOCK);
    return fd;
}

void writeAll(int fd, const QByteArray& bytes) {
    qsizetype done = 0;
    while (done < bytes.size()) {
        const ssize_t n = ::write(fd, bytes.constData() + done, static_cast<size_t>(bytes.size() - done));
        if (n <= 0) return;
        done += n;
    }
}

} // namespace

CDebug::CDebug(QObject* parent) : QObject(parent) {}

QString CDebug::LogFilePath() {
    QString directory = qEnvironmentVariable("TMPDIR");
    if (directory.isEmpty()) directory = QStringLiteral("/tmp");
    directory = QDir::cleanPath(directory);
    if (!directory.endsWith(u'/')) directory += u'/';
    if (QFile::encodeName(directory).size() > kTempPathBuffer - 1) directory.clear();
    return directory + kLogFileName;
}

QString CDebug::FormatReport(qint32 number, const QString& description, const QString& className,
                             const QString& procedureName, const QString& location, const QDateTime& at) {
    QString text = QStringLiteral("Error Code: ") + QString::number(number) + QStringLiteral(" 0x") +
                   QString::number(static_cast<quint32>(number), 16).toUpper() + kLineEnd;
    if (!description.isEmpty()) text += description + kLineEnd;
    const QLocale locale = QLocale::system();
    text += QStringLiteral("At: ") + locale.toString(at.time(), QLocale::ShortFormat) + u' ' +
            locale.toString(at.date(), QLocale::ShortFormat) + kLineEnd;
    if (!className.isEmpty()) text += QStringLiteral("File: ") + className + kLineEnd;
    if (!procedureName.isEmpty()) text += QStringLiteral("Function: ") + procedureName + kLineEnd;
    if (!location.isEmpty()) text += QStringLiteral("Location: ") + location + kLineEnd;
    return text + kLineEnd;
}

QString CDebug::FormatTrace(const QString& message, const QString& className, const QString& procedureName,
                            const QString& location) {
    QString text = message.isEmpty() ? QStringLiteral("Trace:") : QStringLiteral("Trace: ") + message;
    if (!className.isEmpty() || !procedureName.isEmpty() || !location.isEmpty()) {
        text += QStringLiteral(" -- At: ");
        if (!className.isEmpty()) text += QStringLiteral("File: ") + className + QStringLiteral("; ");
        if (!procedureName.isEmpty())
            text += QStringLiteral("Function: ") + procedureName + QStringLiteral("; ");
        if (!location.isEmpty()) text += QStringLiteral("Location: ") + location;
    }
    return text + kLineEnd;
}

void CDebug::Assert(bool condition, const QString& conditionText, const QString& className,
                    const QString& procedureName, const QString& location) {
    std::lock_guard lock(m_mutex);
    if (condition || !anyOutput()) return;
    const QString description = QStringLiteral("Assertion: ") + conditionText;
    deliver(FormatReport(static_cast<qint32>(0x80040033u), description, className, procedureName, location,
                         QDateTime::currentDateTime()));
}

void CDebug::ReportError(qint32 number, const QString& description, const QString& className,
                         const QString& procedureName, const QString& location) {
    std::lock_guard lock(m_mutex);
    if (!anyOutput()) return;
    deliver(
        FormatReport(number, description, className, procedureName, location, QDateTime::currentDateTime()));
}

void CDebug::Trace(const QString& message, const QString& className, const QString& procedureName,
                   const QString& location) {
    std::lock_guard lock(m_mutex);
    if (!m_messageLog) return;
    appendToLog(FormatTrace(message, className, procedureName, location));
}

void CDebug::deliver(const QString& report) {
    if (m_event) emit SupportMessage(report);
    if (m_messageLog) appendToLog(report);
    if (m_messageBox)
        ShowMessageBox({report, kMessageBoxTitle, kMessageBoxInformation | kMessageBoxSetForeground, {}, 0});
}

qint32 CDebug::DebugMode() const {
    std::lock_guard lock(m_mutex);
    return (m_messageBox ? MessageBoxBit : 0) | (m_messageLog ? MessageLogBit : 0) |
           (m_event ? EventBit : 0) | (m_assert ? AssertBit : 0);
}

void CDebug::SetDebugMode(qint32 mode) {
    std::lock_guard lock(m_mutex);
    if (mode == DebugMode()) return;
    m_messageBox = mode & MessageBoxBit;
    m_event = mode & EventBit;
    m_messageLog = mode & MessageLogBit;
    m_assert = mode & AssertBit;
    if (m_messageLog) startLogFile();
    emit PropertyChanged(QStringLiteral("DebugMode"));
}

void CDebug::ReadProperties(PropertyBag& bag) {
    const bool box = bag.read(QStringLiteral("DebugEnableMessageBox"), false).toBool();
    const bool log = bag.read(QStringLiteral("DebugEnableMessageLog"), false).toBool();
    const bool event = bag.read(QStringLiteral("DebugEnableEvent"), false).toBool();
    const bool assert = bag.read(QStringLiteral("DebugAssert"), false).toBool();
    SetDebugMode((box ? MessageBoxBit : 0) | (log ? MessageLogBit : 0) | (event ? EventBit : 0) |
                 (assert ? AssertBit : 0));
}

void CDebug::WriteProperties(PropertyBag& bag) const {
    bag.write(QStringLiteral("DebugEnableMessageBox"), m_messageBox, false);
    bag.write(QStringLiteral("DebugEnableMessageLog"), m_messageLog, false);
    bag.write(QStringLiteral("DebugEnableEvent"), m_event, false);
    bag.write(QStringLiteral("DebugAssert"), m_assert, false);
}

void CDebug::startLogFile() {
    // Failures here are not reported: the diagnostics never report on themselves.
    const int fd = openLogFile(LogFilePath(), 0);
    if (fd < 0) return;
    if (::ftruncate(fd, 0) != 0) {
        // Nothing to do: the log simply keeps its earlier content.
    }
    ::close(fd);
}

void CDebug::appendToLog(const QString& text) {
    const int fd = openLogFile(LogFilePath(), O_APPEND);
    if (fd < 0) return;
    writeAll(fd, (text + kLineEnd).toUtf8());
    ::close(fd);
}

CDebug* ComponentDiagnostics() {
    return t_diagnostics;
}

void SetComponentDiagnostics(CDebug* debug) {
    t_diagnostics = debug;
}
