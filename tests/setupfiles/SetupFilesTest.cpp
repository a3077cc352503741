#include "control/TavrelError.h"
#include "setups/CSetupFile.h"
#include "setups/CSlateworkFile.h"
#include "support/DiagnosticsCapture.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <csignal>
#include <gtest/gtest.h>
#include <optional>
#include <sys/resource.h>

namespace {

const QByteArray kExampleHeader =
    "92|scp|1|TV100A|Corvane Technologies||A.01.02|note|TRX Standard Setup File, Version: 1||||5|";
const QByteArray kFiveBytes("\x01|\x00\xFF\n", 5);
const QString kLoadError = QStringLiteral("Error while loading from file.");
const QString kSaveError = QStringLiteral("Error while saving to file.");

QString writeBytes(const QTemporaryDir& dir, const QString& name, const QByteArray& content) {
    QFile f(dir.filePath(name));
    f.open(QIODevice::WriteOnly);
    f.write(content);
    return f.fileName();
}

QByteArray readBytes(const QString& path) {
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray("<missing>");
}

QStringList entries(const QTemporaryDir& dir) {
    return QDir(dir.path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
}

// The setup file error that f raised, checked for its number and title; its description.
template <typename F> QString setupFileError(F&& f) {
    try {
        f();
    } catch (const TavrelError& e) {
        EXPECT_EQ(static_cast<quint32>(e.number()), 0x8004793Du);
        EXPECT_EQ(e.source(), QStringLiteral("Open Setup File"));
        EXPECT_EQ(e.helpFile(), kComponentHelpFile);
        return e.description();
    }
    return QStringLiteral("<nothing raised>");
}

// An .scp file: the fields after the header length, whose consistent value is found by trying
// every candidate unless one is given.
QByteArray scp(const QList<QByteArray>& fields, const QByteArray& bytes, QByteArray headerLength = {}) {
    QByteArray rest;
    for (const QByteArray& f : fields)
        rest += f + '|';
    for (qsizetype n = 1; headerLength.isNull(); ++n)
        if (n == rest.size() + 1 + QByteArray::number(n).size()) headerLength = QByteArray::number(n);
    return headerLength + '|' + rest + bytes;
}

// The example's fields with one of them changed (0 is the file type, 11 the byte count).
QList<QByteArray> exampleWith(int index = -1, const QByteArray& value = {}) {
    QList<QByteArray> fields{"scp", "1",       "TV100A", "Corvane Technologies",
                             "",    "A.01.02", "note",   "TRX Standard Setup File, Version: 1",
                             "",    "",        "",       "5"};
    if (index >= 0) fields[index] = value;
    return fields;
}

CSetupFile exampleSetup(const QVariant& learnString = kFiveBytes) {
    CSetupFile file;
    file.SetModel(QStringLiteral("TV100A"));
    file.SetVersion(QStringLiteral("A.01.02"));
    file.SetComments(QStringLiteral("note"));
    file.SetLearnString(learnString);
    return file;
}

QByteArray stp(const QByteArray& line1, const QByteArray& line2, const QByteArray& line3,
               const QByteArray& line4, const QByteArray& rest) {
    return line1 + '\n' + line2 + '\n' + line3 + '\n' + line4 + '\n' + rest;
}

QByteArray stp(const QByteArray& rest) {
    return stp("STP1.00", "12", "note", "VELTV100A", rest);
}

} // namespace

TEST(CSetupFile, WritesTheExampleByteForByteOverALongerFile) {
    QTemporaryDir dir;
    const QString path = writeBytes(dir, QStringLiteral("a.scp"), QByteArray(100000, 'x'));
    exampleSetup().WriteFile(path);
    EXPECT_EQ(kExampleHeader.size(), 92);
    EXPECT_EQ(readBytes(path), kExampleHeader + kFiveBytes);
    EXPECT_EQ(entries(dir), QStringList{QStringLiteral("a.scp")});
}

TEST(CSetupFile, HeaderLengthCountsItsOwnDigitsAcrossPowersOfTen) {
    // Without comments the example has 86 characters besides the header length's digits.
    const struct {
        int commentsLength, headerLength;
    } cases[] = {{0, 88}, {11, 99}, {12, 101}, {13, 102}, {910, 999}, {911, 1001}, {912, 1002}};
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("a.scp"));
    for (const auto& c : cases) {
        CSetupFile file = exampleSetup();
        file.SetComments(QString(c.commentsLength, u'c'));
        file.WriteFile(path);
        EXPECT_EQ(readBytes(path), scp(exampleWith(6, QByteArray(c.commentsLength, 'c')), kFiveBytes,
                                       QByteArray::number(c.headerLength)));
    }
}

