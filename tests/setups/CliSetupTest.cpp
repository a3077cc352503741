#include "SetupTestSupport.h"

#include "sim/SimBench.h"
#include "support/CliRunner.h"

#include <QJsonArray>
#include <QTemporaryDir>

namespace {

class CliSetup : public ::testing::Test {
protected:
    void SetUp() override {
        doc = path("doc.json");
        ASSERT_EQ(RunTavrel({"doc", "init", doc}).exitCode, 0);
    }
    // A command on the document against the simulated bench, machine-readable.
    CliResult run(const QStringList& args, const QString& benchFile = {}) {
        const QString sim =
            benchFile.isEmpty() ? QStringLiteral("--sim") : QStringLiteral("--sim=") + benchFile;
        return RunTavrel(QStringList{sim, "--json", "--doc", doc} + args);
    }
    QString path(const char* name) const { return dir.filePath(QLatin1String(name)); }

    QTemporaryDir dir;
    QString doc;
};

QJsonObject errorOf(const CliResult& r) {
    return r.json().value(QStringLiteral("error")).toObject();
}

} // namespace

TEST_F(CliSetup, GetSaveInfoLoadSendAgainstTheSimulatedScope) {
    ASSERT_EQ(run({"setup", "add", "Bench", "--comments", "  first scope "}).exitCode, 0);
    const CliResult got = run({"setup", "get", "Bench"});
    ASSERT_EQ(got.exitCode, 0) << got.err.constData();
    const int bytes = got.json().value(QStringLiteral("bytes")).toInt();
    EXPECT_GT(bytes, 100);
    const CliResult list = run({"setup", "list"});
    EXPECT_EQ(list.json(), (QJsonObject{{"setups", QJsonArray{QJsonObject{{"name", "Bench"},
                                                                          {"model", "TV100A"},
                                                                          {"version", "A.01.02"},
                                                                          {"comments", "first scope"},
                                                                          {"bytes", bytes}}}},
                                        {"last", "Bench"}}));

    const QString scp = path("bench.scp");
    ASSERT_EQ(run({"setup", "save", "Bench", scp}).exitCode, 0);
    const CliResult info = run({"setup", "info", scp});
    EXPECT_EQ(info.json(), (QJsonObject{{"format", "scp"},
                                        {"model", "TV100A"},
                                        {"company", "Corvane Technologies"},
                                        {"version", "A.01.02"},
                                        {"comments", "first scope"},
                                        {"extra", QJsonArray{"", "", "", ""}},
                                        {"bytes", bytes},
                                        {"header_length", fileBytes(scp).size() - bytes}}));

    // The same block as Slatework keeps it: loaded into a setup of another name, sent to the scope.
    writeFile(path("bench.stp"), "STP1.00\n1\n\nVELTV100A\n:SYSTEM:SETUP " + fileBytes(scp).right(bytes));
    ASSERT_EQ(run({"setup", "add", "Slate"}).exitCode, 0);
    const CliResult loaded = run({"setup", "load", "slate", path("bench.stp")});
    ASSERT_EQ(loaded.exitCode, 0) << loaded.err.constData();
    EXPECT_EQ(loaded.json().value(QStringLiteral("name")).toString(), QStringLiteral("Slate"));
    EXPECT_EQ(loaded.json().value(QStringLiteral("version")).toString(), QStringLiteral("X.XX.XX"));
    EXPECT_EQ(loaded.json().value(QStringLiteral("bytes")).toInt(), bytes);
    const CliResult sent = run({"setup", "send", "Slate"});
    ASSERT_EQ(sent.exitCode, 0) << sent.err.constData();
    EXPECT_EQ(run({"setup", "list"}).json().value(QStringLiteral("last")).toString(),
              QStringLiteral("Slate"));
    ASSERT_EQ(run({"setup", "remove", "Slate"}).exitCode, 0);
    EXPECT_EQ(run({"setup", "list"}).json().value(QStringLiteral("last")).toString(), QString());
}

