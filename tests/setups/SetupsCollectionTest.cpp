#include "SetupTestSupport.h"

#include "control/CTavrelEZ.h"
#include "control/ControlDocument.h"
#include "control/TavrelScope.h"
#include "setups/SetupsTavrelScope.h"
#include "support/DiagnosticsCapture.h"

#include <QDir>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <variant>

namespace {

const QString kDuplicate =
    QStringLiteral("This key is already associated with an element of this collection");

QStringList names(const SetupsTavrelScope& setups) {
    QStringList list;
    for (const SetupTavrelScope& setup : setups) {
        list.append(setup.Name());
        EXPECT_EQ(setup.ParentSetups(), &setups) << setup.Name().toStdString();
    }
    return list;
}

// Two filled setups and settings other than the defaults.
void fillCollection(SetupsTavrelScope& setups) {
    setups.SetInitialDirectory(QStringLiteral("/data/setups"));
    setups.SetGetLearnStringOnAdd(false);
    setups.SetLastInstrumentSetup(QStringLiteral("Second"));
    fillSetup(setups.Add(QStringLiteral("First")), QStringLiteral("First"), QStringLiteral("TV100A"),
              QStringLiteral("A.01.02"), allByteValues(), QStringLiteral("one"));
    fillSetup(setups.Add(QStringLiteral("Second")), QStringLiteral("Second"), QStringLiteral("TV200B"),
              QStringLiteral("X.XX.XX"));
}

} // namespace

TEST(Setups, AddItemAndTheCollectionsErrors) {
    DiagnosticsCapture capture;
    SetupsTavrelScope setups;
    EXPECT_EQ(setups.InitialDirectory(), QDir::currentPath());
    for (const char* name : {"", "my setup", " A", "a|b"})
        expectError(errorOf([&] { setups.Add(QLatin1String(name)); }), 0x8004017Cu);
    EXPECT_TRUE(capture.hasReportWith({QStringLiteral("Assertion: false"), QStringLiteral("File: Setups"),
                                       QStringLiteral("Function: Add")}));
    SetupTavrelScope& a = setups.Add(QStringLiteral("A"));
    EXPECT_FALSE(a.LearnString().isValid()) << "adding never gets a learn string";
    setups.Add(QStringLiteral("Bee"));
    expectError(errorOf([&] { setups.Add(QStringLiteral("bEE")); }), 457, kDuplicate);
    EXPECT_EQ(names(setups), (QStringList{"A", "Bee"}));
    EXPECT_EQ(&setups.Item(1), &a);
    EXPECT_EQ(&setups.Item(QStringLiteral("a")), &a);
    for (int position : {0, 3})
        expectError(errorOf([&] { setups.Item(position); }), 9, QStringLiteral("Subscript out of range"));
    for (const char* name : {"C", "", "1"})
        expectError(errorOf([&] { setups.Item(QLatin1String(name)); }), 5,
                    QStringLiteral("Invalid procedure call or argument"));
    expectError(errorOf([&] { setups.Remove(QStringLiteral("C")); }), 5);
    expectError(errorOf([&] { setups.Remove(3); }), 9);
    EXPECT_EQ(setups.Count(), 2);
}

TEST(Setups, RemovingClearsTheLastInstrumentSetupOnlyForItsExactName) {
    const struct {
        std::variant<int, const char*> key;
        bool cleared;
        const char* left;
    } cases[] = {{"Setup2", true, "Setup1,Setup3"},
                 {"setup2", false, "Setup1,Setup3"},
                 {2, false, "Setup1,Setup3"},
                 {1, false, "Setup2,Setup3"}};
    for (const auto& c : cases) {
        SetupsTavrelScope setups;
        for (const char* name : {"Setup1", "Setup2", "Setup3"})
            setups.Add(QLatin1String(name));
        setups.SetLastInstrumentSetup(QStringLiteral("Setup2"));
        if (const int* position = std::get_if<int>(&c.key))
            setups.Remove(*position);
        else
            setups.Remove(QLatin1String(std::get<const char*>(c.key)));
        EXPECT_EQ(names(setups).join(u','), QLatin1String(c.left));
        EXPECT_EQ(setups.LastInstrumentSetup(), c.cleared ? QString() : QStringLiteral("Setup2"));
    }
}

TEST(Setups, PersistsItsSettingsAndSetupsInOrder) {
    SetupsTavrelScope setups;
    fillCollection(setups);
    MemoryPropertyBag bag;
    setups.WriteProperties(bag);
    EXPECT_EQ(bag.keys(),
              (QStringList{"SetupsInitialDirectory", "SetupsGetLearnStringOnAdd", "LastInstrumentSetup",
                           "SetupCount", "1SetupName", "1SetupComments", "1LearnString", "1Model", "1Version",
                           "2SetupName", "2Model", "2Version"}));
    SetupsTavrelScope restored;
    restored.Add(QStringLiteral("Earlier")); // reading adds to what is there
    restored.ReadProperties(bag);
    EXPECT_EQ(names(restored), (QStringList{"Earlier", "First", "Second"}));
    EXPECT_EQ(restored.InitialDirectory(), QStringLiteral("/data/setups"));
    EXPECT_FALSE(restored.GetLearnStringOnAdd());
    EXPECT_EQ(restored.LastInstrumentSetup(), QStringLiteral("Second"));
    EXPECT_EQ(restored.Item(2).LearnString().toByteArray(), allByteValues());
    EXPECT_EQ(restored.Item(3).Version(), QStringLiteral("X.XX.XX"));

    // An empty store: the stored defaults, the initial directory empty rather than the current one.
    MemoryPropertyBag empty;
    SetupsTavrelScope fresh;
    fresh.ReadProperties(empty);
    EXPECT_EQ(fresh.Count(), 0);
    EXPECT_EQ(fresh.InitialDirectory(), QString());
    EXPECT_TRUE(fresh.GetLearnStringOnAdd());
    fresh.WriteProperties(empty);
    EXPECT_EQ(empty.size(), 0);
}