TEST(CSetupFile, LearnStringsRoundTripAndShortOnesReadBackEmpty) {
    QByteArray everyByte("|\n\r\r\n", 5);
    for (int b = 0; b < 256; ++b)
        everyByte.append(static_cast<char>(b));
    const struct {
        QVariant learnString;
        QByteArray count;
        bool readsBackEmpty;
    } cases[] = {{QVariant(), "0", true},
                 {QVariant(QByteArray()), "0", true},
                 {QVariant(QByteArray("Z")), "1", true},
                 {QVariant(QByteArray("ZY")), "2", false},
                 {QVariant(everyByte), QByteArray::number(everyByte.size()), false}};
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("a.scp"));
    for (const auto& c : cases) {
        exampleSetup(c.learnString).WriteFile(path);
        EXPECT_EQ(readBytes(path), scp(exampleWith(11, c.count), c.learnString.toByteArray()))
            << c.count.data();
        CSetupFile read;
        read.ReadFile(path);
        EXPECT_EQ(read.LearnString().isValid(), !c.readsBackEmpty) << c.count.data();
        if (!c.readsBackEmpty) {
            EXPECT_EQ(read.LearnString().metaType(), QMetaType::fromType<QByteArray>());
            EXPECT_EQ(read.LearnString().toByteArray(), c.learnString.toByteArray());
        }
        EXPECT_EQ(read.Version(), QStringLiteral("A.01.02"));
    }
}

TEST(CSetupFile, HeaderTextIsOneByteACharacter) {
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("a.scp"));
    CSetupFile file = exampleSetup();
    file.SetComments(QStringLiteral("Grüße"));
    file.SetModel(QStringLiteral("TV\u03A9")); // beyond Latin-1: written as "?"
    file.WriteFile(path);
    QList<QByteArray> fields = exampleWith(2, "TV?");
    fields[6] = "Gr\xFC\xDF"
                "e";
    EXPECT_EQ(readBytes(path), scp(fields, kFiveBytes));
    CSetupFile read;
    read.ReadFile(path);
    EXPECT_EQ(read.Comments(), QStringLiteral("Grüße"));
}

TEST(CSetupFile, ReadKeepsCompanyAndExtraFieldsAndIgnoresTrailingBytes) {
    QTemporaryDir dir;
    const QByteArray content =
        scp({"SCP", "1", "M", "Other Co", "e1", "V", "", "any title", "e2", "e3", "e4", "3"}, "abc|trailing");
    CSetupFile file;
    file.ReadFile(writeBytes(dir, QStringLiteral("a.scp"), content));
    const QStringList fields{file.Model(),       file.CompanyName(), file.ExtraField1(),
                             file.Version(),     file.Comments(),    file.ExtraField2(),
                             file.ExtraField3(), file.ExtraField4(), file.LearnString().toString()};
    EXPECT_EQ(fields.join(u'|'), QStringLiteral("M|Other Co|e1|V||e2|e3|e4|abc"));
}

