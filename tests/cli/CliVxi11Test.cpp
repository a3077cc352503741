// The tool on VXI-11 addresses, against tavrel-sim's portmapper and VXI-11 server.

#include "support/CliRunner.h"

#include <QJsonArray>
#include <QTemporaryDir>
#include <gtest/gtest.h>

namespace {

// tavrel-sim with the default bench; the environment points the tool at its portmapper.
struct Vxi11Sim {
    bool start() {
        process.start(QStringLiteral(TAVREL_BINARY_DIR "/bin/tavrel-sim"), {"--quiet"});
        if (!process.waitForStarted(10000)) return false;
        while (true) {
            while (process.canReadLine()) {
                const QStringList f = QString::fromUtf8(process.readLine()).trimmed().split(u' ');
                if (f == QStringList{"ready"}) return env.contains("TAVREL_PORTMAPPER_PORT");
                if (f.size() == 4 && f[0] == "portmapper")
                    env.insert("TAVREL_PORTMAPPER_PORT", f[3].section(u':', 1));
            }
            if (!process.waitForReadyRead(10000)) return false;
        }
    }
    ~Vxi11Sim() {
        process.terminate();
        process.waitForFinished(10000);
    }
    QProcess process;
    QProcessEnvironment env = [] {
        QProcessEnvironment e = QProcessEnvironment::systemEnvironment();
        e.remove("TAVREL_IO"); // the real I/O library, not the in-process bench
        return e;
    }();
};

TEST(CliVxi11, IdnScpiConnectAndWaveformOverVxi11) {
    Vxi11Sim sim;
    ASSERT_TRUE(sim.start()) << "tavrel-sim did not get ready";
    const QString scope = "TCPIP0::127.0.0.1::gpib0,7::INSTR";
    // Each address with its identification code: a Tavrel scope, one without commas, and a device
    // name the server refuses.
    const std::pair<QString, int> cases[] = {
        {scope, 0}, {"TCPIP0::127.0.0.1::gpib0,3::INSTR", 3}, {"TCPIP0::127.0.0.1::gpib0,9::INSTR", 5}};
    for (const auto& [address, code] : cases) {
        const CliResult r = RunTavrel({"--json", "idn", address}, sim.env);
        EXPECT_EQ(r.exitCode, code >= 4 ? 1 : 0) << qPrintable(address) << r.err.constData();
        EXPECT_EQ(r.json()["code"].toInt(), code) << qPrintable(address);
    }
    const CliResult block = RunTavrel({"--json", "scpi", scope, ":SYSTem:SETup?"}, sim.env);
    ASSERT_EQ(block.exitCode, 0) << block.err.constData();
    EXPECT_TRUE(block.json()["block"].toBool());

    QTemporaryDir dir;
    const QString doc = dir.filePath("host.json");
    ASSERT_EQ(RunTavrel({"doc", "init", doc}).exitCode, 0);
    ASSERT_EQ(RunTavrel({"doc", "set", doc, "Address", scope}).exitCode, 0);
    const CliResult connected = RunTavrel({"--json", "--doc", doc, "connect", "--check-id"}, sim.env);
    ASSERT_EQ(connected.exitCode, 0) << connected.err.constData();
    EXPECT_EQ(connected.json()["connection"].toString(), scope);
    const CliResult waveform = RunTavrel({"--json", "--doc", doc, "waveform", "--points", "1000"}, sim.env);
    ASSERT_EQ(waveform.exitCode, 0) << waveform.err.constData();
    EXPECT_EQ(waveform.json()["traces"].toArray().at(0).toObject()["points"].toInt(), 1000);
}

} // namespace
