#pragma once

#include "discovery/SearchResult.h"
#include "pages/PropertyPage.h"

#include <functional>
#include <memory>

class InstrumentSearch;
class QLabel;
class QProgressBar;
class QPushButton;
class QThread;
class QTreeWidget;

// The Search Instruments page: the search runs in the background (the port or address being probed
// shows in a progress line and bar, Stop ends it within one probe's timeout), the instruments found
// are listed with the connected one marked, Test identifies the selected one, and Apply makes the
// selected row's address the control's. A search that left COM ports silent is followed by the
// search results dialog, whose answer goes into the working copy.
class SearchInstrumentsPage : public PropertyPage {
    Q_OBJECT
public:
    static inline const QString kName = QStringLiteral("TavrelPPSrchIO");
    explicit SearchInstrumentsPage(QWidget* parent = nullptr);
    ~SearchInstrumentsPage() override;
    QString caption() const override;

    // Search; done runs on the GUI thread with the result, before the results dialog would show.
    void search(std::function<void(const SearchResult&)> done = {});
    void stop();
    bool searching() const { return m_search != nullptr; }
    // Test on the selected row, on a worker; its message box goes through the message-box seam.
    void test(std::function<void()> done = {});
    // Whether the results dialog follows a search with silent COM ports (tests turn it off).
    void setShowResultsDialog(bool show) { m_showResultsDialog = show; }

    QTreeWidget* list() const { return m_list; }
    int connectedRow() const { return m_connectedRow; }

protected:
    void loadFromWorkingCopy(IPPTavrelScope& ipp) override;
    qint32 saveToWorkingCopy(IPPTavrelScope& ipp) override;
    void updateButtons() override;

private:
    void finished(const SearchResult& result);
    void askAboutSilentPorts(IPPTavrelScope& ipp, const SearchResult& result);

    QTreeWidget* m_list;
    QLabel* m_hint;
    QLabel* m_progressLine;
    QProgressBar* m_progress;
    QPushButton *m_searchButton, *m_stop, *m_test;
    InstrumentSearch* m_search = nullptr; // the running search, a child of the page
    std::function<void(const SearchResult&)> m_done;
    QThread* m_tester = nullptr;
    int m_connectedRow = -1;
    bool m_showResultsDialog = true;
    bool m_initialSearchDone = false;
};
