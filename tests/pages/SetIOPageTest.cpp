// The Set I/O page in its frame: edits reach the control on Apply, and every text fits in every
// language.
#include "pages/SetIOPage.h"
#include "base/MessageBoxSeam.h"
#include "control/ControlDocument.h"
#include "control/TavrelScope.h"
#include "iolib/IOUtilsEnums.h"
#include "pages/PageRegistry.h"
#include "pages/PropertyFrame.h"
#include "pages/PropertyPage.h"

#include <QAbstractButton>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QEventLoop>
#include <QLabel>
#include <QLineEdit>
#include <QSpinBox>
#include <QTabWidget>
#include <QTemporaryDir>
#include <gtest/gtest.h>

namespace {

template <typename T> T* child(QWidget& parent, int index = 0) {
    return parent.findChildren<T*>().value(index);
}

TEST(SetIOPage, ApplyHandsTheAddressAndTheSessionSettingsToTheControl) {
    TavrelScope control;
    control.InitProperties();
    control.ShowPropertyPages();
    PropertyFrame frame(&control, control.PropertyPageList().filter(QStringLiteral("Tavrel")), 2);
    auto* page = qobject_cast<SetIOPage*>(frame.tabs()->currentWidget());
    ASSERT_TRUE(page) << "position 2 is the Set I/O page";
    EXPECT_TRUE(control.SetIOExists());

    const struct {
        const char* port;
        const char* typed;
        int gpib;
        const char* address;
    } cases[] = {
        {"GPIB1", "", 12, "GPIB1::12::INSTR"},
        {"COM2", "", 0, "COM2::Handshake=DTR_DSR"},
        {"TCPIP / USB", "TCPIP0::127.0.0.1::5025::SOCKET", 0, "TCPIP0::127.0.0.1::5025::SOCKET"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.port);
        child<QComboBox>(*page, 0)->setCurrentText(QLatin1String(c.port));
        child<QLineEdit>(*page)->setText(QLatin1String(c.typed));
        child<QSpinBox>(*page, 0)->setValue(c.gpib);
        child<QComboBox>(*page, 3)->setCurrentIndex(0); // DTR/DSR
        child<QComboBox>(*page, 2)->setCurrentIndex(2); // even parity
        child<QSpinBox>(*page, 1)->setValue(120);
        ASSERT_TRUE(page->isChanged());
        ASSERT_TRUE(frame.apply());
        EXPECT_EQ(control.Address(), QLatin1String(c.address));
        EXPECT_EQ(control.TXDelay(), 120);
        if (QLatin1String(c.port) == QLatin1String("COM2")) {
            EXPECT_EQ(control.IOConfigurationControl().RS232Parity(2), CorvaneIOUtilsLib::RS232_Parity_Even);
        }
        EXPECT_FALSE(page->isChanged());
        EXPECT_TRUE(control.NotifyIOConfigurationChanged() & IPPTavrelScope::SearchInstrumentsPageBit);
    }
}

TEST(SetIOPage, TestsTheAddressItShowsAndCautionsAboutXonXoffOncePerAddress) {
    qputenv("TAVREL_IO", "sim");
    TavrelScope control;
    control.InitProperties();
    control.ShowPropertyPages();
    QStringList shown;
    SetMessageBoxHandler([&](const MessageBoxRequest& r) {
        shown.append(r.text);
        return kMessageBoxResultOK;
    });
    SetIOPage page;
    page.setShowCaution(false);
    page.setSelectedControls({&control});
    child<QSpinBox>(page, 0)->setValue(12); // not applied: Test takes what the page shows
    QEventLoop loop;
    page.test([&] { loop.quit(); });
    loop.exec();
    ASSERT_EQ(shown.size(), 1);
    EXPECT_TRUE(shown[0].contains("GPIB0::12::INSTR")) << shown[0].toStdString();
    EXPECT_EQ(control.Address(), "GPIB0::7::INSTR");
    SetMessageBoxHandler(nullptr);

    child<QComboBox>(page, 0)->setCurrentText("COM1");
    child<QComboBox>(page, 3)->setCurrentIndex(child<QComboBox>(page, 3)->findText("XON/XOFF"));
    ASSERT_TRUE(page.applyChanges());
    EXPECT_EQ(control.LastIOHandshakeAddress(), control.IOConfigurationPropertyPage().ActiveAddressString());
    EXPECT_FALSE(control.DontShowIOHandshakeWarning());
}

// Every label and button of every page and dialog shows its whole text, in every language.
TEST(PagesAndDialogs, EveryTextFitsInEveryLanguage) {
    TavrelScope control;
    control.InitProperties();
    const auto fits = [](QWidget& top, int country, const QString& where) {
        for (QLabel* label : top.findChildren<QLabel*>()) {
            if (!label->isVisible() || label->wordWrap()) continue;
            EXPECT_LE(label->sizeHint().width(), label->width())
                << country << " " << where.toStdString() << ": " << label->text().toStdString();
        }
        for (QAbstractButton* button : top.findChildren<QAbstractButton*>()) {
            if (!button->isVisible()) continue;
            EXPECT_LE(button->sizeHint().width(), button->width())
                << country << " " << where.toStdString() << ": " << button->text().toStdString();
        }
    };
    for (int country : {1, 33, 34, 39, 49, 81, 82, 886}) {
        try {
            control.SetCountryCode(country);
        } catch (const TavrelError&) {
            continue; // a CJK language needs a double-byte locale
        }
        PropertyFrame frame(&control, PageRegistry::names(), 0);
        frame.show();
        for (int tab = 0; tab < frame.tabs()->count(); ++tab) {
            frame.tabs()->setCurrentIndex(tab);
            frame.adjustSize();
            fits(frame, country, frame.tabs()->tabText(tab));
        }
        frame.hide();
        for (const QString& name : DialogGallery::names()) {
            std::unique_ptr<QWidget> dialog(DialogGallery::create(name, control));
            dialog->show();
            fits(*dialog, country, name);
            dialog->hide();
        }
    }
    control.SetCountryCode(1);
}

} // namespace

namespace {

// What `tavrel pages` does on Apply: the document saved then holds what the page set.
TEST(SetIOPage, AnAppliedAddressIsInTheSavedDocument) {
    QTemporaryDir dir;
    const QString path = dir.filePath("host.json");
    TavrelScope control;
    control.InitProperties();
    ControlDocument::Save(control, path);
    control.ShowPropertyPages();
    PropertyFrame frame(&control, {SetIOPage::kName}, 0);
    QObject::connect(&frame, &PropertyFrame::applied, [&] { ControlDocument::Save(control, path); });
    auto* page = qobject_cast<SetIOPage*>(frame.tabs()->currentWidget());
    ASSERT_TRUE(page);
    child<QComboBox>(*page, 0)->setCurrentText("GPIB2");
    child<QSpinBox>(*page, 0)->setValue(9);
    ASSERT_TRUE(frame.apply());
    TavrelScope reloaded;
    ControlDocument::Load(reloaded, path);
    EXPECT_EQ(reloaded.Address(), "GPIB2::9::INSTR");
}

} // namespace
