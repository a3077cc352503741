#include "hosting/FileReplacement.h"

#include <QDir>
#include <QFileInfo>
#include <QRandomGenerator>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

QString systemError(const char* what, int error) {
    return QStringLiteral("%1: %2").arg(QString::fromLatin1(what),
                                        QString::fromLocal8Bit(std::strerror(error)));
}

bool writeAll(int fd, const QByteArray& content, int& error) {
    const char* data = content.constData();
    qsizetype left = content.size();
    while (left > 0) {
        const ssize_t written = ::write(fd, data, static_cast<size_t>(left));
        if (written < 0) {
            if (errno == EINTR) continue;
            error = errno;
            return false;
        }
        // A short write means the next one will tell why; zero would never end.
        if (written == 0) {
            error = ENOSPC;
            return false;
        }
        data += written;
        left -= written;
    }
    return true;
}

// A fresh file beside the target, created exclusively (never through a link) with the permissions
// of a new file; the name that was taken is left in temporary.
int createBeside(const QFileInfo& target, QByteArray& temporary) {
    for (int attempt = 0; attempt < 100; ++attempt) {
        temporary = QFile::encodeName(
            QDir(target.absolutePath())
                .filePath(QStringLiteral(".%1.%2.tmp")
                              .arg(target.fileName())
                              .arg(QRandomGenerator::global()->generate(), 8, 16, QLatin1Char('0'))));
        const int fd =
            ::open(temporary.constData(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666);
        if (fd >= 0 || errno != EEXIST) return fd;
    }
    errno = EEXIST;
    return -1;
}

} // namespace

namespace FileReplacement {

QString Replace(const QString& path, const QByteArray& content) {
    // A link to an existing file is kept as a link: the file it leads to is the one replaced.
    const QFileInfo info(path);
    const QString target =
        info.isSymLink() && info.exists() ? info.canonicalFilePath() : info.absoluteFilePath();
    const QByteArray nativeTarget = QFile::encodeName(target);
    const QFileInfo targetInfo(target);
    if (targetInfo.exists() && !targetInfo.isFile()) return QStringLiteral("it is not a regular file");

    QByteArray temporary;
    const int fd = createBeside(targetInfo, temporary);
    if (fd < 0) return systemError("cannot create a new file beside it", errno);

    int error = 0;
    const char* step = "cannot be written";
    bool ok = writeAll(fd, content, error);
    // The new file keeps the old file's owner, where we may give it (root may; anyone may keep a
    // group they belong to), and its permissions.
    struct stat old {};
    const bool existed = ::stat(nativeTarget.constData(), &old) == 0;
    if (ok && existed && ::fchown(fd, old.st_uid, old.st_gid) != 0 && ::fchown(fd, -1, old.st_gid) != 0) {
        // Neither is ours to give: the file becomes ours, as any new file would.
    }
    if (ok && existed && ::fchmod(fd, old.st_mode & 07777) != 0) {
        error = errno;
        ok = false;
    }
    if (ok && ::fsync(fd) != 0) {
        error = errno;
        step = "cannot be flushed to disk";
        ok = false;
    }
    if (::close(fd) != 0 && ok) {
        error = errno;
        step = "cannot be closed";
        ok = false;
    }
    if (ok && ::rename(temporary.constData(), nativeTarget.constData()) != 0) {
        error = errno;
        step = "cannot be renamed over the old file";
        ok = false;
    }
    if (ok) {
        // The rename itself reaches the disk with the folder; a folder that cannot be synced
        // (some file systems refuse) leaves the rename done all the same.
        const int folder = ::open(QFile::encodeName(targetInfo.absolutePath()).constData(),
                                  O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        if (folder >= 0) {
            ::fsync(folder);
            ::close(folder);
        }
        return {};
    }
    ::unlink(temporary.constData());
    return systemError(step, error);
}

} // namespace FileReplacement
