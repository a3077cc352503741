#include "SetupTestSupport.h"

#include "automation/UtilitiesTavrel.h"

#include "sim/SimBench.h"
#include "support/CliRunner.h"

#include <QJsonArray>
#include <QProcess>
#include <QTemporaryDir>

namespace {

class CliSetup : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(RunTavrel({"doc", "init", doc}).exitCode, 0); }
    // A command on the document against the simulated bench, machine-readable.
    CliResult run(const QStringList& args, const QString& benchFile = {}) {
        const QString sim = benchFile.isEmpty() ? QStringLiteral("--sim") : "--sim=" + benchFile;
        return RunTavrel(QStringList{sim, "--json", "--doc", doc} + args);
    }
    QString path(const char* name) const { return dir.filePath(QLatin1String(name)); }

    QTemporaryDir dir;
    QString doc = path("doc.json");
};

} // namespace

TEST_F(CliSetup, GetSaveInfoLoadSendAgainstTheSimulatedScope) {
    ASSERT_EQ(run({"setup", "add", "Bench", "--comments", "  first scope "}).exitCode, 0);
    const CliResult got = run({"setup", "get", "Bench"});
    ASSERT_EQ(got.exitCode, 0) << got.err.constData();
    const int bytes = got.json().value("bytes").toInt();
    EXPECT_GT(bytes, 100);
    const QJsonObject setup{{"name", "Bench"},
                            {"model", "TV100A"},
                            {"version", "A.01.02"},
                            {"comments", "first scope"},
                            {"bytes", bytes}};
    EXPECT_EQ(run({"setup", "list"}).json(), (QJsonObject{{"setups", QJsonArray{setup}}, {"last", "Bench"}}));

    const QString scp = path("bench.scp");
    ASSERT_EQ(run({"setup", "save", "Bench", scp}).exitCode, 0);
    QJsonObject info{{"format", "scp"},
                     {"model", "TV100A"},
                     {"company", "Corvane Technologies"},
                     {"version", "A.01.02"},
                     {"comments", "first scope"},
                     {"extra", QJsonArray{"", "", "", ""}},
                     {"bytes", bytes},
                     {"header_length", fileBytes(scp).size() - bytes}};
    EXPECT_EQ(run({"setup", "info", scp}).json(), info);

    // The same block as Slatework keeps it: loaded into a setup of another name, sent to the scope.
    const QString stp = writeFile(path("bench.stp"), "STP1.00\n1\n  slate \nvelTV100A\n:system:setup " +
                                                         fileBytes(scp).right(bytes));
    info.remove("header_length");
    info["format"] = "stp";
    info["version"] = "X.XX.XX";
    info["comments"] = "slate";
    EXPECT_EQ(RunTavrel({"--json", "setup", "info", stp}).json(), info) << "needs no document";
    ASSERT_EQ(run({"setup", "add", "Slate"}).exitCode, 0);
    const CliResult loaded = run({"setup", "load", "slate", stp});
    ASSERT_EQ(loaded.exitCode, 0) << loaded.err.constData();
    EXPECT_EQ(loaded.json().value("name").toString(), "Slate");
    EXPECT_EQ(loaded.json().value("version").toString(), "X.XX.XX");
    EXPECT_EQ(loaded.json().value("bytes").toInt(), bytes);
    const CliResult sent = run({"setup", "send", "Slate"});
    ASSERT_EQ(sent.exitCode, 0) << sent.err.constData();
    EXPECT_EQ(run({"setup", "list"}).json().value("last").toString(), "Slate");
    ASSERT_EQ(run({"setup", "remove", "Slate"}).exitCode, 0);
    EXPECT_EQ(run({"setup", "list"}).json().value("last").toString(), QString());
}

