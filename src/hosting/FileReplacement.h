#pragma once

#include <QByteArray>
#include <QString>

// Replaces a file's whole content without ever leaving it half written. The new content goes into
// a fresh file beside the old one; every write, the sync to disk and the close are checked, and only
// then is the new file renamed over the old. A full disk or a file size limit shows up in one of
// those checks, never as a silently short file.
//
// What the old file was is kept where it can be: a symbolic link stays a link (the file it leads to
// is replaced), and the new file gets the old one's permissions and, where the process may give
// them, its owner and group. A file with several hard links cannot keep them: a rename replaces only
// the name that was saved, and the other names keep the old content, whole. Writing in place would
// keep the links but could leave a half-written file behind a crash, and no setup or document is
// worth that.
namespace FileReplacement {

// Empty on success; otherwise why the file was not replaced (the old one is as it was, and the new
// one is removed again).
QString Replace(const QString& path, const QByteArray& content);

} // namespace FileReplacement