TEST(CSetupFile, RefusesDamagedAndHostileFiles) {
    const QByteArray example = kExampleHeader + kFiveBytes;
    const struct {
        const char* name;
        QByteArray content;
        const QString& description;
        const char* procedure;
    } cases[] = {
        {"wrong type", scp(exampleWith(0, "scq"), kFiveBytes), kSaveError, "ReadFileTypeAndVersion"},
        {"format version 2", scp(exampleWith(1, "2"), kFiveBytes), kSaveError, "ReadFileTypeAndVersion"},
        {"type longer than scp", scp(exampleWith(0, "scpx"), kFiveBytes), kLoadError, "ReadField"},
        {"empty file", "", kLoadError, "ReadField"},
        {"no bar at all", "92scp1TV100A", kLoadError, "ReadField"},
        {"cut inside the header", example.left(40), kLoadError, "ReadField"},
        {"cut before the last bar", example.left(91), kLoadError, "ReadField"},
        {"header length too large", scp(exampleWith(), kFiveBytes, "93"), kLoadError, "ReadFile"},
        {"header length too small", scp(exampleWith(), kFiveBytes, "91"), kLoadError, "ReadFile"},
        {"header length not a number", scp(exampleWith(), kFiveBytes, "ninety"), kLoadError, "ReadFile"},
        {"header length absurd", scp(exampleWith(), kFiveBytes, QByteArray(40, '9')), kLoadError, "ReadFile"},
        {"negative count", scp(exampleWith(11, "-5"), kFiveBytes), kLoadError, "ReadFile"},
        {"count not a number", scp(exampleWith(11, "5x"), kFiveBytes), kLoadError, "ReadFile"},
        {"count one more than the file holds", scp(exampleWith(11, "6"), kFiveBytes), kLoadError, "ReadFile"},
        {"count far beyond the file", scp(exampleWith(11, "999999999999"), kFiveBytes), kLoadError,
         "ReadFile"},
        {"field over 4096 characters", scp(exampleWith(2, QByteArray(4097, 'm')), ""), kLoadError,
         "ReadField"},
        {"megabyte without a bar", "92|scp|1|" + QByteArray(1 << 20, 'x'), kLoadError, "ReadField"},
    };
    QTemporaryDir dir;
    for (const auto& c : cases) {
        const QString path = writeBytes(dir, QStringLiteral("bad.scp"), c.content);
        DiagnosticsCapture capture;
        CSetupFile file;
        EXPECT_EQ(setupFileError([&] { file.ReadFile(path); }), c.description) << c.name;
        EXPECT_TRUE(capture.hasReportWith(
            {"Assertion: false", "File: CSetupFile", QStringLiteral("Function: ") + c.procedure}))
            << c.name << '\n'
            << capture.reports.join(u'\n').toStdString();
        // A refused file changes nothing.
        EXPECT_TRUE(file.Model().isEmpty() && file.CompanyName() == QStringLiteral("Corvane Technologies") &&
                    !file.LearnString().isValid())
            << c.name;
    }
    CSetupFile file;
    EXPECT_EQ(setupFileError([&] { file.ReadFile(dir.filePath(QStringLiteral("missing.scp"))); }),
              kLoadError);
}

TEST(SetupFiles, IsACompatibleFileOnlyAnswers) {
    const struct {
        const char* name;
        std::optional<QByteArray> content; // none: the file does not exist
        bool scp, stp;
    } cases[] = {
        {"example", kExampleHeader + kFiveBytes, true, false},
        {"upper-case scp type", scp(exampleWith(0, "SCP"), kFiveBytes), true, false},
        {"scp with line feeds", kExampleHeader + "\n\n\n\n", true, false},
        {"scp of another type", scp(exampleWith(0, "scq"), kFiveBytes), false, false},
        {"scp of format version 2", scp(exampleWith(1, "2"), kFiveBytes), false, false},
        {"scp cut inside the version", "92|scp|1", false, false},
        {"stp", stp(":SYSTEM:SETUP ab"), false, true},
        {"stp of another type", stp("STQ1.00", "1", "n", "VELM", ""), false, false},
        {"missing file", std::nullopt, false, false},
        {"empty file", QByteArray(), false, false},
    };
    QTemporaryDir dir;
    for (const auto& c : cases) {
        const QString path = dir.filePath(QString::fromLatin1(c.name));
        if (c.content) writeBytes(dir, QString::fromLatin1(c.name), *c.content);
        CSetupFile scpFile;
        CSlateworkFile stpFile;
        EXPECT_NO_THROW(EXPECT_EQ(scpFile.IsACompatibleFile(path), c.scp) << c.name);
        EXPECT_NO_THROW(EXPECT_EQ(stpFile.IsACompatibleFile(path), c.stp) << c.name);
        EXPECT_EQ(QFile::exists(path), c.content.has_value()) << c.name;
    }
    EXPECT_FALSE(CSetupFile().IsACompatibleFile(dir.path()));
    EXPECT_FALSE(CSlateworkFile().IsACompatibleFile(dir.path()));
}

TEST(CSetupFile, FailedSaveLeavesThePreviousFile) {
    QTemporaryDir dir;
    const QByteArray previous = kExampleHeader + kFiveBytes;
    const QString path = writeBytes(dir, QStringLiteral("a.scp"), previous);
    CSetupFile big = exampleSetup(QByteArray(256 * 1024, 'x'));

    // A file size limit makes the disk look full part way through the save.
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit limit{};
    getrlimit(RLIMIT_FSIZE, &limit);
    rlimit small = limit;
    small.rlim_cur = 4096;
    setrlimit(RLIMIT_FSIZE, &small);
    const QString error = setupFileError([&] { big.WriteFile(path); });
    setrlimit(RLIMIT_FSIZE, &limit);

    EXPECT_EQ(error, kSaveError);
    EXPECT_EQ(readBytes(path), previous);
    EXPECT_EQ(entries(dir), QStringList{QStringLiteral("a.scp")});
}

