#include "control/TavrelScope.h"
#include "control/Localization.h"
#include "control/PropertyPagesSeam.h"
#include "control/TavrelError.h"
#include "hosting/MemoryPropertyBag.h"
#include "support/Errors.h"

#include <QTemporaryDir>
#include <gtest/gtest.h>

namespace {

// Selects a locale for the language check and puts the previous one back afterwards.
class LocaleScope {
public:
    explicit LocaleScope(const char* locale) : m_saved(qgetenv("LC_ALL")) { qputenv("LC_ALL", locale); }
    ~LocaleScope() { qputenv("LC_ALL", m_saved); }

private:
    QByteArray m_saved;
};

class TavrelScopeTest : public ::testing::Test {
protected:
    void SetUp() override {
        // Help files are installed into a folder of the test's own.
        SetComponentFolder(m_folder.path());
    }
    void TearDown() override {
        SetComponentFolder(QString());
        SetStringOffset(0);
        SetPropertyPagesHandler(nullptr);
    }
    QTemporaryDir m_folder;
};

template <typename Body> TavrelError expectError(Body body) {
    try {
        body();
    } catch (const TavrelError& e) {
        return e;
    }
    ADD_FAILURE() << "no error raised";
    return TavrelError(0, {}, {});
}

} // namespace

TEST_F(TavrelScopeTest, NewControlHasItsDefaults) {
    TavrelScope control;
    EXPECT_EQ(control.Address(), QStringLiteral("GPIB0::7::INSTR"));
    EXPECT_EQ(control.CountryCode(), 1);
    EXPECT_EQ(control.FontName(), QStringLiteral("MS Sans Serif"));
    EXPECT_EQ(control.FontSize(), 9); // a new control takes string 103, although the stored default is 8
    EXPECT_EQ(control.HelpFile(), QStringLiteral("Tavrel.hlp"));
    EXPECT_EQ(control.SupportMessageMode(), 2);
    EXPECT_EQ(control.SearchCriteria().metaType().id(), QMetaType::Short);
    EXPECT_EQ(control.SearchCriteria().toInt(), 0);
}

TEST_F(TavrelScopeTest, ReadingAnEmptyStoreGivesTheStoredDefaults) {
    TavrelScope control;
    control.SetAddress(QStringLiteral("COM2"));
    MemoryPropertyBag empty;
    control.ReadProperties(empty);
    EXPECT_EQ(control.Address(), QStringLiteral("GPIB0::7::INSTR"));
    EXPECT_EQ(control.CountryCode(), 1);
    EXPECT_EQ(control.FontName(), QStringLiteral("MS Sans Serif"));
    EXPECT_EQ(control.FontSize(), 8);
    EXPECT_EQ(control.SupportMessageMode(), 0);
}

TEST_F(TavrelScopeTest, WritesItsKeysInOrderAndReadsThemBack) {
    TavrelScope control;
    control.SetCountryCode(49);
    control.SetAddress(QStringLiteral("COM3::Baud=19200"));
    control.SetFontName(QStringLiteral("Arial"));
    control.SetFontSize(12);
    control.SetDebugEnabled(true);
    control.SetDontShowSetupIOConfigurationWarning(true);
    control.SetLastIOHandshakeAddress(QStringLiteral("COM1"));
    control.SetInitialSearchMode(true);
    control.SetSupportMessageMode(4);
    MemoryPropertyBag bag;
    control.WriteProperties(bag);
    const QStringList expectedStart = {QStringLiteral("CountryCode"),
                                       QStringLiteral("Address"),
                                       QStringLiteral("FontName"),
                                       QStringLiteral("FontSize"),
                                       QStringLiteral("DebugEnabled"),
                                       QStringLiteral("DontShowSetupIOConfigurationWarning"),
                                       QStringLiteral("LastIOHandshakeAddress"),
                                       QStringLiteral("InitialSearchMode")};
    EXPECT_EQ(bag.keys().mid(0, 8), expectedStart);
    EXPECT_EQ(bag.keys().last(), QStringLiteral("DebugEnableEvent"));
    EXPECT_TRUE(bag.contains(QStringLiteral("SearchCriteria")));

    TavrelScope restored;
    restored.ReadProperties(bag);
    EXPECT_EQ(restored.CountryCode(), 49);
    EXPECT_EQ(StringOffset(), 4000);
    EXPECT_EQ(restored.Address(), QStringLiteral("COM3::Baud=19200"));
    EXPECT_EQ(restored.FontName(), QStringLiteral("Arial"));
    EXPECT_EQ(restored.FontSize(), 12);
    EXPECT_TRUE(restored.DebugEnabled());
    EXPECT_TRUE(restored.DontShowSetupIOConfigurationWarning());
    EXPECT_EQ(restored.LastIOHandshakeAddress(), QStringLiteral("COM1"));
    EXPECT_TRUE(restored.InitialSearchMode());
    EXPECT_EQ(restored.SupportMessageMode(), 4);
}

TEST_F(TavrelScopeTest, CountryCodeSelectsLanguageOffsetAndFonts) {
    LocaleScope locale("C.UTF-8");
    const struct {
        int code, offset;
    } cases[] = {{1, 0}, {33, 1000}, {34, 2000}, {39, 3000}, {49, 4000}, {81, 5000}, {82, 6000}, {886, 7000}};
    TavrelScope control;
    for (const auto& c : cases) {
        control.SetCountryCode(c.code);
        EXPECT_EQ(control.CountryCode(), c.code);
        EXPECT_EQ(StringOffset(), c.offset);
        EXPECT_EQ(control.FontName(), QStringLiteral("MS Sans Serif"));
        EXPECT_EQ(control.FontSize(), c.code == 81 ? 14 : 9);
    }
}

