#pragma once

#include <QByteArray>
#include <QString>

// Replaces a file's whole content without ever leaving it half written. The new content goes into
// a fresh file beside the old one; every write, the sync to disk and the close are checked, and only
// then is the new file renamed over the old. A full disk or a file size limit shows up in one of
// those checks, never as a silently short file.
namespace FileReplacement {

// Empty on success; otherwise why the file was not replaced (the old one is as it was, and the new
// one is removed again).
QString Replace(const QString& path, const QByteArray& content);

} // namespace FileReplacement