TEST(Setups, AStoredSetupWithABadNameEndsTheReadingThere) {
    const struct {
        QVariant secondName;
        quint32 number;
    } cases[] = {
        {QStringLiteral("SETUP1"), 457u}, {QStringLiteral("two words"), 0x8004017Cu}, {QVariant(), 457u}};
    for (const auto& c : cases) {
        MemoryPropertyBag bag;
        bag.set(QStringLiteral("SetupCount"), 3);
        bag.set(QStringLiteral("1SetupName"), QStringLiteral("Setup1"));
        if (c.secondName.isValid())
            bag.set(QStringLiteral("2SetupName"), c.secondName); // else "Setup1" again
        bag.set(QStringLiteral("3SetupName"), QStringLiteral("Third"));
        SetupsTavrelScope setups;
        expectError(errorOf([&] { setups.ReadProperties(bag); }), c.number);
        EXPECT_EQ(names(setups), QStringList{"Setup1"});
    }
    MemoryPropertyBag huge;
    huge.set(QStringLiteral("SetupCount"), 40000);
    SetupsTavrelScope setups;
    expectError(errorOf([&] { setups.ReadProperties(huge); }), 0x8004017Cu);
}

TEST(Setups, CopyReplacesTheSetupsButLeavesTheSession) {
    DiagnosticsCapture capture;
    CTavrelEZ session;
    SetupsTavrelScope source;
    fillCollection(source);
    source.SetCTavrelEZPtr(&session);
    SetupsTavrelScope copy;
    copy.Add(QStringLiteral("Old"));
    copy.Copy(&source);
    EXPECT_EQ(names(copy), (QStringList{"First", "Second"}));
    EXPECT_EQ(copy.LastInstrumentSetup(), QStringLiteral("Second"));
    EXPECT_EQ(copy.Item(1).LearnString().toByteArray(), allByteValues());
    EXPECT_NE(&copy.Item(1), &source.Item(1));
    EXPECT_EQ(copy.CTavrelEZPtr(), nullptr);
    source.Copy(&source);
    EXPECT_EQ(names(source), (QStringList{"First", "Second"}));
    expectError(errorOf([&] { copy.Copy(nullptr); }), 91);
    EXPECT_EQ(copy.Count(), 2);
    EXPECT_TRUE(capture.hasReportWith(
        {QStringLiteral("Assertion: (Not (setupsSource Is Nothing))"), QStringLiteral("Function: Copy")}));
}

TEST(Setups, SettingTheSessionReparentsEverySetup) {
    DiagnosticsCapture capture;
    SetupsTavrelScope setups;
    SetupsTavrelScope elsewhere;
    setups.Add(QStringLiteral("A")).SetParentSetups(&elsewhere);
    setups.Add(QStringLiteral("B")).SetParentSetups(nullptr);
    EXPECT_EQ(setups.CTavrelEZPtr(), nullptr);
    EXPECT_TRUE(capture.hasReportWith({QStringLiteral("Assertion: (Not (m_ctavrelez Is Nothing))"),
                                       QStringLiteral("File: Setups"),
                                       QStringLiteral("Function: Get CTavrelEZPtr")}));
    CTavrelEZ session;
    setups.SetCTavrelEZPtr(&session);
    EXPECT_EQ(setups.CTavrelEZPtr(), &session);
    EXPECT_EQ(names(setups), (QStringList{"A", "B"}));
}

TEST(ControlSetups, DefaultsEmptyTheSetupsAndHandThemTheSession) {
    TavrelScope control;
    EXPECT_EQ(control.Setups().Count(), 0);
    EXPECT_EQ(control.Setups().CTavrelEZPtr(), &control.Session());
    fillCollection(control.Setups());
    control.InitProperties();
    EXPECT_EQ(control.Setups().Count(), 0);
    EXPECT_EQ(control.Setups().LastInstrumentSetup(), QStringLiteral("Second")) << "emptied by position";
}

TEST(ControlSetups, AHostDocumentKeepsTheSetupsExactly) {
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("doc.json"));
    {
        TavrelScope control;
        control.SetSupportMessageMode(4);
        fillCollection(control.Setups());
        ControlDocument::Save(control, path);
    }
    const QByteArray saved = fileBytes(path);
    const QJsonObject json = QJsonDocument::fromJson(saved).object();
    EXPECT_EQ(
        json.value(QStringLiteral("1LearnString")).toObject().value(QStringLiteral("base64")).toString(),
        QString::fromLatin1(allByteValues().toBase64()));
    // After the I/O configuration, before the diagnostics.
    const QStringList lines = QString::fromUtf8(saved).split(u'\n');
    const auto line = [&](const char* key) {
        return lines.indexOf(QRegularExpression(QStringLiteral("^  \"%1\":.*").arg(QLatin1String(key))));
    };
    EXPECT_LT(line("SearchCriteria"), line("SetupsInitialDirectory"));
    EXPECT_EQ(line("2Version") + 1, line("DebugEnableEvent"));

    TavrelScope loaded;
    ControlDocument::Load(loaded, path);
    EXPECT_EQ(names(loaded.Setups()), (QStringList{"First", "Second"}));
    EXPECT_EQ(loaded.Setups().CTavrelEZPtr(), &loaded.Session());
    ControlDocument::Save(loaded, path);
    EXPECT_EQ(fileBytes(path), saved) << "a document round-trips byte for byte";
}
