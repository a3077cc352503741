#include "support/CliRunner.h"

#include <QFile>
#include <QJsonArray>
#include <QTemporaryDir>
#include <gtest/gtest.h>

namespace {

CliResult sim(const QStringList& args) {
    return RunTavrel(QStringList{"--sim", "--json"} + args);
}

} // namespace

TEST(CliInstrument, IdnAndTestGiveTheIdentificationCode) {
    // Each address with its identification code; only a Tavrel scope (code 0) gives the maker's reply.
    const QStringList addresses =
        QString("GPIB0::7::INSTR GPIB0::3::INSTR GPIB0::22::INSTR GPIB3::7::INSTR COM1 COM2 COM3")
            .split(u' ');
    const int codes[] = {0, 3, 4, 5, 0, 4, 5};
    for (int i = 0; i < addresses.size(); ++i) {
        const CliResult r = sim({"idn", addresses[i]});
        // Silence (4) and a missing port (5) are failures; anything that answered is not.
        ASSERT_EQ(r.exitCode, codes[i] >= 4 ? 1 : 0) << qPrintable(addresses[i]) << r.err.constData();
        EXPECT_EQ(r.json()["code"].toInt(), codes[i]) << qPrintable(addresses[i]);
        const bool maker = r.json()["reply"].toString().startsWith("CORVANE TECHNOLOGIES,TV100A,");
        EXPECT_EQ(maker, codes[i] == 0) << qPrintable(addresses[i]);
    }
    EXPECT_EQ(sim({"idn", "LPT1"}).exitCode, 1);

    // The test command answers with the message box text.
    const QJsonObject found = sim({"test", "COM1"}).json();
    EXPECT_EQ(found["code"].toInt(), 0);
    EXPECT_EQ(found["title"].toString(), "Tavrel Instrument Test Result");
    const QString message = found["message"].toString();
    EXPECT_TRUE(message.startsWith(
        "Success -- Instrument was found and is a supported Tavrel-Series Scope.\r\n\r\n    "));
    EXPECT_TRUE(message.endsWith("At address:\r\n\r\n    COM1"));
}

TEST(CliInstrument, SearchListsRowsInProbeOrderAndMarksTheConnectedOne) {
    const CliResult r = sim({"search"});
    ASSERT_EQ(r.exitCode, 0) << r.err.constData();
    const QJsonObject o = r.json();
    QStringList rows;
    for (const QJsonValue& row : o["rows"].toArray())
        rows.append(row["address"].toString());
    EXPECT_EQ(rows,
              QString("COM1 GPIB0::3::INSTR GPIB0::7::INSTR GPIB0::12::INSTR GPIB0::22::INSTR").split(u' '));
    EXPECT_EQ(o["selected"].toInt(), 3);
    EXPECT_EQ(o["silent_com_ports"].toArray(), QJsonArray{"COM2"});
    EXPECT_EQ(o["com_ports_without_instruments"].toArray(), QJsonArray{"COM2"});
    EXPECT_TRUE(o["ports_not_found"].toArray().isEmpty());

    // A control whose address is the serial scope's has the COM1 row selected; at 19200 baud the
    // scope on COM1 (set to 9600) hears only garbage and nothing answers there.
    QTemporaryDir dir;
    const QString doc = dir.filePath("host.json");
    ASSERT_EQ(RunTavrel({"doc", "init", doc}).exitCode, 0);
    const std::tuple<const char*, const char*, int, QJsonArray> cases[] = {
        {"Address", "COM1", 1, {"COM2"}}, {"ActivePortBaudRate", "19200", -1, {"COM1", "COM2"}}};
    for (const auto& [name, value, selected, silent] : cases) {
        ASSERT_EQ(RunTavrel({"doc", "set", doc, name, value}).exitCode, 0) << name;
        const QJsonObject found = sim({"--doc", doc, "search"}).json();
        EXPECT_EQ(found["selected"].toInt(), selected) << name;
        EXPECT_EQ(found["silent_com_ports"].toArray(), silent) << name;
        EXPECT_EQ(found["com_ports_without_instruments"].toArray(), silent) << name;
    }
}

