// The search results and option dialogs: texts, what is shown, and what the caller reads back.
#include "base/Localization.h"
#include "base/TavrelError.h"
#include "control/TavrelScope.h"
#include "pages/Centering.h"
#include "pages/FrmMessageOption.h"
#include "pages/FrmSearchResults.h"
#include "pages/HelpViewer.h"
#include "support/DiagnosticsCapture.h"

#include <QCheckBox>
#include <QDir>
#include <QFile>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTextBrowser>
#include <gtest/gtest.h>

namespace {

TEST(FrmSearchResults, NamesTheSilentPortsAndReturnsWhatTheBoxesSay) {
    const struct {
        std::array<bool, 4> found, included;
        std::array<bool, 4> tick; // the user's ticks on the shown boxes
        std::array<bool, 4> includedAfter;
    } cases[] = {
        // Nothing answered anywhere: all four listed and shown; the ticked ones are excluded.
        {{false, false, false, false},
         {true, true, true, true},
         {true, false, true, false},
         {false, true, false, true}},
        // COM1 answered: not listed, no box; it stays as its hidden box left it.
        {{true, false, false, false},
         {true, true, false, true},
         {false, false, true, false},
         {true, true, false, true}},
        {{true, false, false, false},
         {false, true, true, true},
         {false, false, false, false},
         {false, true, true, true}},
    };
    for (const auto& c : cases) {
        FrmSearchResults dialog;
        for (int port = 1; port <= 4; ++port) {
            dialog.SetInstrumentFoundOnCOMPort(port, c.found[port - 1]);
            dialog.SetIncludedCOMPort(port, c.included[port - 1]);
        }
        dialog.Load();
        EXPECT_EQ(dialog.windowTitle(), "Search Instruments Results");
        const QString message = dialog.LabelMessage()->text();
        EXPECT_TRUE(
            message.startsWith("The following COM ports are on your system but no instruments were found "
                               "connected to them:\n"));
        for (int port = 1; port <= 4; ++port) {
            EXPECT_EQ(message.contains(QStringLiteral("\n    COM%1").arg(port)), !c.found[port - 1]) << port;
            EXPECT_EQ(dialog.CheckCOM(port)->isVisibleTo(&dialog), !c.found[port - 1]) << port;
            EXPECT_EQ(dialog.CheckCOM(port)->isChecked(), !c.included[port - 1]) << port;
            if (!c.found[port - 1]) dialog.CheckCOM(port)->setChecked(c.tick[port - 1]);
        }
        dialog.Continue();
        for (int port = 1; port <= 4; ++port)
            EXPECT_EQ(dialog.IncludedCOMPort(port), c.includedAfter[port - 1]) << port;
    }
    FrmSearchResults dialog;
    for (int index : {0, 5, -1}) {
        EXPECT_THROW(dialog.IncludedCOMPort(index), TavrelError) << index;
        EXPECT_THROW(dialog.SetInstrumentFoundOnCOMPort(index, true), TavrelError) << index;
    }
}

TEST(FrmMessageOption, ShowsOkOrContinueAndCancelAndReturnsTheOption) {
    const struct {
        bool okOnly;
        QPushButton* (FrmMessageOption::*press)() const;
        bool tick;
        bool continueBefore, continueAfter;
    } cases[] = {
        {true, &FrmMessageOption::CommandOK, true, true, true}, // OK leaves Continue as it was
        {true, &FrmMessageOption::CommandOK, false, false, false},
        {false, &FrmMessageOption::CommandContinue, true, false, true},
        {false, &FrmMessageOption::CommandCancel, false, true, false},
    };
    for (const auto& c : cases) {
        FrmMessageOption dialog;
        EXPECT_TRUE(dialog.OKOnly() && !dialog.OptionChecked()) << "as created";
        EXPECT_TRUE(dialog.windowFlags() & Qt::WindowStaysOnTopHint);
        dialog.SetTitle("Caution");
        dialog.SetMessage("Use DTR/DSR.");
        dialog.SetOption("Do not show this message again");
        dialog.SetOKOnly(c.okOnly);
        dialog.SetContinue(c.continueBefore);
        dialog.Load();
        EXPECT_EQ(dialog.windowTitle(), "Caution");
        EXPECT_EQ(dialog.CommandOK()->isVisibleTo(&dialog), c.okOnly);
        EXPECT_EQ(dialog.CommandCancel()->isVisibleTo(&dialog), !c.okOnly);
        EXPECT_EQ(dialog.CommandOK()->text(), "OK");
        EXPECT_TRUE((c.okOnly ? dialog.CommandOK() : dialog.CommandCancel())->isDefault());
        dialog.CheckOption()->setChecked(c.tick);
        (dialog.*c.press)()->click();
        EXPECT_EQ(dialog.OptionChecked(), c.tick);
        EXPECT_EQ(dialog.Continue(), c.continueAfter);
    }
}

TEST(FrmMessageOption, AnEmptyOptionIsReportedAndTheDialogStillShows) {
    DiagnosticsCapture capture;
    FrmMessageOption dialog;
    dialog.SetMessage("m");
    dialog.Load();
    EXPECT_TRUE(capture.hasReportWith(
        {"Assertion: (Len(m_strOption) > 0)", "File: FrmMessageOption", "Function: Discover"}))
        << capture.reports.join(u'\n').toStdString();
}

} // namespace

namespace {

TEST(Centering, AFrameIsMovedToTheCenterAndAMissingWindowIsReported) {
    DiagnosticsCapture capture;
    QWidget frame;
    auto* page = new QWidget(&frame);
    frame.resize(300, 200);
    CenterPropertyPage(page, 640, 400);
    EXPECT_EQ(frame.frameGeometry().center(), QPoint(640, 400));
    EXPECT_EQ(frame.size(), QSize(300, 200)) << "the size stays";
    CenterPropertyPage(nullptr, 640, 400);
    EXPECT_TRUE(
        capture.hasReportWith({"Assertion: hwndPropertyPage > 0", "File: BrumelCtrlLib::MsgBoxAutoCenter",
                               "Function: CenterPropertyPage"}))
        << capture.reports.join(u'\n').toStdString();
}

} // namespace

namespace {

TEST(HelpViewer, ShowsTheLanguagesHelpWithItsContents) {
    // A data folder of this test's own: other tests select languages at the same time.
    QTemporaryDir folder;
    QDir().mkpath(folder.filePath("Help"));
    const QDir shipped(ComponentFolder() + "/Help");
    for (const QString& name : shipped.entryList(QDir::Files))
        QFile::copy(shipped.filePath(name), folder.filePath("Help/" + name));
    SetComponentFolder(folder.path());
    TavrelScope control; // selecting a language puts its help files in the data folder
    control.InitProperties();
    control.SetCountryCode(33);
    HelpViewer viewer;
    ASSERT_TRUE(viewer.load());
    EXPECT_TRUE(viewer.text()->toPlainText().startsWith("Aide")) << "the French help";
    ASSERT_EQ(viewer.contents()->count(), 7);
    viewer.contents()->setCurrentRow(3);
    EXPECT_TRUE(viewer.text()->textCursor().selectedText().startsWith("4. ")) << "the entry's section";
    control.SetCountryCode(1);
    SetComponentFolder(QString());
}

} // namespace
