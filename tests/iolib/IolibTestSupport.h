#pragma once

#include "iolib/IOError.h"

#include <QElapsedTimer>
#include <QMap>
#include <QProcess>
#include <QTemporaryFile>
#include <functional>
#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

// Sets (or unsets) an environment variable for one test and puts the old value back afterwards.
class EnvironmentGuard {
public:
    EnvironmentGuard(const char* name, const QByteArray& value, bool set = true)
        : m_name(name), m_wasSet(qEnvironmentVariableIsSet(name)), m_old(qgetenv(name)) {
        set ? void(qputenv(name, value)) : void(qunsetenv(name));
    }
    ~EnvironmentGuard() { m_wasSet ? void(qputenv(m_name, m_old)) : void(qunsetenv(m_name)); }
    EnvironmentGuard(const EnvironmentGuard&) = delete;

private:
    const char* m_name;
    bool m_wasSet;
    QByteArray m_old;
};

struct Failure {
    CorvaneIOUtilsLib::IOError::Kind kind = CorvaneIOUtilsLib::IOError::Io;
    QString message;
    qint64 elapsedMs = 0;
    std::string kindName() const { return CorvaneIOUtilsLib::IOError::kindName(kind).toStdString(); }
};

// The IOError a body throws, and how long it took to come.
inline Failure failureOf(const std::function<void()>& body) {
    QElapsedTimer clock;
    clock.start();
    try {
        body();
    } catch (const CorvaneIOUtilsLib::IOError& error) {
        return {error.kind(), error.message(), clock.elapsed()};
    }
    ADD_FAILURE() << "no error";
    return {};
}

// Good instruments on GPIB0::7, GPIB0::12, COM1 and COM2 (a 2400 7E2 DTR/DSR line); each fault elsewhere.
inline const QByteArray kBench = R"({
  "gpib": [{"board": 0, "devices": [
    {"address": 1, "kind": "tavrel", "faults": {"reply_delay_ms": 5000}},
    {"address": 2, "kind": "tavrel", "faults": {"drop_after_bytes": 10}},
    {"address": 4, "kind": "tavrel", "faults": {"truncate_blocks": 5}},
    {"address": 5, "kind": "silent"},
    {"address": 7, "kind": "tavrel", "serial": "CT41000107"},
    {"address": 12, "kind": "tavrel", "model": "TV200B"}]}, {"board": 1, "devices": []}],
  "com": [{"port": 1, "device": {"kind": "tavrel"}},
    {"port": 2, "device": {"kind": "tavrel", "baud": 2400, "parity": "even", "data_bits": 7,
                           "stop_bits": 2, "handshake": "DTR_DSR"}},
    {"port": 3, "device": {"kind": "tavrel", "faults": {"truncate_blocks": 5}}}, {"port": 4}]
})";

inline QString benchFile() {
    static QTemporaryFile file;
    if (!file.isOpen() && !(file.open() && file.write(kBench) == kBench.size() && file.flush())) return {};
    return file.fileName();
}

// tavrel-sim serving the bench above: each resource's TCP port or pseudo-terminal.
struct SimProcess {
    bool start() {
        process.start(u"" TAVREL_BINARY_DIR "/bin/tavrel-sim"_s, {"--quiet", "--bench", benchFile()});
        if (!process.waitForStarted(10000)) return false;
        while (true) {
            while (process.canReadLine()) {
                const QStringList f = QString::fromUtf8(process.readLine()).trimmed().split(QLatin1Char(' '));
                if (f == QStringList{u"ready"_s}) return true;
                if (f.size() >= 4) endpoints[f[0] + QLatin1Char(' ') + f[2]] = f[3];
            }
            if (!process.waitForReadyRead(10000)) return false;
        }
    }
    ~SimProcess() {
        process.terminate();
        process.waitForFinished(10000);
    }
    QString socket(const QString& resource) const {
        const QString at = endpoints.value(resource + u" tcp"_s);
        return at.isEmpty() ? at : u"TCPIP0::%1::SOCKET"_s.arg(QString(at).replace(':', "::"));
    }
    // The resource's VXI-11 address; TAVREL_PORTMAPPER_PORT must name portmapperPort().
    QString vxi11(const QString& resource) const { return endpoints.value(resource + u" vxi11"_s); }
    QString hislip(const QString& resource) const { return endpoints.value(resource + u" hislip"_s); }
    QByteArray portmapperPort() const {
        return endpoints.value(u"portmapper tcp"_s).section(':', 1).toLatin1();
    }

    QProcess process;
    // "<resource> tcp|pty|vxi11|hislip" -> 127.0.0.1:port, /dev/pts/n or a TCPIP0::127.0.0.1::...::INSTR;
    // "portmapper tcp" -> 127.0.0.1:port
    QMap<QString, QString> endpoints;
};
