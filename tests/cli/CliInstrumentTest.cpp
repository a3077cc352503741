#include "support/CliRunner.h"

#include <QFile>
#include <QJsonArray>
#include <QTemporaryDir>
#include <gtest/gtest.h>

namespace {

CliResult sim(const QStringList& args) {
    return RunTavrel(QStringList{QStringLiteral("--sim"), QStringLiteral("--json")} + args);
}

QStringList addresses(const QJsonObject& search) {
    QStringList list;
    for (const QJsonValue& row : search.value(QStringLiteral("rows")).toArray())
        list.append(row.toObject().value(QStringLiteral("address")).toString());
    return list;
}

} // namespace

TEST(CliInstrument, PortsListsTheDefaultBench) {
    const CliResult r = sim({QStringLiteral("ports")});
    ASSERT_EQ(r.exitCode, 0) << r.err.constData();
    EXPECT_EQ(r.json().value(QStringLiteral("gpib")).toObject().value(QStringLiteral("GPIB0")).toArray(),
              (QJsonArray{3, 7, 12, 22}));
    EXPECT_EQ(r.json().value(QStringLiteral("com")).toArray(), (QJsonArray{QStringLiteral("COM1"), QStringLiteral("COM2")}));
}

TEST(CliInstrument, IdnGivesTheIdentificationCode) {
    const struct {
        const char* address;
        int code;
        const char* replyStart;
    } cases[] = {
        {"GPIB0::7::INSTR", 0, "CORVANE TECHNOLOGIES,TV100A,"},
        {"GPIB0::3::INSTR", 3, ""},
        {"GPIB0::22::INSTR", 4, ""},
        {"GPIB3::7::INSTR", 5, ""},
        {"COM1", 0, "CORVANE TECHNOLOGIES,"},
        {"COM2", 4, ""},
        {"COM3", 5, ""},
    };
    for (const auto& c : cases) {
        const CliResult r = sim({QStringLiteral("idn"), QLatin1String(c.address)});
        ASSERT_EQ(r.exitCode, 0) << c.address << r.err.constData();
        EXPECT_EQ(r.json().value(QStringLiteral("code")).toInt(), c.code) << c.address;
        EXPECT_TRUE(r.json().value(QStringLiteral("reply")).toString().startsWith(QLatin1String(c.replyStart))) << c.address;
    }
    EXPECT_EQ(sim({QStringLiteral("idn"), QStringLiteral("LPT1")}).exitCode, 1);
}

TEST(CliInstrument, TestPrintsTheMessageBoxText) {
    const CliResult found = sim({QStringLiteral("test"), QStringLiteral("COM1")});
    ASSERT_EQ(found.exitCode, 0);
    EXPECT_EQ(found.json().value(QStringLiteral("code")).toInt(), 0);
    EXPECT_EQ(found.json().value(QStringLiteral("title")).toString(), QStringLiteral("Tavrel Instrument Test Result"));
    const QString message = found.json().value(QStringLiteral("message")).toString();
    EXPECT_TRUE(message.startsWith(
        QStringLiteral("Success -- Instrument was found and is a supported Tavrel-Series Scope.\r\n\r\n    ")));
    EXPECT_TRUE(message.endsWith(QStringLiteral("At address:\r\n\r\n    COM1")));

    const CliResult silent = sim({QStringLiteral("test"), QStringLiteral("GPIB0::22::INSTR")});
    EXPECT_EQ(silent.json().value(QStringLiteral("code")).toInt(), 4);
    EXPECT_TRUE(silent.json().value(QStringLiteral("message")).toString().startsWith(
        QStringLiteral("Instrument NOT found.\r\n\r\nAt address:\r\n\r\n    GPIB0::22::INSTR")));
}