TEST_F(CliSetup, RefusedChangesLeaveTheDocumentAsItWas) {
    ASSERT_EQ(run({"setup", "add", "Bench"}).exitCode, 0);
    ASSERT_EQ(run({"setup", "add", "Empty"}).exitCode, 0);
    ASSERT_EQ(run({"setup", "get", "Bench"}).exitCode, 0);
    const QString noCommaBench =
        writeFile(path("bench.json"), tavrelsim::SimBench::defaultBenchJson().replace(
                                          R"("firmware": "A.01.02"})",
                                          R"("firmware": "A.01.02", "faults": {"no_comma": true}})"));
    const struct {
        QStringList args;
        const char *number, *source;
        QString benchFile;
    } cases[] = {
        {{"setup", "add", "bench"}, "0x1C9", "Tavrel Scope Control", {}},
        {{"setup", "add", "two words"}, "0x8004017C", "Tavrel Scope Control", {}},
        {{"setup", "add", "New", "--comments", "x|y"}, "0x8004017C", "Tavrel Scope Control", {}},
        {{"setup", "remove", "Nope"}, "0x5", "Tavrel Scope Control", {}},
        {{"setup", "comment", "Bench", "a|b"}, "0x8004017C", "Tavrel Scope Control", {}},
        {{"setup", "send", "Empty"}, "0x80040011", "Send Setup", {}},
        {{"setup", "load", "Bench", writeFile(path("notes.txt"), "hello")},
         "0x80040141",
         "Open Setup File",
         {}},
        {{"setup", "get", "Bench"}, "0x8004003B", "Get Setup", noCommaBench},
    };
    const QByteArray before = fileBytes(doc);
    for (const auto& c : cases) {
        const CliResult r = run(c.args, c.benchFile);
        EXPECT_EQ(r.exitCode, 1) << c.args.join(u' ').toStdString();
        EXPECT_EQ(errorOf(r).value(QStringLiteral("number")).toString(), QLatin1String(c.number))
            << c.args.join(u' ').toStdString();
        EXPECT_EQ(errorOf(r).value(QStringLiteral("source")).toString(), QLatin1String(c.source));
        EXPECT_EQ(fileBytes(doc), before) << c.args.join(u' ').toStdString();
    }
}

TEST_F(CliSetup, ChangesNeedADocument) {
    for (const QStringList& args :
         {QStringList{"setup", "add", "X"}, QStringList{"setup", "remove", "X"},
          QStringList{"setup", "get", "X"}, QStringList{"setup", "load", "X", "f.scp"}}) {
        const CliResult r = RunTavrel(QStringList{"--sim"} + args);
        EXPECT_EQ(r.exitCode, 2) << args.join(u' ').toStdString();
        EXPECT_TRUE(r.err.contains("--doc")) << r.err.constData();
    }
    EXPECT_EQ(RunTavrel({"--json", "setup", "list"}).json().value(QStringLiteral("setups")).toArray(),
              QJsonArray());
}

TEST_F(CliSetup, InfoReadsSlateworkFilesAndRefusesOthers) {
    const QString stp = writeFile(path("slate.stp"), QByteArray("STP1.00\n42\n  bench comments \nvelTV200B\n"
                                                                ":system:setup #15") +
                                                         QByteArray("\x00\x01\x7C\x0A\xFF", 5));
    const CliResult info = RunTavrel({"--json", "setup", "info", stp});
    EXPECT_EQ(info.json(), (QJsonObject{{"format", "stp"},
                                        {"model", "TV200B"},
                                        {"company", "Corvane Technologies"},
                                        {"version", "X.XX.XX"},
                                        {"comments", "bench comments"},
                                        {"extra", QJsonArray{"", "", "", ""}},
                                        {"bytes", 8}}));
    const CliResult junk = RunTavrel({"--json", "setup", "info", writeFile(path("junk.scp"), "junk")});
    EXPECT_EQ(junk.exitCode, 1);
    EXPECT_EQ(errorOf(junk).value(QStringLiteral("number")).toString(), QStringLiteral("0x80040141"));
    EXPECT_EQ(errorOf(junk).value(QStringLiteral("description")).toString(),
              QStringLiteral("The selected file is not a setup file."));
}
