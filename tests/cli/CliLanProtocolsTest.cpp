// The tool on VXI-11 and HiSLIP addresses, against tavrel-sim's portmapper, VXI-11 and HiSLIP servers.

#include "support/CliRunner.h"

#include <QJsonArray>
#include <QTemporaryDir>
#include <gtest/gtest.h>

namespace {

// tavrel-sim with the default bench; the environment points the tool at its portmapper, and hislip
// holds each instrument's HiSLIP address.
struct LanSim {
    bool start() {
        process.start(QStringLiteral(TAVREL_BINARY_DIR "/bin/tavrel-sim"), {"--quiet"});
        if (!process.waitForStarted(10000)) return false;
        while (true) {
            while (process.canReadLine()) {
                const QStringList f = QString::fromUtf8(process.readLine()).trimmed().split(u' ');
                if (f == QStringList{"ready"}) return env.contains("TAVREL_PORTMAPPER_PORT");
                if (f.size() == 4 && f[0] == "portmapper")
                    env.insert("TAVREL_PORTMAPPER_PORT", f[3].section(u':', 1));
                if (f.size() == 4 && f[2] == "hislip") hislip.insert(f[0], f[3]);
            }
            if (!process.waitForReadyRead(10000)) return false;
        }
    }
    ~LanSim() {
        process.terminate();
        process.waitForFinished(10000);
    }
    QProcess process;
    QMap<QString, QString> hislip;
    QProcessEnvironment env = [] {
        QProcessEnvironment e = QProcessEnvironment::systemEnvironment();
        e.remove("TAVREL_IO"); // the real I/O library, not the in-process bench
        return e;
    }();
};

TEST(CliLanProtocols, IdnScpiConnectAndWaveformOverVxi11AndHislip) {
    LanSim sim;
    ASSERT_TRUE(sim.start()) << "tavrel-sim did not get ready";
    const QString hislipPort = sim.hislip.value("GPIB0::7::INSTR").section(u',', 1).section(u':', 0, 0);
    // Per protocol: the scope, an instrument that answers without commas, and an address the server
    // refuses, each with its identification code.
    const struct {
        const char* protocol;
        QString scope, noComma, refused;
    } protocols[] = {
        {"VXI-11", "TCPIP0::127.0.0.1::gpib0,7::INSTR", "TCPIP0::127.0.0.1::gpib0,3::INSTR",
         "TCPIP0::127.0.0.1::gpib0,9::INSTR"},
        {"HiSLIP", sim.hislip.value("GPIB0::7::INSTR"), sim.hislip.value("GPIB0::3::INSTR"),
         "TCPIP0::127.0.0.1::hislip99," + hislipPort + "::INSTR"},
    };
    for (const auto& p : protocols) {
        SCOPED_TRACE(p.protocol);
        for (const auto& [address, code] :
             {std::pair{p.scope, 0}, std::pair{p.noComma, 3}, std::pair{p.refused, 5}}) {
            const CliResult r = RunTavrel({"--json", "idn", address}, sim.env);
            EXPECT_EQ(r.exitCode, code >= 4 ? 1 : 0) << qPrintable(address) << r.err.constData();
            EXPECT_EQ(r.json()["code"].toInt(), code) << qPrintable(address);
        }
        const CliResult block = RunTavrel({"--json", "scpi", p.scope, ":SYSTem:SETup?"}, sim.env);
        ASSERT_EQ(block.exitCode, 0) << block.err.constData();
        EXPECT_TRUE(block.json()["block"].toBool());

        QTemporaryDir dir;
        const QString doc = dir.filePath("host.json");
        ASSERT_EQ(RunTavrel({"doc", "init", doc}).exitCode, 0);
        ASSERT_EQ(RunTavrel({"doc", "set", doc, "Address", p.scope}).exitCode, 0);
        const CliResult connected = RunTavrel({"--json", "--doc", doc, "connect", "--check-id"}, sim.env);
        ASSERT_EQ(connected.exitCode, 0) << connected.err.constData();
        EXPECT_EQ(connected.json()["connection"].toString(), p.scope);
        const CliResult waveform =
            RunTavrel({"--json", "--doc", doc, "waveform", "--points", "1000"}, sim.env);
        ASSERT_EQ(waveform.exitCode, 0) << waveform.err.constData();
        EXPECT_EQ(waveform.json()["traces"].toArray().at(0).toObject()["points"].toInt(), 1000);
    }
}

} // namespace