TEST(CliInstrument, SearchListsRowsInProbeOrderAndMarksTheConnectedOne) {
    const CliResult r = sim({QStringLiteral("search")});
    ASSERT_EQ(r.exitCode, 0) << r.err.constData();
    EXPECT_EQ(addresses(r.json()), (QStringList{QStringLiteral("COM1"), QStringLiteral("GPIB0::3::INSTR"),
                                                QStringLiteral("GPIB0::7::INSTR"), QStringLiteral("GPIB0::12::INSTR"),
                                                QStringLiteral("GPIB0::22::INSTR")}));
    EXPECT_EQ(r.json().value(QStringLiteral("selected")).toInt(), 3);
    EXPECT_EQ(r.json().value(QStringLiteral("silent_com_ports")).toArray(), QJsonArray{QStringLiteral("COM2")});
    EXPECT_TRUE(r.json().value(QStringLiteral("ports_not_found")).toArray().isEmpty());

    // A control whose address is the serial scope's has the COM1 row selected.
    QTemporaryDir dir;
    const QString doc = dir.filePath(QStringLiteral("host.json"));
    ASSERT_EQ(RunTavrel({QStringLiteral("doc"), QStringLiteral("init"), doc}).exitCode, 0);
    ASSERT_EQ(RunTavrel({QStringLiteral("doc"), QStringLiteral("set"), doc, QStringLiteral("Address"),
                         QStringLiteral("COM1")})
                  .exitCode,
              0);
    const CliResult serial = RunTavrel({QStringLiteral("--sim"), QStringLiteral("--json"), QStringLiteral("--doc"), doc,
                                        QStringLiteral("search")});
    EXPECT_EQ(serial.json().value(QStringLiteral("selected")).toInt(), 1);

    // At 19200 baud the scope on COM1 (set to 9600) hears only garbage: nothing answers there.
    ASSERT_EQ(RunTavrel({QStringLiteral("doc"), QStringLiteral("set"), doc, QStringLiteral("ActivePortBaudRate"),
                         QStringLiteral("19200")})
                  .exitCode,
              0);
    const CliResult mismatched = RunTavrel({QStringLiteral("--sim"), QStringLiteral("--json"), QStringLiteral("--doc"),
                                            doc, QStringLiteral("search")});
    EXPECT_EQ(mismatched.json().value(QStringLiteral("selected")).toInt(), -1);
    EXPECT_EQ(mismatched.json().value(QStringLiteral("silent_com_ports")).toArray(),
              (QJsonArray{QStringLiteral("COM1"), QStringLiteral("COM2")}));
}

TEST(CliInstrument, ConnectAndBadBenches) {
    const CliResult connected = sim({QStringLiteral("connect"), QStringLiteral("--check-id"), QStringLiteral("--reset")});
    ASSERT_EQ(connected.exitCode, 0) << connected.err.constData();
    EXPECT_EQ(connected.json().value(QStringLiteral("connection")).toString(), QStringLiteral("GPIB0::7::INSTR"));
    EXPECT_TRUE(connected.json().value(QStringLiteral("identity")).toString().contains(QStringLiteral("TV100A")));

    QTemporaryDir dir;
    const QString bench = dir.filePath(QStringLiteral("bench.json"));
    QFile f(bench);
    ASSERT_TRUE(f.open(QIODevice::WriteOnly));
    f.write("{\"gpib\": [{\"board\": 9, \"devices\": []}]}");
    f.close();
    const CliResult bad = RunTavrel({QStringLiteral("--sim=") + bench, QStringLiteral("ports")});
    EXPECT_EQ(bad.exitCode, 1);
    EXPECT_TRUE(bad.err.contains(bench.toUtf8()));
}

TEST(CliInstrument, ScpiWritesAndReadsLinesAndBlocks) {
    QTemporaryDir dir;
    const QString out = dir.filePath(QStringLiteral("setup.bin"));
    const CliResult block =
        sim({QStringLiteral("scpi"), QStringLiteral("GPIB0::7::INSTR"), QStringLiteral(":SYSTem:SETup?"),
             QStringLiteral("--out"), out});
    ASSERT_EQ(block.exitCode, 0) << block.err.constData();
    EXPECT_TRUE(block.json().value(QStringLiteral("block")).toBool());
    const int bytes = block.json().value(QStringLiteral("bytes")).toInt();
    const QString header = block.json().value(QStringLiteral("header")).toString();
    EXPECT_EQ(header, QStringLiteral("#%1%2").arg(QString::number(bytes).size()).arg(bytes));
    QFile saved(out);
    ASSERT_TRUE(saved.open(QIODevice::ReadOnly));
    EXPECT_EQ(saved.size(), header.size() + bytes) << "saved exactly as received";

    // A command without "?" is only written; the query after it sees its effect.
    EXPECT_EQ(sim({QStringLiteral("scpi"), QStringLiteral("COM1"), QStringLiteral(":CHANnel2:SCALe 2")}).exitCode, 0);
    const CliResult line =
        sim({QStringLiteral("scpi"), QStringLiteral("COM1"), QStringLiteral(":CHAN2:SCAL 0.2;:CHAN2:SCAL?")});
    EXPECT_DOUBLE_EQ(line.json().value(QStringLiteral("reply")).toString().toDouble(), 0.2);

    const CliResult silent = sim({QStringLiteral("scpi"), QStringLiteral("GPIB0::22::INSTR"), QStringLiteral("*IDN?"),
                                  QStringLiteral("--timeout"), QStringLiteral("300")});
    EXPECT_EQ(silent.exitCode, 1);
    EXPECT_TRUE(silent.err.contains("GPIB0::22::INSTR"));
    EXPECT_EQ(sim({QStringLiteral("scpi"), QStringLiteral("GPIB3::1::INSTR"), QStringLiteral("*IDN?")}).exitCode, 1);
}