TEST(CliInstrument, PortsConnectAndScpiOnGoodAndBadBenches) {
    const CliResult ports = sim({"ports"});
    ASSERT_EQ(ports.exitCode, 0) << ports.err.constData();
    EXPECT_EQ(ports.json()["gpib"].toObject()["GPIB0"].toArray(), (QJsonArray{3, 7, 12, 22}));
    // A board with nobody listening on it is there all the same.
    EXPECT_EQ(ports.json()["gpib"].toObject()["GPIB1"], QJsonArray());
    EXPECT_EQ(ports.json()["com"].toArray(), (QJsonArray{"COM1", "COM2"}));
    EXPECT_TRUE(ports.json()["lan"].isArray() && ports.json()["usb"].isArray());
    QTemporaryDir lanDir;
    const QString doc = lanDir.filePath("lan.json");
    ASSERT_EQ(RunTavrel({"doc", "init", doc}).exitCode, 0);
    ASSERT_EQ(RunTavrel({"doc", "set", doc, "LANInstruments", "127.0.0.1;TCPIP0::127.0.0.1::5025::SOCKET"})
                  .exitCode,
              0);
    const CliResult listed = RunTavrel({"--json", "--sim", "--doc", doc, "ports"});
    ASSERT_EQ(listed.exitCode, 0) << listed.err.constData();
    const QJsonArray lan = listed.json()["lan"].toArray();
    EXPECT_TRUE(lan.contains("TCPIP0::127.0.0.1::inst0::INSTR") &&
                lan.contains("TCPIP0::127.0.0.1::5025::SOCKET"))
        << listed.out.constData();
    const CliResult connected = sim({"connect", "--check-id", "--reset"});
    ASSERT_EQ(connected.exitCode, 0) << connected.err.constData();
    EXPECT_EQ(connected.json()["connection"].toString(), "GPIB0::7::INSTR");
    EXPECT_TRUE(connected.json()["identity"].toString().contains("TV100A"));

    QTemporaryDir dir;
    const QString bench = dir.filePath("bench.json");
    QFile f(bench);
    ASSERT_TRUE(f.open(QIODevice::WriteOnly) && f.write("{\"gpib\": [{\"board\": 9, \"devices\": []}]}") > 0);
    f.close();
    const CliResult bad = RunTavrel({"--sim=" + bench, "ports"});
    EXPECT_EQ(bad.exitCode, 1);
    EXPECT_TRUE(bad.err.contains(bench.toUtf8()));

    // scpi writes a command and reads lines and blocks.
    const QString out = dir.filePath("setup.bin");
    const CliResult block = sim({"scpi", "GPIB0::7::INSTR", ":SYSTem:SETup?", "--out", out});
    ASSERT_EQ(block.exitCode, 0) << block.err.constData();
    EXPECT_TRUE(block.json()["block"].toBool());
    const int bytes = block.json()["bytes"].toInt();
    const QString header = block.json()["header"].toString();
    EXPECT_EQ(header, QStringLiteral("#%1%2").arg(QString::number(bytes).size()).arg(bytes));
    EXPECT_EQ(QFile(out).size(), header.size() + bytes) << "saved exactly as received";

    // A command without "?" is only written; the query after it sees its effect.
    EXPECT_EQ(sim({"scpi", "COM1", ":CHANnel2:SCALe 2"}).exitCode, 0);
    const CliResult line = sim({"scpi", "COM1", ":CHAN2:SCAL 0.2;:CHAN2:SCAL?"});
    EXPECT_DOUBLE_EQ(line.json()["reply"].toString().toDouble(), 0.2);

    const CliResult silent = sim({"scpi", "GPIB0::22::INSTR", "*IDN?", "--timeout", "300"});
    EXPECT_EQ(silent.exitCode, 1);
    EXPECT_TRUE(silent.err.contains("GPIB0::22::INSTR"));
    EXPECT_EQ(sim({"scpi", "GPIB3::1::INSTR", "*IDN?"}).exitCode, 1);
}
