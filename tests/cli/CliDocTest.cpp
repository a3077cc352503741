#include "support/CliRunner.h"

#include <QFile>
#include <QJsonArray>
#include <QTemporaryDir>
#include <gtest/gtest.h>

namespace {

QByteArray readFile(const QString& path) {
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

} // namespace

TEST(CliAddress, NormalizesAndGivesTheServerForm) {
    const struct {
        QStringList args;
        const char* expected;
    } cases[] = {
        {{QStringLiteral("address"), QStringLiteral("normalize"), QStringLiteral("com1 :: baud = 19200")},
         "COM1::Baud=19200"},
        {{QStringLiteral("address"), QStringLiteral("normalize"),
          QStringLiteral("COM1::Handshake=DTR_DSR,Baud=19200")},
         "COM1::Baud=19200,Handshake=DTR_DSR"},
        {{QStringLiteral("address"), QStringLiteral("server-form"), QStringLiteral("COM2::Baud=19200")},
         "COM2::Baud=19200,Handshake=XON_XOFF"},
        {{QStringLiteral("address"), QStringLiteral("normalize"), QStringLiteral("COM1"),
          QStringLiteral("--dtr-only")},
         nullptr},
        {{QStringLiteral("address"), QStringLiteral("normalize"), QStringLiteral("COM4::Handshake=DTR_DSR"),
          QStringLiteral("--dtr-only")},
         "COM4::Handshake=DTR_DSR"},
    };
    for (const auto& c : cases) {
        const CliResult r = RunTavrel(QStringList{QStringLiteral("--json")} + c.args);
        if (c.expected) {
            EXPECT_EQ(r.exitCode, 0) << r.err.constData();
            EXPECT_EQ(r.json().value(QStringLiteral("address")).toString(), QLatin1String(c.expected));
        } else {
            EXPECT_EQ(r.exitCode, 1);
            const QJsonObject error = r.json().value(QStringLiteral("error")).toObject();
            EXPECT_EQ(error.value(QStringLiteral("number")).toString(), QStringLiteral("0x8004017C"));
            EXPECT_EQ(error.value(QStringLiteral("source")).toString(),
                      QStringLiteral("Tavrel Scope Control"));
            EXPECT_EQ(error.value(QStringLiteral("description")).toString(),
                      QStringLiteral("Invalid property value."));
        }
    }
}

TEST(CliErrors, ComponentErrorsAndUsageErrorsHaveTheirExitCodes) {
    const CliResult refused =
        RunTavrel({QStringLiteral("address"), QStringLiteral("normalize"), QStringLiteral("LPT1")});
    EXPECT_EQ(refused.exitCode, 1);
    EXPECT_EQ(refused.err.trimmed(),
              QByteArray("tavrel: error 0x8004017C (Tavrel Scope Control): Invalid property value."));
    for (const QStringList& args :
         {QStringList{QStringLiteral("nonsense")}, QStringList{QStringLiteral("address")},
          QStringList{QStringLiteral("--bogus"), QStringLiteral("strings")},
          QStringList{QStringLiteral("address"), QStringLiteral("normalize")},
          QStringList{QStringLiteral("strings"), QStringLiteral("--lang"), QStringLiteral("xx")}})
        EXPECT_EQ(RunTavrel(args).exitCode, 2) << args.join(u' ').toStdString();
}

TEST(CliDoc, InitShowSetRoundTrip) {
    QTemporaryDir dir;
    const QString doc = dir.filePath(QStringLiteral("host.json"));
    ASSERT_EQ(RunTavrel({QStringLiteral("doc"), QStringLiteral("init"), doc}).exitCode, 0);
    EXPECT_EQ(RunTavrel({QStringLiteral("doc"), QStringLiteral("init"), doc}).exitCode, 1)
        << "init never overwrites";

    const struct {
        const char* name;
        const char* value;
    } sets[] = {{"ActiveIOPort", "COM2"},     {"ActivePortBaudRate", "19200"},
                {"ActivePortHandshake", "4"}, {"CountryCode", "34"},
                {"FontSize", "11"},           {"DebugEnabled", "true"},
                {"SupportMessageMode", "12"}, {"FontName", "Tahoma"}};
    for (const auto& s : sets) {
        const CliResult r = RunTavrel({QStringLiteral("doc"), QStringLiteral("set"), doc,
                                       QLatin1String(s.name), QLatin1String(s.value)});
        ASSERT_EQ(r.exitCode, 0) << s.name << ": " << r.err.constData();
    }
    const CliResult shown =
        RunTavrel({QStringLiteral("--json"), QStringLiteral("doc"), QStringLiteral("show"), doc});
    ASSERT_EQ(shown.exitCode, 0);
    const QJsonObject o = shown.json();
    EXPECT_EQ(o.value(QStringLiteral("Address")).toString(),
              QStringLiteral("COM2::Baud=19200,Handshake=DTR_DSR"));
    EXPECT_EQ(o.value(QStringLiteral("CountryCode")).toInt(), 34);
    EXPECT_EQ(o.value(QStringLiteral("FontSize")).toInt(), 11);
    EXPECT_EQ(o.value(QStringLiteral("FontName")).toString(), QStringLiteral("Tahoma"));
    EXPECT_EQ(o.value(QStringLiteral("DebugEnabled")).toBool(), true);
    EXPECT_EQ(o.value(QStringLiteral("SupportMessageMode")).toInt(), 12);
    const QJsonObject com2 = o.value(QStringLiteral("IOConfiguration"))
                                 .toObject()
                                 .value(QStringLiteral("COM"))
                                 .toObject()
                                 .value(QStringLiteral("COM2"))
                                 .toObject();
    EXPECT_EQ(com2.value(QStringLiteral("baudRate")).toInt(), 19200);
    EXPECT_EQ(com2.value(QStringLiteral("handshake")).toInt(), 4);
    EXPECT_EQ(RunTavrel({QStringLiteral("doc"), QStringLiteral("show"), doc}).exitCode, 0);
}

TEST(CliDoc, RefusedValuesAndBadDocumentsLeaveTheFileUnchanged) {
    QTemporaryDir dir;
    const QString doc = dir.filePath(QStringLiteral("host.json"));
    ASSERT_EQ(RunTavrel({QStringLiteral("doc"), QStringLiteral("init"), doc}).exitCode, 0);
    const QByteArray before = readFile(doc);
    const struct {
        const char* name;
        const char* value;
        int exitCode;
    } refused[] = {
        {"Address", "COM1::Baud=4800", 1},  {"CountryCode", "2", 1},        {"ActiveIOPort", "GPIB4", 1},
        {"ActivePortGPIBAddress", "31", 1}, {"FontSize", "abc", 2},         {"NoSuchProperty", "1", 2},
        {"ActivePortBaudRate", "19200", 1}, {"ActivePortHandshake", "0", 1}};
    for (const auto& r : refused) {
        const CliResult result = RunTavrel({QStringLiteral("doc"), QStringLiteral("set"), doc,
                                            QLatin1String(r.name), QLatin1String(r.value)});
        EXPECT_EQ(result.exitCode, r.exitCode) << r.name << "=" << r.value;
        EXPECT_EQ(readFile(doc), before) << r.name << "=" << r.value;
    }

    const QString bad = dir.filePath(QStringLiteral("bad.json"));
    for (const QByteArray& content : {QByteArray("{\"FontSize\": \"big\"}"), QByteArray("{not json")}) {
        QFile f(bad);
        ASSERT_TRUE(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
        f.write(content);
        f.close();
        const CliResult result =
            RunTavrel({QStringLiteral("--json"), QStringLiteral("doc"), QStringLiteral("set"), bad,
                       QStringLiteral("FontSize"), QStringLiteral("10")});
        EXPECT_EQ(result.exitCode, 1);
        EXPECT_TRUE(result.json()
                        .value(QStringLiteral("error"))
                        .toObject()
                        .value(QStringLiteral("description"))
                        .toString()
                        .contains(bad));
        EXPECT_EQ(readFile(bad), content);
    }
}

TEST(CliStrings, LooksUpTextsOfALanguage) {
    const CliResult english = RunTavrel(
        {QStringLiteral("--json"), QStringLiteral("strings"), QStringLiteral("104"), QStringLiteral("10")});
    ASSERT_EQ(english.exitCode, 0);
    EXPECT_EQ(english.json().value(QStringLiteral("language")).toInt(), 1);
    const QJsonObject strings = english.json().value(QStringLiteral("strings")).toObject();
    EXPECT_EQ(strings.value(QStringLiteral("104")).toString(), QStringLiteral("Tavrel Scope Control"));
    EXPECT_EQ(strings.value(QStringLiteral("10")).toString(), QStringLiteral("Tavrel.hlp"));

    const CliResult japanese =
        RunTavrel({QStringLiteral("--json"), QStringLiteral("strings"), QStringLiteral("--lang"),
                   QStringLiteral("81"), QStringLiteral("--all")});
    ASSERT_EQ(japanese.exitCode, 0);
    EXPECT_EQ(japanese.json().value(QStringLiteral("strings")).toObject().keys().size(), 8);
    const CliResult french =
        RunTavrel({QStringLiteral("--json"), QStringLiteral("strings"), QStringLiteral("--lang"),
                   QStringLiteral("fr"), QStringLiteral("--all")});
    EXPECT_EQ(french.json().value(QStringLiteral("strings")).toObject().keys().size(), 158);
}
