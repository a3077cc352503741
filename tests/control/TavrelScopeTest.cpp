#include "control/TavrelScope.h"
#include "base/CDebug.h"
#include "base/Localization.h"
#include "base/TavrelError.h"
#include "control/PropertyPagesSeam.h"
#include "hosting/MemoryPropertyBag.h"
#include "support/Errors.h"

#include "control/CTavrelEZ.h"
#include "setups/SetupsTavrelScope.h"

#include <QDir>
#include <QFile>
#include <QHash>
#include <QTemporaryDir>
#include <gtest/gtest.h>

namespace {

// Help files go to a folder of the test's own; the locale the language check reads is restored.
class TavrelScopeTest : public ::testing::Test {
protected:
    TavrelScopeTest() : m_savedLocale(qgetenv("LC_ALL")) { SetComponentFolder(m_folder.path()); }
    ~TavrelScopeTest() override {
        qputenv("LC_ALL", m_savedLocale);
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
        QFile f(m_folder.filePath(name));
        return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
    }
    QByteArray m_savedLocale;
    QTemporaryDir m_folder;
    QStringList m_reports;
};

} // namespace

TEST_F(TavrelScopeTest, DefaultsOfANewControlAndOfAnEmptyStore) {
    TavrelScope control;
    EXPECT_EQ(control.SearchCriteria().metaType().id(), QMetaType::Short);
    EXPECT_EQ(control.SearchCriteria().toInt(), 0);
    EXPECT_THROW(control.SetAddress("LPT1"), TavrelError); // refused values change nothing
    EXPECT_THROW(control.SetFontSize(40000), TavrelError);
    // A new control takes its font size from string 103 and logs its reports; a store without the
    // keys gives the stored defaults instead.
    const std::tuple<const char*, int, int> cases[] = {{"new control", 9, CDebug::MessageLogBit},
                                                       {"empty store", 8, 0}};
    for (const auto& [what, fontSize, supportMessageMode] : cases) {
        SCOPED_TRACE(what);
        EXPECT_EQ(control.Address(), "GPIB0::7::INSTR");
        EXPECT_EQ(control.CountryCode(), 1);
        EXPECT_EQ(control.FontName(), "MS Sans Serif");
        EXPECT_EQ(control.FontSize(), fontSize);
        EXPECT_EQ(control.SupportMessageMode(), supportMessageMode);
        control.SetAddress("COM2");
        control.SetCountryCode(39);
        MemoryPropertyBag empty;
        control.ReadProperties(empty);
    }
}

TEST_F(TavrelScopeTest, ReadsItsKeysAndWritesThemBackInOrder) {
    // In the order they are written; the debug switches come last.
    const QStringList names = QStringLiteral("CountryCode Address FontName FontSize DebugEnabled "
                                             "DontShowSetupIOConfigurationWarning LastIOHandshakeAddress "
                                             "InitialSearchMode DebugEnableEvent DebugAssert")
                                  .split(u' ');
    const QVariantList values = {49, "COM3::Baud=19200", "Arial", 12, true, true, "COM1", true, true, true};
    MemoryPropertyBag bag, again;
    for (int i = 0; i < names.size(); ++i)
        bag.set(names[i], values[i]);
    TavrelScope control;
    control.ReadProperties(bag);
    EXPECT_EQ(StringOffset(), 4000);
    EXPECT_EQ(control.FontSize(), 12) << "the stored font survives the language's own font";
    control.WriteProperties(again);
    for (int i = 0; i < names.size(); ++i)
        EXPECT_TRUE(PropertyValuesEqual(again.value(names[i]), values[i])) << qPrintable(names[i]);
    EXPECT_EQ(again.keys().mid(0, 8) + again.keys().mid(again.size() - 2), names);
    EXPECT_TRUE(again.contains("SearchCriteria"));
}

// One refused value does not cost the rest: it is reported, every other key, the setups and the
// diagnostics keys are still read, and the first failure reaches the host with the component's
// number and text, the store and the key on its detail line.
TEST_F(TavrelScopeTest, ARefusedStoredValueIsReportedAndTheRestIsStillRead) {
    const std::pair<const char*, QVariant> refused[] = {
        {"Address", "xyz"},      {"CountryCode", 999}, {"FontSize", qint64(4294967308LL)},
        {"DebugEnabled", "yes"}, {"TXDelay", -1},      {"SearchCriteria", QByteArray(10, '\0')},
        {"SetupCount", "two"},
    };
    for (const auto& [key, value] : refused) {
        SCOPED_TRACE(key);
        MemoryPropertyBag bag(QStringLiteral("doc.json"));
        bag.set("FontName", "Arial");
        bag.set("InitialSearchMode", true);
        bag.set(key, value);
        if (QLatin1String(key) != QLatin1String("SetupCount")) bag.set("SetupCount", 1);
        bag.set("1SetupName", "Kept");
        bag.set("DebugEnableEvent", true);
        TavrelScope control;
        watch(control);
        m_reports.clear();
        const std::optional<TavrelError> error = ErrorOf([&] { control.ReadProperties(bag); });
        ASSERT_TRUE(error.has_value());
        EXPECT_EQ(error->number(), ErrorNumber::InvalidPropertyValue);
        EXPECT_EQ(error->description(), "Invalid property value.");
        EXPECT_TRUE(error->detail().startsWith("doc.json: ")) << error->detail().toStdString();
        EXPECT_TRUE(error->detail().contains(QStringLiteral("\"%1\"").arg(QLatin1String(key))))
            << error->detail().toStdString();
        EXPECT_EQ(control.FontName(), "Arial");
        EXPECT_TRUE(control.InitialSearchMode());
        EXPECT_EQ(control.Setups().Count(), QLatin1String(key) == QLatin1String("SetupCount") ? 0 : 1);
        EXPECT_EQ(control.SupportMessageMode(), CDebug::EventBit);
        // Reported once, by the object that read the key (the control or one it owns).
        EXPECT_EQ(m_reports.join(u'\n').count(QStringLiteral("Invalid property value.")), 1)
            << m_reports.join(u'\n').toStdString();
    }
}

