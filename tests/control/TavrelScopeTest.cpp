#include "control/TavrelScope.h"
#include "control/CDebug.h"
#include "control/Localization.h"
#include "control/PropertyPagesSeam.h"
#include "control/TavrelError.h"
#include "hosting/MemoryPropertyBag.h"
#include "support/Errors.h"

#include <QDir>
#include <QFile>
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
    // Help files are installed into a folder of the test's own.
    TavrelScopeTest() { SetComponentFolder(m_folder.path()); }
    ~TavrelScopeTest() override {
        SetComponentFolder(QString());
        SetStringOffset(0);
        SetPropertyPagesHandler(nullptr);
    }
    // Raises the control's reports as events and keeps them.
    void watch(TavrelScope& control) {
        QObject::connect(&control, &TavrelScope::SupportMessage,
                         [this](const QString& m) { m_reports.append(m); });
        control.SetSupportMessageMode(CDebug::EventBit);
    }
    QByteArray readFile(const QString& name) const {
        QFile f(QDir(m_folder.path()).filePath(name));
        return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
    }
    QTemporaryDir m_folder;
    QStringList m_reports;
};

} // namespace

TEST_F(TavrelScopeTest, DefaultsOfANewControlAndOfAnEmptyStore) {
    TavrelScope control;
    EXPECT_EQ(control.HelpFile(), "Tavrel.hlp");
    EXPECT_EQ(control.SearchCriteria().metaType().id(), QMetaType::Short);
    EXPECT_EQ(control.SearchCriteria().toInt(), 0);
    // A new control takes its font size from string 103 and logs its reports; a store without the
    // keys gives the stored defaults instead.
    const struct {
        const char* what;
        int fontSize, supportMessageMode;
    } cases[] = {{"new control", 9, CDebug::MessageLogBit}, {"empty store", 8, 0}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(control.Address(), "GPIB0::7::INSTR");
        EXPECT_EQ(control.CountryCode(), 1);
        EXPECT_EQ(control.FontName(), "MS Sans Serif");
        EXPECT_EQ(control.FontSize(), c.fontSize);
        EXPECT_EQ(control.SupportMessageMode(), c.supportMessageMode);
        control.SetAddress("COM2");
        control.SetCountryCode(39);
        MemoryPropertyBag empty;
        control.ReadProperties(empty);
    }
}

TEST_F(TavrelScopeTest, WritesItsKeysInOrderAndReadsThemBack) {
    TavrelScope control;
    control.SetCountryCode(49);
    control.SetAddress("COM3::Baud=19200");
    control.SetFontName("Arial");
    control.SetFontSize(12);
    control.SetDebugEnabled(true);
    control.SetDontShowSetupIOConfigurationWarning(true);
    control.SetLastIOHandshakeAddress("COM1");
    control.SetInitialSearchMode(true);
    control.SetSupportMessageMode(4);
    MemoryPropertyBag bag;
    control.WriteProperties(bag);
    EXPECT_EQ(bag.keys().mid(0, 8), (QStringList{"CountryCode", "Address", "FontName", "FontSize",
                                                 "DebugEnabled", "DontShowSetupIOConfigurationWarning",
                                                 "LastIOHandshakeAddress", "InitialSearchMode"}));
    EXPECT_EQ(bag.keys().last(), "DebugEnableEvent");
    EXPECT_TRUE(bag.contains("SearchCriteria"));

    // The stored font survives the language's own font; a restored control writes the same store.
    TavrelScope restored;
    restored.ReadProperties(bag);
    EXPECT_EQ(StringOffset(), 4000);
    EXPECT_EQ(restored.FontSize(), 12);
    MemoryPropertyBag again;
    restored.WriteProperties(again);
    EXPECT_EQ(again.keys(), bag.keys());
    for (const QString& key : bag.keys())
        EXPECT_TRUE(PropertyValuesEqual(again.value(key), bag.value(key))) << qPrintable(key);
}

TEST_F(TavrelScopeTest, CountryCodeSelectsLanguageOffsetAndFonts) {
    LocaleScope locale("C.UTF-8");
    const struct {
        int code, offset;
    } cases[] = {{1, 0}, {33, 1000}, {34, 2000}, {39, 3000}, {49, 4000}, {81, 5000}, {82, 6000}, {886, 7000}};
    TavrelScope control;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.code);
        control.SetCountryCode(c.code);
        EXPECT_EQ(control.CountryCode(), c.code);
        EXPECT_EQ(StringOffset(), c.offset);
        EXPECT_EQ(control.FontName(), "MS Sans Serif");
        EXPECT_EQ(control.FontSize(), c.code == 81 ? 14 : 9);
    }
}