TEST(CSetupFile, SaveThatCannotStartIsReported) {
    QTemporaryDir dir;
    const std::pair<QVariant, QString> cases[] = {
        {kFiveBytes, dir.filePath(QStringLiteral("no/such/a.scp"))},
        {kFiveBytes, dir.path()},
        {QVariant(42), dir.filePath(QStringLiteral("b.scp"))}, // a learn string must be bytes
    };
    for (const auto& [learnString, path] : cases) {
        DiagnosticsCapture capture;
        EXPECT_EQ(setupFileError([&] { exampleSetup(learnString).WriteFile(path); }), kSaveError);
        EXPECT_TRUE(capture.hasReportWith(
            {"Assertion: false", "File: CSetupFile", "Function: WriteFile", "Location: ErrorHandler"}));
    }
    EXPECT_TRUE(entries(dir).isEmpty());
}

TEST(SetupFiles, NothingStaysOpenAfterAnyOperation) {
    QTemporaryDir dir;
    const QString paths[] = {writeBytes(dir, QStringLiteral("a.scp"), kExampleHeader + kFiveBytes),
                             writeBytes(dir, QStringLiteral("b.scp"), kExampleHeader.left(30)),
                             writeBytes(dir, QStringLiteral("c.stp"), stp(":SYSTEM:SETUP ab")),
                             dir.filePath(QStringLiteral("none/d.scp"))};
    const auto openFiles = [] {
        return QDir(QStringLiteral("/proc/self/fd"))
            .entryList(QDir::AllEntries | QDir::System | QDir::Hidden | QDir::NoDotAndDotDot)
            .size();
    };
    const qsizetype before = openFiles();
    CSetupFile scpFile = exampleSetup();
    CSlateworkFile stpFile;
    const std::function<void(const QString&)> operations[] = {
        [&](const QString& p) { scpFile.IsACompatibleFile(p); },
        [&](const QString& p) { scpFile.ReadFile(p); },
        [&](const QString& p) { stpFile.IsACompatibleFile(p); },
        [&](const QString& p) { stpFile.ReadFile(p); },
        [&](const QString& p) { stpFile.WriteFile(p); },
        [&](const QString& p) { scpFile.WriteFile(p); },
    };
    for (const auto& operation : operations) {
        for (const QString& path : paths) {
            setupFileError([&] { operation(path); });
            EXPECT_EQ(openFiles(), before) << path.toStdString();
        }
    }
}

TEST(CSlateworkFile, ReadsItsFourLinesAndTheBlockAfterTheCommand) {
    const QByteArray block("#8\x00\r\n|\xFF\n", 8);
    const struct {
        const char* name;
        QByteArray content;
        const char *model, *company, *comments;
        std::optional<QByteArray> learnString; // none: Empty
    } cases[] = {
        {"typical", stp(":SYSTEM:SETUP " + block), "TV100A", "Corvane Technologies", "note", block},
        {"three-character ROM version, lower-case maker prefix",
         stp("stp1.0", "-7", "note", "velTV200", ":system:setup ab"), "TV200", "Corvane Technologies", "note",
         "ab"},
        {"other maker prefix", stp("STP1.00", "0", "n", "ABCTV100A", ":SYSTEM:SETUP ab"), "TV100A", "ABC",
         "n", "ab"},
        {"maker line shorter than the prefix", stp("STP1.00", "0", "n", "AB", ":SYSTEM:SETUP ab"), "", "AB",
         "n", "ab"},
        {"blanks trimmed, carriage return kept",
         stp("STP1.00", " 12 ", "  note \r", "VELM\r", ":SYSTEM:SETUP ab"), "M\r", "Corvane Technologies",
         "note \r", "ab"},
        {"tab is no blank", stp("STP1.00", "2147483647", "\tnote  ", "VELM", ":SYSTEM:SETUP ab"), "M",
         "Corvane Technologies", "\tnote", "ab"},
        {"ends right after the command", stp(":SYSTEM:SETUP "), "TV100A", "Corvane Technologies", "note",
         std::nullopt},
        {"one byte after the command", stp(":SYSTEM:SETUP x"), "TV100A", "Corvane Technologies", "note",
         std::nullopt},
    };
    QTemporaryDir dir;
    for (const auto& c : cases) {
        CSlateworkFile file;
        file.SetExtraField1(QStringLiteral("stale"));
        ASSERT_NO_THROW(file.ReadFile(writeBytes(dir, QStringLiteral("a.stp"), c.content))) << c.name;
        EXPECT_EQ(file.Model(), QString::fromLatin1(c.model)) << c.name;
        EXPECT_EQ(file.CompanyName(), QString::fromLatin1(c.company)) << c.name;
        EXPECT_EQ(file.Comments(), QString::fromLatin1(c.comments)) << c.name;
        EXPECT_EQ(file.Version(), QStringLiteral("X.XX.XX")) << c.name;
        EXPECT_EQ(file.ExtraField1(), QString()) << c.name;
        EXPECT_EQ(file.LearnString(), c.learnString ? QVariant(*c.learnString) : QVariant()) << c.name;
    }
}

