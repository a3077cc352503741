#pragma once

#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QStringList>

// Runs the built `tavrel` tool and keeps what it answered.
struct CliResult {
    int exitCode = -1;
    QByteArray out;
    QByteArray err;
    QJsonObject json() const { return QJsonDocument::fromJson(out).object(); }
};

inline CliResult RunTavrel(const QStringList& args,
                           const QProcessEnvironment& env = QProcessEnvironment::systemEnvironment(),
                           int timeoutMs = 60000) {
    QProcess process;
    process.setProcessEnvironment(env);
    process.start(QStringLiteral(TAVREL_BINARY_DIR "/bin/tavrel"), args);
    CliResult result;
    if (!process.waitForFinished(timeoutMs)) {
        process.kill();
        process.waitForFinished();
        return result;
    }
    result.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    result.out = process.readAllStandardOutput();
    result.err = process.readAllStandardError();
    return result;
}