TEST_F(CliSetup, RefusedChangesLeaveTheDocumentAsItWas) {
    ASSERT_EQ(run({"setup", "add", "Bench"}).exitCode, 0);
    ASSERT_EQ(run({"setup", "add", "Empty"}).exitCode, 0);
    ASSERT_EQ(run({"setup", "get", "Bench"}).exitCode, 0);
    const QString noCommaBench =
        writeFile(path("bench.json"), tavrelsim::SimBench::defaultBenchJson().replace(
                                          R"("firmware": "A.01.02"})",
                                          R"("firmware": "A.01.02", "faults": {"no_comma": true}})"));
    const QString control = "Tavrel Scope Control";
    // Over the learn-string bound: refused before anything is read into the document.
    const QString big = writeFile(path("big.stp"), "STP1.00\n1\nc\nVELTV100A\n:SYSTEM:SETUP " +
                                                       QByteArray(BrumelTB::kMaxLearnStringBytes + 1, 'x'));
    const struct {
        QStringList args;
        const char* number;
        QString source, benchFile = {};
        QString detail = {}; // what the detail line starts with
    } cases[] = {
        {{"setup", "load", "Bench", big},
         "0x8004793D",
         "Open Setup File",
         {},
         "\"" + big + "\": the learn string"},
        {{"setup", "info", big}, "0x8004793D", "Open Setup File", {}, "\"" + big + "\": the learn string"},
        {{"setup", "load", "Bench", path("missing.scp")},
         "0x80040141",
         "Open Setup File",
         {},
         "\"" + path("missing.scp") + "\": there is no such file."},
        {{"setup", "add", "bench"}, "0x1C9", control},
        {{"setup", "add", "two words"}, "0x8004017C", control},
        {{"setup", "add", "New", "--comments", "x|y"}, "0x8004017C", control},
        {{"setup", "remove", "Nope"}, "0x5", control},
        {{"setup", "comment", "Bench", "a|b"}, "0x8004017C", control},
        {{"setup", "send", "Empty"}, "0x80040011", "Send Setup"},
        {{"setup", "load", "Bench", writeFile(path("notes.txt"), "hello")}, "0x80040141", "Open Setup File"},
        {{"setup", "info", writeFile(path("junk.scp"), "junk")}, "0x80040141", "Open Setup File"},
        {{"setup", "get", "Bench"}, "0x80040201", "Get Setup", noCommaBench}, // refused, not an I/O failure
    };
    const QByteArray before = fileBytes(doc);
    for (const auto& c : cases) {
        const CliResult r = run(c.args, c.benchFile);
        const QJsonObject error = r.json().value("error").toObject();
        EXPECT_EQ(r.exitCode, 1) << c.args.join(u' ').toStdString();
        EXPECT_EQ(error.value("number").toString(), c.number) << c.args.join(u' ').toStdString();
        EXPECT_EQ(error.value("source").toString(), c.source);
        EXPECT_TRUE(error.value("detail").toString().startsWith(c.detail))
            << error.value("detail").toString().toStdString();
        EXPECT_EQ(fileBytes(doc), before) << c.args.join(u' ').toStdString();
    }
    EXPECT_EQ(run({"setup", "info", path("junk.scp")})
                  .json()
                  .value("error")
                  .toObject()
                  .value("description")
                  .toString(),
              "The selected file is not a setup file.");

    // Changes need a document.
    for (const QStringList& args :
         {QStringList{"setup", "add", "X"}, QStringList{"setup", "remove", "X"},
          QStringList{"setup", "get", "X"}, QStringList{"setup", "load", "X", "f.scp"}}) {
        const CliResult r = RunTavrel(QStringList{"--sim"} + args);
        EXPECT_EQ(r.exitCode, 2) << args.join(u' ').toStdString();
        EXPECT_TRUE(r.err.contains("--doc")) << r.err.constData();
    }
    EXPECT_EQ(RunTavrel({"--json", "setup", "list"}).json().value("setups").toArray(), QJsonArray());
}

// A full disk (here a file size limit, with the signal it raises ignored) fails the save with a
// clear error and a non-zero exit, and the previous file stays whole.
TEST_F(CliSetup, SaveOnAFullDiskFailsAndKeepsThePreviousFile) {
    ASSERT_EQ(
        run({"setup", "add", "Bench", "--comments", "long enough to need more than a few bytes"}).exitCode,
        0);
    const QString scp = writeFile(path("old.scp"), "previous content");
    // The limit counts blocks of 512 bytes: none may be written.
    for (const char* limit : {"0"}) {
        QProcess process;
        process.start("/bin/sh",
                      {"-c", "trap '' XFSZ; ulimit -f $1; exec \"$0\" --doc \"$2\" setup save Bench \"$3\"",
                       TAVREL_BINARY_DIR "/bin/tavrel", limit, doc, scp});
        ASSERT_TRUE(process.waitForFinished(60000));
        EXPECT_EQ(process.exitCode(), 1) << limit;
        const QByteArray err = process.readAllStandardError();
        EXPECT_TRUE(err.contains("Error while saving to file.")) << err.constData();
        EXPECT_TRUE(err.contains(scp.toUtf8())) << err.constData();
        EXPECT_EQ(fileBytes(scp), "previous content") << limit;
    }
}