TEST(CSlateworkFile, RefusesDamagedAndHostileFiles) {
    const struct {
        const char* name;
        QByteArray content;
        const QString& description;
        const char* procedure;
        const char* location;
    } cases[] = {
        {"ROM version of 2", stp("STP10", "1", "n", "VELM", ":SYSTEM:SETUP ab"), kSaveError, "ReadField",
         "Case Else"},
        {"ROM version of 5", stp("STP1.000", "1", "n", "VELM", ":SYSTEM:SETUP ab"), kSaveError, "ReadField",
         "Case Else"},
        {"ROM version with a carriage return", stp("STP1.00\r", "1", "n", "VELM", ""), kSaveError,
         "ReadField", "Case Else"},
        {"other type", stp("STQ1.00", "1", "n", "VELM", ""), kSaveError, "ReadFileTypeAndROMVersion",
         nullptr},
        {"empty file", "", kLoadError, "ReadField", nullptr},
        {"no line feed", "STP1.00", kLoadError, "ReadField", nullptr},
        {"first line of a megabyte", QByteArray(1 << 20, 'S'), kLoadError, "ReadField", nullptr},
        {"comments over 4096 characters", stp("STP1.00", "1", QByteArray(4097, 'c'), "VELM", ""), kLoadError,
         "ReadField", nullptr},
        {"cut after the comments", "STP1.00\n1\nnote\nVELM", kLoadError, "ReadField", nullptr},
        {"number not a number", stp("STP1.00", "twelve", "n", "VELM", ":SYSTEM:SETUP ab"), kLoadError,
         "ReadFile", nullptr},
        {"number over 32 bits", stp("STP1.00", "2147483648", "n", "VELM", ":SYSTEM:SETUP ab"), kLoadError,
         "ReadFile", nullptr},
        {"other command", stp(":SYSTEM:SETUX ab"), kLoadError, "ReadFile", nullptr},
        {"command without its blank", stp(":SYSTEM:SETUP"), kLoadError, "ReadFile", nullptr},
    };
    QTemporaryDir dir;
    for (const auto& c : cases) {
        const QString path = writeBytes(dir, QStringLiteral("bad.stp"), c.content);
        CSlateworkFile file;
        DiagnosticsCapture capture;
        EXPECT_EQ(setupFileError([&] { file.ReadFile(path); }), c.description) << c.name;
        QStringList lines{"Assertion: false", "File: CSlateworkFile",
                          QStringLiteral("Function: ") + c.procedure};
        if (c.location) lines << QStringLiteral("Location: ") + c.location;
        EXPECT_TRUE(capture.hasReportWith(lines)) << c.name << '\n'
                                                  << capture.reports.join(u'\n').toStdString();
        EXPECT_TRUE(file.Model().isEmpty() && file.Version().isEmpty()) << c.name;
        // The type line alone decides compatibility.
        EXPECT_EQ(file.IsACompatibleFile(path), c.content.startsWith("STP1.00\n")) << c.name;
    }
}

TEST(CSlateworkFile, WritingIsRefusedAndTouchesNoFile) {
    QTemporaryDir dir;
    const QString existing = writeBytes(dir, QStringLiteral("a.stp"), stp(":SYSTEM:SETUP ab"));
    CSlateworkFile file;
    file.ReadFile(existing);
    for (const QString& path : {existing, dir.filePath(QStringLiteral("new.stp"))}) {
        DiagnosticsCapture capture;
        EXPECT_EQ(setupFileError([&] { file.WriteFile(path); }), kSaveError);
        EXPECT_TRUE(
            capture.hasReportWith({"Assertion: false", "File: CSlateworkFile", "Function: WriteFile"}));
    }
    EXPECT_EQ(readBytes(existing), stp(":SYSTEM:SETUP ab"));
    EXPECT_EQ(entries(dir), QStringList{QStringLiteral("a.stp")});
}
