#pragma once

// What every fuzz target shares: a Qt application object made once, and a file holding the input for
// the readers that take a file name.
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <cstddef>
#include <cstdint>

namespace fuzz {

inline void startQt() {
    static int argc = 1;
    static char name[] = "fuzz";
    static char* argv[] = {name, nullptr};
    static QCoreApplication* app = QCoreApplication::instance() ? nullptr : new QCoreApplication(argc, argv);
    (void)app;
}

inline QByteArray bytesOf(const uint8_t* data, size_t size) {
    return QByteArray(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
}

// The input as a file with the given suffix, rewritten for every run.
inline QString inputFile(const uint8_t* data, size_t size, const QString& suffix) {
    static QTemporaryDir folder;
    const QString path = QDir(folder.path()).filePath(QStringLiteral("input") + suffix);
    QFile file(path);
    if (file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        file.write(reinterpret_cast<const char*>(data), static_cast<qint64>(size));
    return path;
}

} // namespace fuzz