TEST_F(TavrelScopeTest, AsianLanguagesNeedMultiByteLocale) {
    LocaleScope locale("C");
    TavrelScope control;
    control.SetCountryCode(33);
    QStringList reports;
    QObject::connect(&control, &TavrelScope::SupportMessage, [&](const QString& m) { reports.append(m); });
    control.SetSupportMessageMode(4);
    const struct {
        int code;
        const char* location;
    } cases[] = {{81, "Case Tavrel_Language_Japanese"},
                 {82, "Case Tavrel_Language_Korean"},
                 {886, "Case Tavrel_Language_Taiwanese"}};
    for (const auto& c : cases) {
        reports.clear();
        const TavrelError e = expectError([&] { control.SetCountryCode(c.code); });
        EXPECT_EQ(e.number(), static_cast<qint32>(0x8004017Cu));
        EXPECT_EQ(e.helpContext(), 1004);
        EXPECT_EQ(e.description(), LoadResString(1107)); // in the language that stays selected
        EXPECT_EQ(e.source(), LoadResString(1104));
        EXPECT_EQ(control.CountryCode(), 33);
        EXPECT_EQ(StringOffset(), 1000);
        ASSERT_FALSE(reports.isEmpty());
        EXPECT_TRUE(reports.first().contains(QStringLiteral("Assertion: False\r\n")));
        EXPECT_TRUE(
            reports.first().contains(QStringLiteral("Location: %1\r\n").arg(QLatin1String(c.location))));
    }
}

TEST_F(TavrelScopeTest, UnknownCountryCodeIsRefused) {
    TavrelScope control;
    for (int code : {0, 2, 44, -1}) {
        const TavrelError e = expectError([&] { control.SetCountryCode(code); });
        EXPECT_EQ(e.number(), static_cast<qint32>(0x8004017Cu));
        EXPECT_EQ(e.description(), QStringLiteral("Invalid property value."));
        EXPECT_EQ(control.CountryCode(), 1);
    }
}

TEST_F(TavrelScopeTest, LanguageChangeInstallsItsHelpFiles) {
    QDir folder(m_folder.path());
    folder.mkdir(QStringLiteral("Help"));
    for (const QString& name : {QStringLiteral("TAVCTLfr.hlp"), QStringLiteral("TAVCTLfr.cnt")}) {
        QFile f(folder.filePath(QStringLiteral("Help/") + name));
        ASSERT_TRUE(f.open(QIODevice::WriteOnly));
        f.write(name.toUtf8());
    }
    TavrelScope control;
    control.SetCountryCode(33);
    QFile help(folder.filePath(QStringLiteral("Tavrel.hlp")));
    ASSERT_TRUE(help.open(QIODevice::ReadOnly));
    EXPECT_EQ(help.readAll(), QByteArray("TAVCTLfr.hlp"));
    QFile contents(folder.filePath(QStringLiteral("Tavrel.cnt")));
    ASSERT_TRUE(contents.open(QIODevice::ReadOnly));
    EXPECT_EQ(contents.readAll(), QByteArray("TAVCTLfr.cnt"));

    // No German help files: the French ones stay, the copy failure is reported, the language changes.
    QStringList reports;
    QObject::connect(&control, &TavrelScope::SupportMessage, [&](const QString& m) { reports.append(m); });
    control.SetSupportMessageMode(4);
    control.SetCountryCode(49);
    EXPECT_EQ(control.CountryCode(), 49);
    help.close();
    ASSERT_TRUE(help.open(QIODevice::ReadOnly));
    EXPECT_EQ(help.readAll(), QByteArray("TAVCTLfr.hlp"));
    ASSERT_EQ(reports.size(), 1);
    EXPECT_TRUE(reports.first().contains(LoadResString(4108)));
}

TEST_F(TavrelScopeTest, ShowPropertyPagesSelectsPagesAndStartPage) {
    QList<QPair<QStringList, int>> shown;
    SetPropertyPagesHandler([&](const QStringList& pages, int start) { shown.append({pages, start}); });
    const QStringList all = {QStringLiteral("TavrelPPSrchIO"), QStringLiteral("TavrelPPSrchCri"),
                             QStringLiteral("TavrelPPSetIO"), QStringLiteral("TavrelPPSetup")};
    const struct {
        int pages;
        QStringList expected;
        int start;
    } cases[] = {{0, all, -1}, {1, all, 3}, {2, all.mid(0, 2), -1}, {3, all, 2}};
    TavrelScope control;
    for (const auto& c : cases) {
        shown.clear();
        control.ShowPropertyPages(c.pages);
        ASSERT_EQ(shown.size(), 1);
        EXPECT_EQ(shown[0].first, c.expected) << c.pages;
        EXPECT_EQ(shown[0].second, c.start) << c.pages;
        EXPECT_EQ(control.PropertyPageList(), all + QStringList{QString()}) << "all four stay registered";
    }
    for (int bad : {-1, 4}) {
        shown.clear();
        const TavrelError e = expectError([&] { control.ShowPropertyPages(bad); });
        EXPECT_EQ(e.description(), QStringLiteral("Asian languages are not supported on this computer."));
        EXPECT_EQ(e.helpContext(), 1004);
        EXPECT_EQ(e.helpFile(), QStringLiteral("Tavrel.hlp"));
        EXPECT_TRUE(shown.isEmpty());
    }
}

TEST_F(TavrelScopeTest, RefusedPropertyValuesChangeNothing) {
    TavrelScope control;
    EXPECT_THROW(control.SetAddress(QStringLiteral("LPT1")), TavrelError);
    EXPECT_EQ(control.Address(), QStringLiteral("GPIB0::7::INSTR"));
    EXPECT_THROW(control.SetFontSize(40000), TavrelError);
    EXPECT_EQ(control.FontSize(), 9);
}
