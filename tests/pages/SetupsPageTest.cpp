// The Setups page on the simulated bench: add, edit and remove with the component's refusals, a
// setup got on the worker thread, saved to a file and loaded back.
#include "pages/SetupsPage.h"
#include "base/MessageBoxSeam.h"
#include "control/TavrelScope.h"

#include <QEventLoop>
#include <QTableWidget>
#include <QTemporaryDir>
#include <QTimer>
#include <gtest/gtest.h>

namespace {

struct Page {
    Page() {
        qputenv("TAVREL_IO", "sim");
        control = std::make_unique<TavrelScope>();
        control->InitProperties();
        SetMessageBoxHandler([this](const MessageBoxRequest& r) {
            shown.append(r.text);
            return kMessageBoxResultOK;
        });
        page.setSelectedControls({control.get()});
    }
    ~Page() { SetMessageBoxHandler(nullptr); }
    QString cell(int row, int column) const { return page.table()->item(row, column)->text(); }
    // Runs a transfer and waits for its end on this (the GUI) thread.
    bool wait(const std::function<void(std::function<void(bool)>)>& start) {
        QEventLoop loop;
        bool result = false;
        start([&](bool worked) {
            result = worked;
            loop.quit();
        });
        QTimer::singleShot(20000, &loop, &QEventLoop::quit);
        loop.exec();
        return result;
    }
    std::unique_ptr<TavrelScope> control;
    QStringList shown;
    SetupsPage page;
};

TEST(SetupsPage, AddEditAndRemoveReachTheControlAtOnceAndRefusalsChangeNothing) {
    Page p;
    ASSERT_TRUE(p.page.addSetup(QStringLiteral("Bench"), QStringLiteral("first")));
    EXPECT_EQ(p.control->Setups().Count(), 1);
    EXPECT_TRUE(p.page.isChanged()) << "OK and Apply save the document";
    const struct { const char *name, *comments; } refused[] = {{"", "x"}, {"Bench", "again"}, {"Ok", "a|b"}};
    for (const auto& r : refused) {
        p.shown.clear();
        EXPECT_FALSE(p.page.addSetup(QLatin1String(r.name), QLatin1String(r.comments))) << r.name;
        EXPECT_EQ(p.shown.size(), 1) << "the refusal is explained";
        EXPECT_EQ(p.control->Setups().Count(), 1) << r.name;
    }
    EXPECT_FALSE(p.page.editSetup(0, QStringLiteral("Renamed"), QStringLiteral("a|b")));
    EXPECT_EQ(p.cell(0, 0), QStringLiteral("Bench")) << "a refused edit changes nothing";
    ASSERT_TRUE(p.page.editSetup(0, QStringLiteral("Renamed"), QStringLiteral("second")));
    EXPECT_EQ(p.cell(0, 0), QStringLiteral("Renamed"));
    EXPECT_EQ(p.cell(0, 3), QStringLiteral("second"));
    ASSERT_TRUE(p.page.removeSetup(0));
    EXPECT_EQ(p.control->Setups().Count(), 0);
    EXPECT_EQ(p.page.table()->rowCount(), 0);
}

TEST(SetupsPage, GetOnTheWorkerThenSaveAndLoadRoundTrip) {
    Page p;
    ASSERT_TRUE(p.page.addSetup(QStringLiteral("Scope"), QString()));
    ASSERT_TRUE(p.page.addSetup(QStringLiteral("Copy"), QString()));
    ASSERT_TRUE(p.wait([&](auto done) { p.page.getSetup(0, done); })) << p.shown.join(u'\n').toStdString();
    EXPECT_FALSE(p.page.busy());
    EXPECT_EQ(p.cell(0, 1), QStringLiteral("TV100A"));
    EXPECT_GT(p.cell(0, 4).toInt(), 100) << "the learn string's size";

    QTemporaryDir dir;
    const QString file = dir.filePath(QStringLiteral("scope.scp"));
    ASSERT_TRUE(p.page.saveSetup(0, file));
    ASSERT_TRUE(p.page.loadSetup(1, file));
    EXPECT_EQ(p.control->Setups().Item(2).LearnString(), p.control->Setups().Item(1).LearnString());
    EXPECT_EQ(p.cell(1, 0), QStringLiteral("Copy")) << "loading keeps the name";
    EXPECT_FALSE(p.page.loadSetup(1, dir.filePath(QStringLiteral("missing.scp"))));
    EXPECT_TRUE(p.shown.last().contains(QStringLiteral("missing.scp"))) << p.shown.last().toStdString();

    ASSERT_TRUE(p.wait([&](auto done) { p.page.sendSetup(1, done); })) << p.shown.join(u'\n').toStdString();
    EXPECT_TRUE(p.page.table()->item(1, 0)->font().bold()) << "the setup last sent stands out";
    EXPECT_FALSE(p.page.table()->item(0, 0)->font().bold());
}

} // namespace
