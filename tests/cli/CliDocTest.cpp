#include "support/CliRunner.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QProcess>
#include <QTemporaryDir>
#include <gtest/gtest.h>

namespace {

QByteArray readFile(const QString& path) {
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

} // namespace

TEST(CliAddress, NormalizesOrRefusesWithItsExitCode) {
    const QJsonObject refused{{"error", QJsonObject{{"number", "0x8004017C"},
                                                    {"source", "Tavrel Scope Control"},
                                                    {"description", "Invalid property value."}}}};
    const auto address = [](const char* text) { return QJsonObject{{"address", text}}; };
    const std::pair<QStringList, QJsonObject> cases[] = {
        {{"normalize", "com1 :: baud = 19200"}, address("COM1::Baud=19200")},
        {{"server-form", "COM2::Baud=19200"}, address("COM2::Baud=19200,Handshake=XON_XOFF")},
        {{"normalize", "COM1", "--dtr-only"}, refused},
        {{"normalize", "COM4::Handshake=DTR_DSR", "--dtr-only"}, address("COM4::Handshake=DTR_DSR")}};
    for (const auto& [args, answer] : cases) {
        const CliResult r = RunTavrel(QStringList{"--json", "address"} + args);
        EXPECT_EQ(r.exitCode, answer.contains("error") ? 1 : 0) << qPrintable(args.join(u' '));
        EXPECT_EQ(r.json(), answer) << r.out.constData();
    }
    // Without --json a refusal is one line on standard error; usage errors have their own exit code.
    const CliResult plain = RunTavrel({"address", "normalize", "LPT1"});
    EXPECT_EQ(plain.exitCode, 1);
    EXPECT_EQ(plain.err.trimmed(),
              "tavrel: error 0x8004017C (Tavrel Scope Control): Invalid property value.");
    for (const char* usageError :
         {"nonsense", "address", "--bogus strings", "address normalize", "strings --lang xx"})
        EXPECT_EQ(RunTavrel(QString(usageError).split(u' ')).exitCode, 2) << usageError;
}

TEST(CliDoc, InitShowSetRoundTrip) {
    QTemporaryDir dir;
    const QString doc = dir.filePath("host.json");
    ASSERT_EQ(RunTavrel({"doc", "init", doc}).exitCode, 0);
    EXPECT_EQ(RunTavrel({"doc", "init", doc}).exitCode, 1) << "init never overwrites";
    for (const char* set :
         {"ActiveIOPort=COM2", "ActivePortBaudRate=19200", "ActivePortHandshake=4", "CountryCode=34",
          "FontSize=11", "DebugEnabled=true", "SupportMessageMode=12", "FontName=Tahoma"}) {
        const CliResult r = RunTavrel(QStringList{"doc", "set", doc} + QString(set).split(u'='));
        ASSERT_EQ(r.exitCode, 0) << set << ": " << r.err.constData();
    }
    const CliResult shown = RunTavrel({"--json", "doc", "show", doc});
    ASSERT_EQ(shown.exitCode, 0);
    const QJsonObject o = shown.json();
    const QJsonObject expected = QJsonDocument::fromJson(R"({"Address": "COM2::Baud=19200,Handshake=DTR_DSR",
        "CountryCode": 34, "FontSize": 11, "FontName": "Tahoma", "DebugEnabled": true, "SupportMessageMode": 12})")
                                     .object();
    ASSERT_EQ(expected.size(), 6);
    for (const QString& name : expected.keys())
        EXPECT_EQ(o[name], expected[name]) << qPrintable(name);
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
        EXPECT_TRUE(r.json()["error"].toObject()["detail"].toString().contains(bad)) << content.constData();
        EXPECT_EQ(readFile(bad), content);
    }
}

// A value of the right type that the control refuses, or a number no property holds, keeps the
// component's number and text; the detail line names the file and the key.
TEST(CliDoc, RefusedStoredValuesNameTheFileAndKey) {
    QTemporaryDir dir;
    const QString doc = dir.filePath("host.json");
    const std::pair<const char*, const char*> cases[] = {
        {R"({"Address": "xyz"})", "Address"},
        {R"({"CountryCode": 999})", "CountryCode"},
        {R"({"TXDelay": -1})", "TXDelay"},
        {R"({"SearchCriteria": {"base64": "AAAA"}})", "SearchCriteria"},
        {R"({"FontSize": 4294967308})", "FontSize"},
        {R"({"FontSize": 12345678901234567890})", "FontSize"},
    };
    for (const auto& [content, key] : cases) {
        QFile f(doc);
        ASSERT_TRUE(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
        f.write(content);
        f.close();
        const CliResult r = RunTavrel({"--json", "doc", "show", doc});
        EXPECT_EQ(r.exitCode, 1) << content;
        const QJsonObject error = r.json()["error"].toObject();
        EXPECT_EQ(error["number"].toString(), "0x8004017C") << content;
        EXPECT_EQ(error["description"].toString(), "Invalid property value.") << content;
        const QString detail = error["detail"].toString();
        EXPECT_TRUE(detail.contains(doc) && detail.contains(QStringLiteral("\"%1\"").arg(key)))
            << content << ": " << detail.toStdString();
        const CliResult plain = RunTavrel({"doc", "set", doc, "FontName", "Arial"});
        EXPECT_EQ(plain.exitCode, 1) << content;
        EXPECT_TRUE(plain.err.contains(doc.toUtf8())) << plain.err.constData();
        EXPECT_EQ(readFile(doc), QByteArray(content));
    }
}

// A full disk (a file size limit, with the signal it raises ignored) fails the save with a clear
// error and a non-zero exit; the previous document stays whole.
TEST(CliDoc, SaveOnAFullDiskFailsAndKeepsThePreviousDocument) {
    QTemporaryDir dir;
    const QString doc = dir.filePath("host.json");
    ASSERT_EQ(RunTavrel({"doc", "init", doc}).exitCode, 0);
    const QByteArray before = readFile(doc);
    // The limit counts blocks of 512 bytes: none may be written.
    for (const char* limit : {"0"}) {
        QProcess process;
        process.start("/bin/sh",
                      {"-c", "trap '' XFSZ; ulimit -f $1; exec \"$0\" doc set \"$2\" FontName Tahoma",
                       TAVREL_BINARY_DIR "/bin/tavrel", limit, doc});
        ASSERT_TRUE(process.waitForFinished(60000));
        EXPECT_EQ(process.exitCode(), 1) << limit;
        const QByteArray err = process.readAllStandardError();
        EXPECT_TRUE(err.contains("Invalid property value.") && err.contains(doc.toUtf8())) << err.constData();
        EXPECT_EQ(readFile(doc), before) << limit;
        EXPECT_EQ(QDir(dir.path()).entryList(QDir::Files | QDir::Hidden), QStringList{"host.json"});
    }
    EXPECT_EQ(RunTavrel({"doc", "set", doc, "FontName", "Tahoma"}).exitCode, 0);
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
