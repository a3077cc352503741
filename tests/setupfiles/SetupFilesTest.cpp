#include "automation/UtilitiesTavrel.h"
#include "setups/CSetupFile.h"
#include "setups/CSlateworkFile.h"
#include "support/DiagnosticsCapture.h"
#include "support/Errors.h"

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

// File descriptors the process holds: no operation may leave one open, failing or not.
qsizetype openFiles() {
    return QDir(QStringLiteral("/proc/self/fd"))
        .entryList(QDir::AllEntries | QDir::System | QDir::Hidden | QDir::NoDotAndDotDot)
        .size();
}

QStringList entries(const QTemporaryDir& dir) {
    return QDir(dir.path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
}

// The setup file error that f raised, checked for its number and title; its description, and its
// detail line when asked for.
template <typename F> QString setupFileError(F&& f, QString* detail = nullptr) {
    const std::optional<TavrelError> e = ErrorOf(std::forward<F>(f));
    if (!e) return QStringLiteral("<nothing raised>");
    EXPECT_EQ(static_cast<quint32>(e->number()), 0x8004793Du);
    EXPECT_EQ(e->source(), QStringLiteral("Open Setup File"));
    EXPECT_EQ(e->helpFile(), kComponentHelpFile);
    if (detail) *detail = e->detail();
    return e->description();
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

// The example's fields with one of them changed (0 is the file type, 2 the model, 6 the comments,
// 11 the byte count).
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

TEST(CSetupFile, WritesByteForByteOverALongerFileAndReadsBack) {
    QTemporaryDir dir;
    CSetupFile read;
    const qsizetype open = openFiles();
    const auto written = [&](CSetupFile file) {
        const QString path = writeBytes(dir, QStringLiteral("a.scp"), QByteArray(100000, 'x'));
        file.WriteFile(path);
        EXPECT_EQ(entries(dir), QStringList{QStringLiteral("a.scp")});
        read.ReadFile(path);
        EXPECT_EQ(openFiles(), open);
        return readBytes(path);
    };
    EXPECT_EQ(kExampleHeader.size(), 92);
    EXPECT_EQ(written(exampleSetup()), kExampleHeader + kFiveBytes);

    // Without comments the example has 86 characters besides the header length's digits.
    for (const auto& [comments, headerLength] : std::initializer_list<std::pair<int, int>>{
             {0, 88}, {11, 99}, {12, 101}, {13, 102}, {910, 999}, {911, 1001}, {912, 1002}, {10000, 10091}}) {
        CSetupFile file = exampleSetup();
        file.SetComments(QString(comments, u'c'));
        EXPECT_EQ(written(file), scp(exampleWith(6, QByteArray(comments, 'c')), kFiveBytes,
                                     QByteArray::number(headerLength)));
        EXPECT_EQ(read.Comments(), QString(comments, u'c'));
    }

    QByteArray everyByte("|\n\r\r\n", 5);
    for (int b = 0; b < 256; ++b)
        everyByte.append(static_cast<char>(b));
    const struct {
        QVariant learnString;
        bool readsBackEmpty; // under two bytes
    } learnStrings[] = {{QVariant(), true},
                        {QByteArray(), true},
                        {QByteArray("Z"), true},
                        {QByteArray("ZY"), false},
                        {everyByte, false}};
    for (const auto& c : learnStrings) {
        const QByteArray bytes = c.learnString.toByteArray();
        EXPECT_EQ(written(exampleSetup(c.learnString)),
                  scp(exampleWith(11, QByteArray::number(bytes.size())), bytes));
        EXPECT_EQ(read.LearnString().isValid(), !c.readsBackEmpty) << bytes.size();
        if (!c.readsBackEmpty) {
            EXPECT_EQ(read.LearnString().metaType(), QMetaType::fromType<QByteArray>());
            EXPECT_EQ(read.LearnString().toByteArray(), bytes);
        }
        EXPECT_EQ(read.Version(), QStringLiteral("A.01.02"));
    }

    // One byte a character; beyond Latin-1 written as "?".
    CSetupFile file = exampleSetup();
    file.SetComments(QStringLiteral("Grüße"));
    file.SetModel(QStringLiteral("TV\u03A9"));
    QList<QByteArray> fields = exampleWith(2, "TV?");
    fields[6] = "Gr\xFC\xDF"
                "e";
    EXPECT_EQ(written(file), scp(fields, kFiveBytes));
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

// Each format refuses a damaged or hostile file: the error, a report naming the procedure, nothing
// read; and compatibility is decided by the type (and .scp format version) alone.
TEST(SetupFiles, RefuseDamagedAndHostileFiles) {
    const QByteArray example = kExampleHeader + kFiveBytes;
    const struct {
        const char* name;
        QByteArray content;
        const QString& description;
        const char* procedure;
        const char* location = nullptr;
    } scpCases[] =
        {
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
            {"header length absurd", scp(exampleWith(), kFiveBytes, QByteArray(40, '9')), kLoadError,
             "ReadFile"},
            {"negative count", scp(exampleWith(11, "-5"), kFiveBytes), kLoadError, "ReadFile"},
            {"count not a number", scp(exampleWith(11, "5x"), kFiveBytes), kLoadError, "ReadFile"},
            {"count one more than the file holds", scp(exampleWith(11, "6"), kFiveBytes), kLoadError,
             "ReadFile"},
            {"count far beyond the file", scp(exampleWith(11, "999999999999"), kFiveBytes), kLoadError,
             "ReadFile"},
            {"megabyte without a bar", "92|scp|1|" + QByteArray(1 << 20, 'x'), kLoadError, "ReadField"},
            {"learn string over the bound",
             scp(exampleWith(11, QByteArray::number(BrumelTB::kMaxLearnStringBytes + 1)),
                 QByteArray(BrumelTB::kMaxLearnStringBytes + 1, 'x')),
             kLoadError, "ReadFile"},
        },
      stpCases[] = {
          {"ROM version of 2", stp("STP10", "1", "n", "VELM", ":SYSTEM:SETUP ab"), kSaveError, "ReadField",
           "Case Else"},
          {"ROM version of 5", stp("STP1.000", "1", "n", "VELM", ":SYSTEM:SETUP ab"), kSaveError, "ReadField",
           "Case Else"},
          {"ROM version of 5 before a carriage return", stp("STP1.000\r", "1", "n", "VELM", ""), kSaveError,
           "ReadField", "Case Else"},
          {"other type", stp("STQ1.00", "1", "n", "VELM", ""), kSaveError, "ReadFileTypeAndROMVersion"},
          {"empty file", "", kLoadError, "ReadField"},
          {"no line feed", "STP1.00", kLoadError, "ReadField"},
          {"first line of a megabyte", QByteArray(1 << 20, 'S'), kLoadError, "ReadField"},
          {"cut after the comments", "STP1.00\n1\nnote\nVELM", kLoadError, "ReadField"},
          {"learn string over the bound",
           stp(":SYSTEM:SETUP " + QByteArray(BrumelTB::kMaxLearnStringBytes + 1, 'x')), kLoadError,
           "ReadFile"},
          {"other command", stp(":SYSTEM:SETUX ab"), kLoadError, "ReadFile"},
          {"command without its blank", stp(":SYSTEM:SETUP"), kLoadError, "ReadFile"},
      };
    QTemporaryDir dir;
    const qsizetype open = openFiles();
    const auto check = [&](auto& file, const char* fileName, const auto& c, std::optional<bool> compatible) {
        const QString path = writeBytes(dir, QStringLiteral("bad"), c.content);
        DiagnosticsCapture capture;
        QString detail;
        EXPECT_EQ(setupFileError([&] { file.ReadFile(path); }, &detail), c.description) << c.name;
        EXPECT_TRUE(detail.startsWith(QStringLiteral("\"%1\": ").arg(path)))
            << c.name << ": " << detail.toStdString();
        QStringList lines{"Assertion: false", QStringLiteral("File: ") + fileName,
                          QStringLiteral("Function: ") + c.procedure};
        if (c.location) lines << QStringLiteral("Location: ") + c.location;
        EXPECT_TRUE(capture.hasReportWith(lines)) << c.name << '\n'
                                                  << capture.reports.join(u'\n').toStdString();
        EXPECT_TRUE(file.Model().isEmpty() && file.Version().isEmpty() && !file.LearnString().isValid() &&
                    file.CompanyName() == QStringLiteral("Corvane Technologies"))
            << c.name;
        if (compatible) {
            EXPECT_EQ(file.IsACompatibleFile(path), *compatible) << c.name;
        }
        EXPECT_EQ(openFiles(), open) << c.name;
    };
    for (const auto& c : scpCases) {
        CSetupFile file;
        // A wrong type or format version, or no type at all, is no .scp file.
        check(file, "CSetupFile", c,
              c.description == kSaveError || c.content.isEmpty() ? std::optional(false) : std::nullopt);
    }
    for (const auto& c : stpCases) {
        CSlateworkFile file;
        // The type line alone decides.
        check(file, "CSlateworkFile", c, c.content.startsWith("STP1.00\n"));
    }
    // A missing file is told apart from a damaged one on the detail line.
    for (const QString& path : {dir.filePath(QStringLiteral("missing.scp")), dir.path()}) {
        QString detail;
        CSetupFile scpFile;
        EXPECT_EQ(setupFileError([&] { scpFile.ReadFile(path); }, &detail), kLoadError);
        EXPECT_TRUE(detail.contains(path)) << detail.toStdString();
        CSlateworkFile stpFile;
        QString stpDetail;
        EXPECT_EQ(setupFileError([&] { stpFile.ReadFile(path); }, &stpDetail), kLoadError);
        EXPECT_EQ(stpDetail, detail);
    }
    QString missing;
    setupFileError([&] { CSetupFile().ReadFile(dir.filePath(QStringLiteral("missing.scp"))); }, &missing);
    EXPECT_TRUE(missing.endsWith(QStringLiteral("there is no such file."))) << missing.toStdString();
}

// The number on the second line must convert to a 32-bit integer; otherwise the runtime's
// conversion error is raised, naming the file, and nothing is read.
TEST(CSlateworkFile, SecondLineThatIsNoNumberRaisesTheConversionError) {
    const std::pair<const char*, qint32> cases[] = {
        {"twelve", 13}, {"", 13},          {"-", 13},          {"12x", 13},
        {"1 2", 13},    {"2147483648", 6}, {"-2147483649", 6}, {"99999999999999999999", 6}};
    QTemporaryDir dir;
    for (const auto& [line, number] : cases) {
        const QString path =
            writeBytes(dir, QStringLiteral("a.stp"), stp("STP1.00", line, "n", "VELM", ":SYSTEM:SETUP ab"));
        CSlateworkFile file;
        const std::optional<TavrelError> e = ErrorOf([&] { file.ReadFile(path); });
        ASSERT_TRUE(e.has_value()) << line;
        EXPECT_EQ(e->number(), number) << line;
        EXPECT_TRUE(e->detail().contains(path)) << line;
        EXPECT_TRUE(file.Model().isEmpty() && !file.LearnString().isValid()) << line;
    }
    for (const char* line : {" -2147483648 ", "+2147483647", "007"})
        EXPECT_NO_THROW(CSlateworkFile().ReadFile(
            writeBytes(dir, QStringLiteral("b.stp"), stp("STP1.00", line, "n", "VELM", ":SYSTEM:SETUP ab"))))
            << line;
}

TEST(SetupFiles, IsACompatibleFileOnlyAnswers) {
    const struct {
        const char* name;
        std::optional<QByteArray> content; // none: the file does not exist
        bool scp, stp;
    } cases[] = {{"example", kExampleHeader + kFiveBytes, true, false},
                 {"upper-case scp type", scp(exampleWith(0, "SCP"), kFiveBytes), true, false},
                 {"scp with line feeds", kExampleHeader + "\n\n\n\n", true, false},
                 {"scp cut inside the version", "92|scp|1", false, false},
                 {"stp", stp(":SYSTEM:SETUP ab"), false, true},
                 {"missing file", std::nullopt, false, false}};
    QTemporaryDir dir;
    const qsizetype open = openFiles();
    for (const auto& c : cases) {
        const QString path = dir.filePath(QString::fromLatin1(c.name));
        if (c.content) writeBytes(dir, QString::fromLatin1(c.name), *c.content);
        EXPECT_NO_THROW(EXPECT_EQ(CSetupFile().IsACompatibleFile(path), c.scp) << c.name);
        EXPECT_NO_THROW(EXPECT_EQ(CSlateworkFile().IsACompatibleFile(path), c.stp) << c.name);
        EXPECT_EQ(QFile::exists(path), c.content.has_value()) << c.name;
        EXPECT_EQ(openFiles(), open) << c.name;
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
    const qsizetype open = openFiles();
    const QString error = setupFileError([&] { big.WriteFile(path); });
    setrlimit(RLIMIT_FSIZE, &limit);
    EXPECT_EQ(openFiles(), open);

    EXPECT_EQ(error, kSaveError);
    EXPECT_EQ(readBytes(path), previous);
    EXPECT_EQ(entries(dir), QStringList{QStringLiteral("a.scp")});
}

TEST(SetupFiles, RefusedAndImpossibleSavesTouchNoFile) {
    QTemporaryDir dir;
    const QString existing = writeBytes(dir, QStringLiteral("a.stp"), stp(":SYSTEM:SETUP ab"));
    const struct {
        const char* file;
        QVariant learnString;
        QString path;
    } cases[] = {
        {"CSetupFile", kFiveBytes, dir.filePath(QStringLiteral("no/such/a.scp"))},
        {"CSetupFile", kFiveBytes, dir.path()},
        {"CSetupFile", 42, dir.filePath(QStringLiteral("b.scp"))}, // a learn string must be bytes
        {"CSlateworkFile", kFiveBytes, existing},                  // .stp is never written
        {"CSlateworkFile", kFiveBytes, dir.filePath(QStringLiteral("new.stp"))},
    };
    const qsizetype open = openFiles();
    for (const auto& c : cases) {
        DiagnosticsCapture capture;
        CSlateworkFile slatework;
        slatework.ReadFile(existing);
        const bool scp = c.file == QLatin1String("CSetupFile");
        EXPECT_EQ(setupFileError([&] {
                      scp ? exampleSetup(c.learnString).WriteFile(c.path) : slatework.WriteFile(c.path);
                  }),
                  kSaveError)
            << c.path.toStdString();
        QStringList lines{"Assertion: false", QStringLiteral("File: ") + c.file, "Function: WriteFile"};
        if (scp) lines << QStringLiteral("Location: ErrorHandler");
        EXPECT_TRUE(capture.hasReportWith(lines)) << c.path.toStdString();
        EXPECT_EQ(openFiles(), open) << c.path.toStdString();
    }
    EXPECT_EQ(readBytes(existing), stp(":SYSTEM:SETUP ab"));
    EXPECT_EQ(entries(dir), QStringList{QStringLiteral("a.stp")});
}

TEST(CSlateworkFile, ReadsItsFourLinesAndTheBlockAfterTheCommand) {
    const QByteArray block("#8\x00\r\n|\xFF\n", 8);
    const struct {
        const char* name;
        QByteArray content;
        const char *model, *comments;
        std::optional<QByteArray> learnString; // none: Empty
        const char* company = "Corvane Technologies";
    } cases[] = {
        {"typical", stp(":SYSTEM:SETUP " + block), "TV100A", "note", block},
        {"three-character ROM version, lower-case maker prefix",
         stp("stp1.0", "-7", "note", "velTV200", ":system:setup ab"), "TV200", "note", "ab"},
        {"other maker prefix", stp("STP1.00", "0", "n", "ABCTV100A", ":SYSTEM:SETUP ab"), "TV100A", "n", "ab",
         "ABC"},
        {"maker line shorter than the prefix", stp("STP1.00", "0", "n", "AB", ":SYSTEM:SETUP ab"), "", "n",
         "ab", "AB"},
        {"CR LF line ends read like LF", "STP1.00\r\n 12 \r\n  note \r\nVELTV100A\r\n:SYSTEM:SETUP ab\r\n",
         "TV100A", "note", "ab\r\n"},
        {"carriage return inside a line kept", stp("STP1.00", "1", "no\rte", "VELM\rN", ":SYSTEM:SETUP ab"),
         "M\rN", "no\rte", "ab"},
        {"comments with a bar, and long",
         stp("STP1.00", "1", "a|b" + QByteArray(10000, 'c'), "VELM", ":SYSTEM:SETUP ab"), "M", nullptr, "ab"},
        {"tab is no blank", stp("STP1.00", "2147483647", "\tnote  ", "VELM", ":SYSTEM:SETUP ab"), "M",
         "\tnote", "ab"},
        {"ends right after the command", stp(":SYSTEM:SETUP "), "TV100A", "note", std::nullopt},
        {"one byte after the command", stp(":SYSTEM:SETUP x"), "TV100A", "note", std::nullopt}};
    QTemporaryDir dir;
    for (const auto& c : cases) {
        CSlateworkFile file;
        file.SetExtraField1(QStringLiteral("stale"));
        ASSERT_NO_THROW(file.ReadFile(writeBytes(dir, QStringLiteral("a.stp"), c.content))) << c.name;
        const QStringList fields{file.Model(), file.CompanyName(), file.Comments(), file.Version(),
                                 file.ExtraField1()};
        const QString comments = c.comments ? QString::fromLatin1(c.comments) : "a|b" + QString(10000, u'c');
        EXPECT_EQ(fields, (QStringList{c.model, c.company, comments, "X.XX.XX", ""})) << c.name;
        EXPECT_EQ(file.LearnString(), c.learnString ? QVariant(*c.learnString) : QVariant()) << c.name;
    }
}
