#include "support/CliRunner.h"

#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>

namespace {

QByteArray readFile(const QString& path) {
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

// The component error a JSON answer carries.
QJsonObject errorOf(const CliResult& r) {
    return r.json()["error"].toObject();
}

} // namespace

TEST(CliAddress, NormalizesAndGivesTheServerForm) {
    const std::pair<QStringList, const char*> cases[] = {
        {{"normalize", "com1 :: baud = 19200"}, "COM1::Baud=19200"},
        {{"normalize", "COM1::Handshake=DTR_DSR,Baud=19200"}, "COM1::Baud=19200,Handshake=DTR_DSR"},
        {{"server-form", "COM2::Baud=19200"}, "COM2::Baud=19200,Handshake=XON_XOFF"},
        {{"normalize", "COM1", "--dtr-only"}, nullptr},
        {{"normalize", "COM4::Handshake=DTR_DSR", "--dtr-only"}, "COM4::Handshake=DTR_DSR"}};
    for (const auto& [args, expected] : cases) {
        SCOPED_TRACE(qPrintable(args.join(u' ')));
        const CliResult r = RunTavrel(QStringList{"--json", "address"} + args);
        if (expected) {
            EXPECT_EQ(r.exitCode, 0) << r.err.constData();
            EXPECT_EQ(r.json()["address"].toString(), expected);
        } else {
            EXPECT_EQ(r.exitCode, 1);
            EXPECT_EQ(errorOf(r)["number"].toString(), "0x8004017C");
            EXPECT_EQ(errorOf(r)["source"].toString(), "Tavrel Scope Control");
            EXPECT_EQ(errorOf(r)["description"].toString(), "Invalid property value.");
        }
    }
}

TEST(CliErrors, ComponentErrorsAndUsageErrorsHaveTheirExitCodes) {
    const CliResult refused = RunTavrel({"address", "normalize", "LPT1"});
    EXPECT_EQ(refused.exitCode, 1);
    EXPECT_EQ(refused.err.trimmed(),
              "tavrel: error 0x8004017C (Tavrel Scope Control): Invalid property value.");
    const QStringList usageErrors[] = {{"nonsense"},
                                       {"address"},
                                       {"--bogus", "strings"},
                                       {"address", "normalize"},
                                       {"strings", "--lang", "xx"}};
    for (const QStringList& args : usageErrors)
        EXPECT_EQ(RunTavrel(args).exitCode, 2) << qPrintable(args.join(u' '));
}

TEST(CliDoc, InitShowSetRoundTrip) {
    QTemporaryDir dir;
    const QString doc = dir.filePath("host.json");
    ASSERT_EQ(RunTavrel({"doc", "init", doc}).exitCode, 0);
    EXPECT_EQ(RunTavrel({"doc", "init", doc}).exitCode, 1) << "init never overwrites";
    const std::pair<const char*, const char*> sets[] = {
        {"ActiveIOPort", "COM2"},     {"ActivePortBaudRate", "19200"},
        {"ActivePortHandshake", "4"}, {"CountryCode", "34"},
        {"FontSize", "11"},           {"DebugEnabled", "true"},
        {"SupportMessageMode", "12"}, {"FontName", "Tahoma"}};
    for (const auto& [name, value] : sets) {
        const CliResult r = RunTavrel({"doc", "set", doc, name, value});
        ASSERT_EQ(r.exitCode, 0) << name << ": " << r.err.constData();
    }
    const CliResult shown = RunTavrel({"--json", "doc", "show", doc});
    ASSERT_EQ(shown.exitCode, 0);
    const QJsonObject o = shown.json();
    EXPECT_EQ(o["Address"].toString(), "COM2::Baud=19200,Handshake=DTR_DSR");
    EXPECT_EQ(o["CountryCode"].toInt(), 34);
    EXPECT_EQ(o["FontSize"].toInt(), 11);
    EXPECT_EQ(o["FontName"].toString(), "Tahoma");
    EXPECT_EQ(o["DebugEnabled"].toBool(), true);
    EXPECT_EQ(o["SupportMessageMode"].toInt(), 12);
    EXPECT_EQ(o["IOConfiguration"]["COM"]["COM2"]["baudRate"].toInt(), 19200);
    EXPECT_EQ(o["IOConfiguration"]["COM"]["COM2"]["handshake"].toInt(), 4);
    EXPECT_EQ(RunTavrel({"doc", "show", doc}).exitCode, 0);
}

TEST(CliDoc, RefusedValuesAndBadDocumentsLeaveTheFileUnchanged) {
    QTemporaryDir dir;
    const QString doc = dir.filePath("host.json");
    ASSERT_EQ(RunTavrel({"doc", "init", doc}).exitCode, 0);
    const QByteArray before = readFile(doc);
    const std::tuple<const char*, const char*, int> refused[] = {
        {"Address", "COM1::Baud=4800", 1},  {"CountryCode", "2", 1},        {"ActiveIOPort", "GPIB4", 1},
        {"ActivePortGPIBAddress", "31", 1}, {"FontSize", "abc", 2},         {"NoSuchProperty", "1", 2},
        {"ActivePortBaudRate", "19200", 1}, {"ActivePortHandshake", "0", 1}};
    for (const auto& [name, value, exitCode] : refused) {
        EXPECT_EQ(RunTavrel({"doc", "set", doc, name, value}).exitCode, exitCode) << name << "=" << value;
        EXPECT_EQ(readFile(doc), before) << name << "=" << value;
    }

    const QString bad = dir.filePath("bad.json");
    for (const QByteArray& content : {QByteArray("{\"FontSize\": \"big\"}"), QByteArray("{not json")}) {
        QFile f(bad);
        ASSERT_TRUE(f.open(QIODevice::WriteOnly | QIODevice::Truncate) && f.write(content) == content.size());
        f.close();
        const CliResult r = RunTavrel({"--json", "doc", "set", bad, "FontSize", "10"});
        EXPECT_EQ(r.exitCode, 1);
        EXPECT_TRUE(errorOf(r)["description"].toString().contains(bad)) << content.constData();
        EXPECT_EQ(readFile(bad), content);
    }
}

TEST(CliStrings, LooksUpTextsOfALanguage) {
    const CliResult english = RunTavrel({"--json", "strings", "104", "10"});
    ASSERT_EQ(english.exitCode, 0);
    const QJsonObject o = english.json();
    EXPECT_EQ(o["language"].toInt(), 1);
    EXPECT_EQ(o["strings"]["104"].toString(), "Tavrel Scope Control");
    EXPECT_EQ(o["strings"]["10"].toString(), "Tavrel.hlp");
    // A language by country code or by tag.
    for (const auto& [lang, count] : {std::pair{"81", 8}, std::pair{"fr", 158}}) {
        const CliResult all = RunTavrel({"--json", "strings", "--lang", lang, "--all"});
        ASSERT_EQ(all.exitCode, 0) << lang;
        EXPECT_EQ(all.json()["strings"].toObject().size(), count) << lang;
    }
}