TEST_F(TavrelScopeTest, CountryCodeSelectsTheLanguageOrIsRefused) {
    qputenv("LC_ALL", "C.UTF-8");
    TavrelScope control;
    const std::pair<int, int> offsets[] = {{1, 0},     {33, 1000}, {34, 2000}, {39, 3000},
                                           {49, 4000}, {81, 5000}, {82, 6000}, {886, 7000}};
    for (const auto& [code, offset] : offsets) {
        control.SetCountryCode(code);
        EXPECT_EQ(StringOffset(), offset) << code;
        EXPECT_EQ(control.FontSize(), code == 81 ? 14 : 9) << code;
    }

    qputenv("LC_ALL", "C"); // one byte a character: the Asian languages cannot be shown
    control.SetCountryCode(33);
    watch(control);
    // Unknown codes are refused with text 106, the Asian languages with 107 and a help context.
    const QHash<int, QString> asian = {{81, "Japanese"}, {82, "Korean"}, {886, "Taiwanese"}};
    for (int code : {0, 2, 44, -1, 81, 82, 886}) {
        const int text = asian.contains(code) ? 107 : 106;
        const QString location = asian.contains(code) ? "Case Tavrel_Language_" + asian[code] : "Case Else";
        SCOPED_TRACE(code);
        m_reports.clear();
        const std::optional<TavrelError> e = ErrorOf([&] { control.SetCountryCode(code); });
        ASSERT_TRUE(e);
        EXPECT_EQ(e->number(), static_cast<qint32>(0x8004017Cu));
        EXPECT_TRUE(text == 106 || e->helpContext() == 1004) << e->helpContext();
        EXPECT_EQ(e->description(), LoadResString(1000 + text)); // in the language that stays selected
        EXPECT_EQ(e->source(), LoadResString(1104));
        EXPECT_EQ(std::make_pair(control.CountryCode(), StringOffset()), std::make_pair(33, 1000));
        const QString report = m_reports.value(0);
        EXPECT_TRUE(report.contains("Assertion: False\r\nAt: ") &&
                    report.contains("Location: " + location + "\r\n"))
            << qPrintable(report);
    }
}

TEST_F(TavrelScopeTest, LanguageChangeInstallsItsHelpFiles) {
    ASSERT_TRUE(QDir(m_folder.path()).mkdir("Help"));
    for (const char* name : {"TAVCTLfr.hlp", "TAVCTLfr.cnt"}) {
        QFile f(m_folder.filePath(QStringLiteral("Help/") + name));
        ASSERT_TRUE(f.open(QIODevice::WriteOnly) && f.write(name) > 0);
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
    SetPropertyPagesHandler([&](QObject*, const QStringList& pages, int start) {
        shown.append({pages, start});
    });
    const QStringList all = {"TavrelPPSrchIO", "TavrelPPSrchCri", "TavrelPPSetIO", "TavrelPPSetup"};
    const std::tuple<int, QStringList, int> cases[] = {
        {0, all, -1}, {1, all, 3}, {2, all.mid(0, 2), -1}, {3, all, 2}};
    TavrelScope control;
    for (const auto& [pages, expected, start] : cases) {
        shown.clear();
        control.ShowPropertyPages(pages);
        EXPECT_EQ(shown, (QList<QPair<QStringList, int>>{{expected, start}})) << pages;
        EXPECT_EQ(control.PropertyPageList(), all + QStringList{QString()}) << "all four stay registered";
    }
    // Out of range: refused with the text of 107, which this refusal has always carried.
    shown.clear();
    for (int bad : {-1, 4}) {
        const std::optional<TavrelError> e = ErrorOf([&] { control.ShowPropertyPages(bad); });
        ASSERT_TRUE(e) << bad;
        EXPECT_EQ(e->description(), "Asian languages are not supported on this computer.");
        EXPECT_EQ(std::make_pair(e->helpFile(), e->helpContext()),
                  std::make_pair(QString("Tavrel.hlp"), 1004));
        EXPECT_TRUE(shown.isEmpty());
    }
}
