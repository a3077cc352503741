#include "SetupTestSupport.h"

#include "automation/UtilitiesTavrel.h"

#include "setups/SetupsTavrelScope.h"
#include "support/DiagnosticsCapture.h"

#include <QTemporaryDir>

namespace {

const QString kModel = QStringLiteral("TV100A");
const QString kVersion = QStringLiteral("A.01.02");
constexpr quint32 kInvalidValue = 0x8004017Cu;

QStringList fields(const SetupTavrelScope& s) {
    const QString bytes = s.LearnString().isValid() ? s.LearnString().toByteArray().toHex() : "Empty";
    return {s.Name(), s.Comments(), bytes, s.Model(), s.Version()};
}

} // namespace

TEST(Setup, NameAndCommentsAreCheckedAsGivenAndTrimmedOfBlanks) {
    const struct {
        bool name;
        const char* value;
        const char* stored; // null: refused, the old value stays
    } cases[] = {{true, "Setup2", "Setup2"},       {true, "", nullptr},    {true, "a b", nullptr},
                 {true, " Setup2", nullptr},       {true, "a|b", nullptr}, {true, "\tTab", "\tTab"},
                 {false, "  note  ", "note"},      {false, "", ""},        {false, "a|b", nullptr},
                 {false, "two words", "two words"}};
    for (const auto& c : cases) {
        SetupTavrelScope setup;
        setup.SetComments("old");
        const QString value = QString::fromUtf8(c.value);
        const auto e = ErrorOf([&] { c.name ? setup.SetName(value) : setup.SetComments(value); });
        const QString now = c.name ? setup.Name() : setup.Comments();
        if (c.stored) {
            EXPECT_FALSE(e) << c.value;
            EXPECT_EQ(now, QString::fromUtf8(c.stored)) << c.value;
        } else {
            expectError(e, kInvalidValue, "Invalid property value.");
            EXPECT_EQ(now, c.name ? "Setup1" : "old") << c.value;
        }
    }
}

TEST(Setup, CompatibilityNeedsTheModelAndTheVersionOrTheWildcard) {
    const struct {
        const char *model, *version, *askModel, *askVersion;
        bool compatible;
    } cases[] = {{"TV100A", "A.01.02", "tv100a", "a.01.02", true},
                 {"TV100A", "A.01.02", "TV100A", "A.01.03", false},
                 {"TV100A", "A.01.02", "TV200B", "A.01.02", false},
                 {"TV100A", "A.01.02", "TV100A ", "A.01.02", false},
                 {"TV100A", "A.01.02", "", "", false},
                 {"TV100A", "x.xx.xx", "tv100a", "B.99.00", true},
                 {"TV100A", "X.XX.XX", "TV200B", "A.01.02", false},
                 {"TV100A", "A.01.02", "TV100A", "X.XX.XX", false},
                 {"", "A.01.02", "", "A.01.02", false},
                 {"TV100A", "", "TV100A", "", false}};
    for (const auto& c : cases) {
        SetupTavrelScope setup;
        fillSetup(setup, "S", QLatin1String(c.model), QLatin1String(c.version));
        EXPECT_EQ(setup.IsLearnStringCompatible(QLatin1String(c.askModel), QLatin1String(c.askVersion)),
                  c.compatible)
            << c.model << "/" << c.version << " asked " << c.askModel << "/" << c.askVersion;
    }
}

TEST(Setup, PropertiesUseTheIndexedKeysAndKeepTheBytes) {
    SetupTavrelScope setup;
    fillSetup(setup, "Bench", kModel, kVersion, allByteValues(), "note");
    MemoryPropertyBag bag;
    setup.WriteProperties(bag, 2);
    EXPECT_EQ(bag.keys(),
              (QStringList{"2SetupName", "2SetupComments", "2LearnString", "2Model", "2Version"}));
    SetupTavrelScope restored;
    restored.ReadProperties(bag, 2);
    EXPECT_EQ(fields(restored), fields(setup));
    // Another index finds nothing: a new setup's values, which are not stored.
    restored.ReadProperties(bag, 3);
    EXPECT_EQ(fields(restored), fields(SetupTavrelScope()));
    MemoryPropertyBag empty;
    restored.WriteProperties(empty, 3);
    EXPECT_EQ(empty.size(), 0);

    // Stored values are taken as they are: a learn string of another type is kept, not refused.
    MemoryPropertyBag text("doc.json");
    text.set("4LearnString", "#3abc");
    text.set("4SetupComments", "a|b");
    restored.ReadProperties(text, 4);
    EXPECT_EQ(restored.LearnString(), QVariant("#3abc"));
    EXPECT_EQ(restored.Comments(), "a|b");

    // A learn string larger than any setup holds never goes into a store, which could not give it back.
    SetupTavrelScope oversized;
    fillSetup(oversized, "Big", kModel, kVersion, QByteArray(BrumelTB::kMaxLearnStringBytes + 1, 'x'));
    MemoryPropertyBag target("doc.json");
    const auto e = ErrorOf([&] { oversized.WriteProperties(target, 5); });
    expectError(e, kInvalidValue, "Invalid property value.");
    EXPECT_TRUE(e && e->detail().startsWith("doc.json: \"5LearnString\"")) << e->detail().toStdString();
    EXPECT_EQ(target.size(), 0);
}