TEST_F(TavrelScopeTest, RefusedCountryCodesChangeNothing) {
    LocaleScope locale("C"); // one byte a character: the Asian languages cannot be shown
    TavrelScope control;
    control.SetCountryCode(33);
    watch(control);
    const struct {
        int code, text;
        const char* location;
    } cases[] = {{0, 106, "Case Else"},
                 {2, 106, "Case Else"},
                 {44, 106, "Case Else"},
                 {-1, 106, "Case Else"},
                 {81, 107, "Case Tavrel_Language_Japanese"},
                 {82, 107, "Case Tavrel_Language_Korean"},
                 {886, 107, "Case Tavrel_Language_Taiwanese"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.code);
        m_reports.clear();
        const std::optional<TavrelError> e = ErrorOf([&] { control.SetCountryCode(c.code); });
        ASSERT_TRUE(e);
        EXPECT_EQ(e->number(), static_cast<qint32>(0x8004017Cu));
        if (c.text == 107) {
            EXPECT_EQ(e->helpContext(), 1004);
        }
        EXPECT_EQ(e->description(), LoadResString(1000 + c.text)); // in the language that stays selected
        EXPECT_EQ(e->source(), LoadResString(1104));
        EXPECT_EQ(control.CountryCode(), 33);
        EXPECT_EQ(StringOffset(), 1000);
        ASSERT_FALSE(m_reports.isEmpty());
        EXPECT_TRUE(m_reports.first().contains("Assertion: False\r\n"));
        EXPECT_TRUE(m_reports.first().contains(QStringLiteral("Location: %1\r\n").arg(c.location)));
    }
}

TEST_F(TavrelScopeTest, LanguageChangeInstallsItsHelpFiles) {
    QDir(m_folder.path()).mkdir("Help");
    for (const char* name : {"TAVCTLfr.hlp", "TAVCTLfr.cnt"}) {
        QFile f(QDir(m_folder.path()).filePath(QStringLiteral("Help/") + name));
        ASSERT_TRUE(f.open(QIODevice::WriteOnly));
        f.write(name);
    }
    TavrelScope control;
    control.SetCountryCode(33);
    EXPECT_EQ(readFile("Tavrel.hlp"), "TAVCTLfr.hlp");
    EXPECT_EQ(readFile("Tavrel.cnt"), "TAVCTLfr.cnt");

    // No German help files: the French ones stay, the copy failure is reported, the language changes.
    watch(control);
    control.SetCountryCode(49);
    EXPECT_EQ(control.CountryCode(), 49);
    EXPECT_EQ(readFile("Tavrel.hlp"), "TAVCTLfr.hlp");
    ASSERT_EQ(m_reports.size(), 1);
    EXPECT_TRUE(m_reports.first().contains(LoadResString(4108)));
}

TEST_F(TavrelScopeTest, ShowPropertyPagesSelectsPagesAndStartPage) {
    QList<QPair<QStringList, int>> shown;
    SetPropertyPagesHandler([&](const QStringList& pages, int start) { shown.append({pages, start}); });
    const QStringList all = {"TavrelPPSrchIO", "TavrelPPSrchCri", "TavrelPPSetIO", "TavrelPPSetup"};
    const struct {
        int pages;
        QStringList expected;
        int start;
    } cases[] = {{0, all, -1}, {1, all, 3}, {2, all.mid(0, 2), -1}, {3, all, 2}};
    TavrelScope control;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.pages);
        shown.clear();
        control.ShowPropertyPages(c.pages);
        ASSERT_EQ(shown.size(), 1);
        EXPECT_EQ(shown[0].first, c.expected);
        EXPECT_EQ(shown[0].second, c.start);
        EXPECT_EQ(control.PropertyPageList(), all + QStringList{QString()}) << "all four stay registered";
    }
    for (int bad : {-1, 4}) {
        shown.clear();
        const std::optional<TavrelError> e = ErrorOf([&] { control.ShowPropertyPages(bad); });
        ASSERT_TRUE(e) << bad;
        EXPECT_EQ(e->description(), "Asian languages are not supported on this computer.");
        EXPECT_EQ(e->helpContext(), 1004);
        EXPECT_EQ(e->helpFile(), "Tavrel.hlp");
        EXPECT_TRUE(shown.isEmpty());
    }
}

TEST_F(TavrelScopeTest, RefusedPropertyValuesChangeNothing) {
    TavrelScope control;
    EXPECT_THROW(control.SetAddress("LPT1"), TavrelError);
    EXPECT_EQ(control.Address(), "GPIB0::7::INSTR");
    EXPECT_THROW(control.SetFontSize(40000), TavrelError);
    EXPECT_EQ(control.FontSize(), 9);
}
