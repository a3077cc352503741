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

// The names in order, each setup checked to have the collection as its parent.
QString names(const SetupsTavrelScope& setups) {
    QStringList list;
    for (const SetupTavrelScope& setup : setups) {
        list.append(setup.Name());
        EXPECT_EQ(setup.ParentSetups(), &setups) << setup.Name().toStdString();
    }
    return list.join(u',');
}

// Two filled setups and settings other than the defaults.
void fillCollection(SetupsTavrelScope& setups) {
    setups.SetInitialDirectory("/data/setups");
    setups.SetGetLearnStringOnAdd(false);
    setups.SetLastInstrumentSetup("Second");
    fillSetup(setups.Add("First"), "First", "TV100A", "A.01.02", allByteValues(), "one");
    fillSetup(setups.Add("Second"), "Second", "TV200B", "X.XX.XX");
}

} // namespace

TEST(Setups, AddItemAndTheCollectionsErrors) {
    DiagnosticsCapture capture;
    SetupsTavrelScope setups;
    EXPECT_EQ(setups.InitialDirectory(), QDir::currentPath());
    for (const char* name : {"", "my setup", " A", "a|b"})
        expectError(ErrorOf([&] { setups.Add(name); }), 0x8004017Cu);
    EXPECT_TRUE(capture.hasReportWith({"Assertion: false", "File: Setups", "Function: Add"}));
    SetupTavrelScope& a = setups.Add("A");
    EXPECT_FALSE(a.LearnString().isValid()) << "adding never gets a learn string";
    setups.Add("Bee");
    expectError(ErrorOf([&] { setups.Add("bEE"); }), 457,
                "This key is already associated with an element of this collection");
    EXPECT_EQ(names(setups), "A,Bee");
    EXPECT_EQ(&setups.Item(1), &a);
    EXPECT_EQ(&setups.Item("a"), &a);
    for (int position : {0, 3})
        expectError(ErrorOf([&] { setups.Item(position); }), 9, "Subscript out of range");
    for (const char* name : {"C", "", "1"})
        expectError(ErrorOf([&] { setups.Item(name); }), 5, "Invalid procedure call or argument");
    expectError(ErrorOf([&] { setups.Remove("C"); }), 5);
    expectError(ErrorOf([&] { setups.Remove(3); }), 9);
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
            setups.Add(name);
        setups.SetLastInstrumentSetup("Setup2");
        std::visit([&](auto key) { setups.Remove(key); }, c.key);
        EXPECT_EQ(names(setups), c.left);
        EXPECT_EQ(setups.LastInstrumentSetup(), c.cleared ? "" : "Setup2") << c.left;
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
    restored.Add("Earlier"); // reading adds to what is there
    restored.ReadProperties(bag);
    EXPECT_EQ(names(restored), "Earlier,First,Second");
    EXPECT_EQ(restored.InitialDirectory(), "/data/setups");
    EXPECT_FALSE(restored.GetLearnStringOnAdd());
    EXPECT_EQ(restored.LastInstrumentSetup(), "Second");
    EXPECT_EQ(restored.Item(2).LearnString().toByteArray(), allByteValues());
    EXPECT_EQ(restored.Item(3).Version(), "X.XX.XX");

    // An empty store: the stored defaults, the initial directory empty rather than the current one.
    MemoryPropertyBag empty;
    SetupsTavrelScope fresh;
    fresh.ReadProperties(empty);
    EXPECT_EQ(fresh.Count(), 0);
    EXPECT_EQ(fresh.InitialDirectory(), QString());
    EXPECT_TRUE(fresh.GetLearnStringOnAdd());
    fresh.WriteProperties(empty);
    EXPECT_EQ(empty.size(), 0);

    // A stored setup with a bad name ends the reading there.
    for (const auto& [second, number] : std::initializer_list<std::pair<QVariant, quint32>>{
             {"SETUP1", 457u}, {"two words", 0x8004017Cu}, {QVariant(), 457u}}) {
        MemoryPropertyBag bad;
        bad.set("SetupCount", 3);
        bad.set("1SetupName", "Setup1");
        if (second.isValid()) bad.set("2SetupName", second); // else "Setup1" again
        bad.set("3SetupName", "Third");
        SetupsTavrelScope read;
        expectError(ErrorOf([&] { read.ReadProperties(bad); }), number);
        EXPECT_EQ(names(read), "Setup1");
    }
    // The count is taken as stored, beyond 16 bits too: with nothing stored, the second setup
    // repeats the default name, and the detail names the key. A count no 32-bit integer holds
    // is refused naming the key; a negative one reads no setups.
    const struct {
        QVariant count;
        quint32 number; // 0: read without error
        const char* names;
        const char* detail;
    } counts[] = {{40000, 457u, "Setup1", "doc.json: \"2SetupName\""},
                  {qint64(1) << 32, 0x8004017Cu, "", "doc.json: the value of \"SetupCount\""},
                  {-5, 0, "", ""}};
    for (const auto& c : counts) {
        MemoryPropertyBag store("doc.json");
        store.set("SetupCount", c.count);
        SetupsTavrelScope read;
        const auto e = ErrorOf([&] { read.ReadProperties(store); });
        if (c.number) {
            expectError(e, c.number);
            EXPECT_TRUE(e->detail().startsWith(c.detail)) << e->detail().toStdString();
        } else {
            EXPECT_FALSE(e.has_value());
        }
        EXPECT_EQ(names(read), c.names);
    }
}