TEST(Setup, CopyTakesEverythingButTheParentThroughTheChecks) {
    DiagnosticsCapture capture;
    SetupsTavrelScope parent;
    SetupTavrelScope& target = parent.Add("Target");
    SetupTavrelScope source;
    fillSetup(source, "Source", kModel, kVersion, allByteValues(), "c");
    target.Copy(&source);
    EXPECT_EQ(fields(target), fields(source));
    EXPECT_EQ(target.ParentSetups(), &parent);

    SetupTavrelScope badName; // stored names are not checked, copied ones are
    fillSetup(badName, "a b", kModel, kVersion);
    expectError(ErrorOf([&] { target.Copy(&badName); }), kInvalidValue);
    EXPECT_EQ(target.Name(), "Source");

    expectError(ErrorOf([&] { target.Copy(nullptr); }), 91);
    EXPECT_TRUE(capture.hasReportWith(
        {"Assertion: (Not (setupSource Is Nothing))", "File: Setup", "Function: Copy"}));
}

TEST(Setup, RefusedFilesChangeNothing) {
    QTemporaryDir dir;
    const auto path = [&](const char* name) { return dir.filePath(QLatin1String(name)); };
    SetupTavrelScope good;
    fillSetup(good, "S", kModel, kVersion, allByteValues());
    good.SaveToFile(path("good.scp"));
    const QString notSetup = "The selected file is not a setup file.",
                  loadError = "Error while loading from file.";
    const struct {
        QString path;
        quint32 number;
        const QString& description;
        const char* source = "Open Setup File";
    } cases[] = {
        {writeFile(path("text.scp"), "just some text"), 0x80040141u, notSetup},
        {writeFile(path("v2.scp"), "30|scp|2|"), 0x80040141u, notSetup},
        {path("missing.scp"), 0x80040141u, notSetup},
        {dir.path(), 0x80040141u, notSetup},
        // Taken for .scp by its first fields, then cut inside the header.
        {writeFile(path("cut.scp"), fileBytes(path("good.scp")).left(30)), 0x8004793Du, loadError},
        {writeFile(path("nocmd.stp"), "STP1.00\n1\nc\nVELTV100A\n#3"), 0x8004793Du, loadError},
        {writeFile(path("big.stp"), "STP1.00\n1\nc\nVELTV100A\n:SYSTEM:SETUP " +
                                        QByteArray(BrumelTB::kMaxLearnStringBytes + 1, 'x')),
         0x8004793Du, loadError},
    };
    for (const auto& c : cases) {
        DiagnosticsCapture capture;
        SetupTavrelScope setup;
        fillSetup(setup, "Kept", kModel, kVersion, allByteValues(), "c");
        const QStringList before = fields(setup);
        const auto e = ErrorOf([&] { setup.ReadFromFile(c.path); });
        expectError(e, c.number, c.description);
        EXPECT_EQ(e->source(), QLatin1String(c.source));
        EXPECT_EQ(fields(setup), before) << c.path.toStdString();
        EXPECT_TRUE(e->detail().startsWith("\"" + c.path + "\": ")) << e->detail().toStdString();
        if (c.number == 0x80040141u) {
            EXPECT_TRUE(capture.hasReportWith({"Assertion: false", "File: Setup", "Function: ReadFromFile"}));
        }
    }
}

// Loading copies what the file holds; whatever a setup saved loads back, and what could not load
// back is not saved.
TEST(Setup, FilesLoadAsTheyAreAndEverySavedSetupLoadsBack) {
    QTemporaryDir dir;
    const auto path = [&](const char* name) { return dir.filePath(QLatin1String(name)); };
    const struct {
        const char* name;
        QByteArray content;
        QString comments, model;
        QByteArray learnString;
    } files[] = {
        {"bar.stp", "STP1.00\n123\n a|b \nVELTV200B\n:SYSTEM:SETUP #11x", "a|b", "TV200B", "#11x"},
        {"crlf.stp", "STP1.00\r\n123\r\nnote\r\nVELTV200B\r\n:SYSTEM:SETUP #11x", "note", "TV200B", "#11x"},
        {"long.stp", "STP1.00\n1\n" + QByteArray(10000, 'c') + "\nVELM\n:SYSTEM:SETUP ab",
         QString(10000, u'c'), "M", "ab"},
    };
    for (const auto& f : files) {
        SetupTavrelScope setup;
        fillSetup(setup, "Kept", kModel, kVersion);
        setup.ReadFromFile(writeFile(path(f.name), f.content));
        EXPECT_EQ(fields(setup), (QStringList{"Kept", f.comments, f.learnString.toHex(), f.model, "X.XX.XX"}))
            << f.name;
    }

    SetupTavrelScope longComments;
    fillSetup(longComments, "S", kModel, kVersion, allByteValues(), QString(10000, u'n'));
    longComments.SaveToFile(path("long.scp"));
    SetupTavrelScope loaded;
    loaded.ReadFromFile(path("long.scp"));
    EXPECT_EQ(fields(loaded),
              (QStringList{"Setup1", QString(10000, u'n'), allByteValues().toHex(), kModel, kVersion}));

    // A "|" ends a field of an .scp file: such a setup is refused, and no file is written.
    SetupTavrelScope bar;
    bar.ReadFromFile(path("bar.stp"));
    const auto e = ErrorOf([&] { bar.SaveToFile(path("bar.scp")); });
    expectError(e, 0x8004793Du, "Error while saving to file.");
    EXPECT_TRUE(e->detail().contains("|")) << e->detail().toStdString();
    EXPECT_FALSE(QFile::exists(path("bar.scp")));
}
