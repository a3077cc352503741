// The Search Instruments page on the simulated bench: the search in the background with its rows,
// the connected row marked, Stop, Test through the message box, and Apply of a chosen row.
#include "pages/SearchInstrumentsPage.h"
#include "base/MessageBoxSeam.h"
#include "control/TavrelScope.h"

#include <QEventLoop>
#include <QTimer>
#include <QTreeWidget>
#include <gtest/gtest.h>

namespace {

struct Page {
    Page() {
        qputenv("TAVREL_IO", "sim");
        control = std::make_unique<TavrelScope>();
        control->InitProperties();
        control->ShowPropertyPages();
        SetMessageBoxHandler([this](const MessageBoxRequest& r) {
            shown.append(r.title + QStringLiteral(": ") + r.text);
            return kMessageBoxResultOK;
        });
        page.setShowResultsDialog(false);
        page.setSelectedControls({control.get()});
    }
    ~Page() { SetMessageBoxHandler(nullptr); }
    SearchResult search() {
        QEventLoop loop;
        SearchResult result;
        page.search([&](const SearchResult& r) {
            result = r;
            loop.quit();
        });
        QTimer::singleShot(60000, &loop, &QEventLoop::quit);
        loop.exec();
        return result;
    }
    std::unique_ptr<TavrelScope> control;
    QStringList shown;
    SearchInstrumentsPage page;
};

TEST(SearchInstrumentsPage, ListsWhatAnsweredMarksTheConnectedRowAndAppliesAChosenOne) {
    Page p;
    EXPECT_TRUE(p.control->SearchIOExists());
    int rowsWhileSearching = 0;
    QObject::connect(p.page.list()->model(), &QAbstractItemModel::rowsInserted, [&] {
        if (p.page.searching()) ++rowsWhileSearching;
    });
    const SearchResult result = p.search();
    EXPECT_GT(rowsWhileSearching, 0) << "rows appear as the ports are searched";
    EXPECT_FALSE(p.page.searching());
    QTreeWidget* list = p.page.list();
    if (result.error) {
        try {
            std::rethrow_exception(result.error);
        } catch (const std::exception& e) {
            ADD_FAILURE() << "the search failed: " << e.what();
        }
    }
    ASSERT_EQ(list->topLevelItemCount(), 5);
    QStringList addresses;
    for (int row = 0; row < list->topLevelItemCount(); ++row)
        addresses << list->topLevelItem(row)->text(2);
    EXPECT_EQ(addresses, QStringList({"COM1", "GPIB0::3::INSTR", "GPIB0::7::INSTR", "GPIB0::12::INSTR",
                                      "GPIB0::22::INSTR"}));
    EXPECT_EQ(list->topLevelItem(2)->text(0), "TV100A");
    EXPECT_EQ(list->topLevelItem(2)->text(1), "X");
    // The control's address, GPIB0::7, is the connected row: selected and marked.
    EXPECT_EQ(p.page.connectedRow(), 2);
    EXPECT_EQ(list->currentItem(), list->topLevelItem(2));
    EXPECT_FALSE(list->topLevelItem(2)->icon(0).isNull());
    EXPECT_TRUE(list->topLevelItem(1)->icon(0).isNull());
    EXPECT_EQ(result.silentCOMPorts, QList<int>({2})) << "the results dialog would name COM2";

    list->setCurrentItem(list->topLevelItem(3));
    ASSERT_TRUE(p.page.isChanged());
    ASSERT_TRUE(p.page.applyChanges());
    EXPECT_EQ(p.control->Address(), "GPIB0::12::INSTR");

    QEventLoop loop;
    p.page.test([&] { loop.quit(); });
    loop.exec();
    ASSERT_EQ(p.shown.size(), 1);
    EXPECT_TRUE(p.shown[0].contains("GPIB0::12::INSTR")) << p.shown[0].toStdString();
}

TEST(SearchInstrumentsPage, StopEndsTheSearchEarly) {
    Page p;
    QEventLoop loop;
    SearchResult result;
    p.page.search([&](const SearchResult& r) {
        result = r;
        loop.quit();
    });
    EXPECT_TRUE(p.page.searching());
    p.page.stop();
    QTimer::singleShot(30000, &loop, &QEventLoop::quit);
    loop.exec();
    EXPECT_TRUE(result.cancelled);
    EXPECT_FALSE(p.page.searching());
}

} // namespace