// A refused setting is reported, and the setups are still read.
TEST(Setups, ARefusedSettingDoesNotCostTheSetups) {
    MemoryPropertyBag bag("doc.json");
    bag.set("SetupsGetLearnStringOnAdd", "no");
    bag.set("LastInstrumentSetup", "B");
    bag.set("SetupCount", 2);
    bag.set("1SetupName", "A");
    bag.set("2SetupName", "B");
    SetupsTavrelScope setups;
    const auto e = ErrorOf([&] { setups.ReadProperties(bag); });
    expectError(e, 0x8004017Cu, "Invalid property value.");
    EXPECT_TRUE(e->detail().contains("\"SetupsGetLearnStringOnAdd\"")) << e->detail().toStdString();
    EXPECT_EQ(names(setups), "A,B");
    EXPECT_EQ(setups.LastInstrumentSetup(), "B");
    EXPECT_TRUE(setups.GetLearnStringOnAdd());
}

// The largest count a 16-bit index reaches: every setup is read, in order, and written back the same.
TEST(Setups, ExactlyThirtyTwoThousandSevenHundredSixtySevenSetupsLoad) {
    constexpr int kCount = 32767;
    MemoryPropertyBag bag;
    bag.set("SetupCount", kCount);
    for (int i = 1; i <= kCount; ++i)
        bag.set(QString::number(i) + "SetupName", QStringLiteral("S%1").arg(i));
    SetupsTavrelScope setups;
    setups.ReadProperties(bag);
    ASSERT_EQ(setups.Count(), kCount);
    EXPECT_EQ(setups.Item(1).Name(), "S1");
    EXPECT_EQ(setups.Item(kCount).Name(), "S32767");
    EXPECT_EQ(&setups.Item("s20000"), &setups.Item(20000));
    MemoryPropertyBag written;
    setups.WriteProperties(written);
    EXPECT_EQ(written.value("SetupCount").toInt(), kCount);
    EXPECT_EQ(written.value("32767SetupName").toString(), "S32767");
    // Removing frees a name for a new setup, whatever its case.
    setups.Remove("S5");
    EXPECT_NO_THROW(setups.Add("s5"));
    expectError(ErrorOf([&] { setups.Add("S6"); }), 457u);
}

TEST(Setups, CopyReplacesTheSetupsButLeavesTheSession) {
    DiagnosticsCapture capture;
    CTavrelEZ session;
    SetupsTavrelScope source;
    fillCollection(source);
    source.SetCTavrelEZPtr(&session);
    SetupsTavrelScope copy;
    copy.Add("Old");
    copy.Copy(&source);
    EXPECT_EQ(names(copy), "First,Second");
    EXPECT_EQ(copy.LastInstrumentSetup(), "Second");
    EXPECT_EQ(copy.Item(1).LearnString().toByteArray(), allByteValues());
    EXPECT_NE(&copy.Item(1), &source.Item(1));
    EXPECT_EQ(copy.CTavrelEZPtr(), nullptr);
    source.Copy(&source);
    EXPECT_EQ(names(source), "First,Second");
    expectError(ErrorOf([&] { copy.Copy(nullptr); }), 91);
    EXPECT_EQ(copy.Count(), 2);
    EXPECT_TRUE(capture.hasReportWith({"Assertion: (Not (setupsSource Is Nothing))", "Function: Copy"}));
}

TEST(Setups, SettingTheSessionReparentsEverySetup) {
    DiagnosticsCapture capture;
    SetupsTavrelScope setups, elsewhere;
    setups.Add("A").SetParentSetups(&elsewhere);
    setups.Add("B").SetParentSetups(nullptr);
    EXPECT_EQ(setups.CTavrelEZPtr(), nullptr);
    EXPECT_TRUE(capture.hasReportWith(
        {"Assertion: (Not (m_ctavrelez Is Nothing))", "File: Setups", "Function: Get CTavrelEZPtr"}));
    CTavrelEZ session;
    setups.SetCTavrelEZPtr(&session);
    EXPECT_EQ(setups.CTavrelEZPtr(), &session);
    EXPECT_EQ(names(setups), "A,B");
}

TEST(ControlSetups, AHostDocumentKeepsTheSetupsExactlyAndDefaultsEmptyThem) {
    QTemporaryDir dir;
    const QString path = dir.filePath("doc.json");
    {
        TavrelScope control;
        control.SetSupportMessageMode(4);
        fillCollection(control.Setups());
        ControlDocument::Save(control, path);
        control.InitProperties();
        EXPECT_EQ(control.Setups().Count(), 0);
        EXPECT_EQ(control.Setups().LastInstrumentSetup(), "Second") << "emptied by position";
    }
    const QByteArray saved = fileBytes(path);
    const QJsonObject json = QJsonDocument::fromJson(saved).object();
    EXPECT_EQ(json.value("1LearnString").toObject().value("base64").toString(), allByteValues().toBase64());
    // After the I/O configuration, before the diagnostics.
    const QStringList lines = QString::fromUtf8(saved).split(u'\n');
    const auto line = [&](const char* key) {
        return lines.indexOf(QRegularExpression(QStringLiteral("^  \"%1\":.*").arg(QLatin1String(key))));
    };
    EXPECT_LT(line("SearchCriteria"), line("SetupsInitialDirectory"));
    EXPECT_EQ(line("2Version") + 1, line("DebugEnableEvent"));

    TavrelScope loaded;
    EXPECT_EQ(loaded.Setups().CTavrelEZPtr(), &loaded.Session());
    ControlDocument::Load(loaded, path);
    EXPECT_EQ(names(loaded.Setups()), "First,Second");
    EXPECT_EQ(loaded.Setups().CTavrelEZPtr(), &loaded.Session());
    ControlDocument::Save(loaded, path);
    EXPECT_EQ(fileBytes(path), saved) << "a document round-trips byte for byte";
}
