#include "pages/SearchInstrumentsPage.h"

#include "base/MessageBoxSeam.h"
#include "control/TavrelScope.h"
#include "discovery/InstrumentSearch.h"
#include "pages/FrmSearchResults.h"
#include "pages/InstrumentTestRun.h"
#include "pages/PageRegistry.h"
#include "pages/PageTexts.h"

#include <QHeaderView>
#include <QLabel>
#include <QPainter>
#include <QProgressBar>
#include <QPushButton>
#include <QThread>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace {

const bool kRegistered = PageRegistry::add(SearchInstrumentsPage::kName,
                                           [](QWidget* parent) { return new SearchInstrumentsPage(parent); });

// The "ConnectedInstrument" icon: a green dot in a ring, drawn so that it needs no file.
QIcon connectedInstrumentIcon() {
    QPixmap pixmap(16, 16);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(QColor(0, 90, 0), 1.5));
    painter.setBrush(QColor(40, 170, 60));
    painter.drawEllipse(QRectF(2.5, 2.5, 11, 11));
    return QIcon(pixmap);
}

enum Column { ModelColumn, SupportedColumn, AddressColumn, ManufacturerColumn };

} // namespace

SearchInstrumentsPage::SearchInstrumentsPage(QWidget* parent)
    : PropertyPage("TavrelPPSrchIO", IPPTavrelScope::SearchInstrumentsPageBit, parent) {
    (void)kRegistered;
    m_list = new QTreeWidget(this);
    m_list->setHeaderLabels({PageText(201), PageText(202), PageText(203), PageText(204)});
    m_list->setRootIsDecorated(false);
    m_list->setSelectionMode(QAbstractItemView::SingleSelection);
    m_list->header()->setStretchLastSection(true);
    m_hint = new QLabel(PageText(211), this);
    m_hint->setWordWrap(true);
    m_progressLine = new QLabel(this);
    m_progress = new QProgressBar(this);
    m_progress->setTextVisible(false);
    m_progress->hide();
    m_stop = new QPushButton(PageText(112), this);
    m_searchButton = new QPushButton(PageText(207), this);
    m_test = new QPushButton(PageText(208), this);

    auto* buttons = new QHBoxLayout;
    buttons->addWidget(m_searchButton);
    buttons->addWidget(m_stop);
    buttons->addWidget(m_test);
    buttons->addStretch();
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(new QLabel(PageText(206), this));
    layout->addWidget(m_list, 1);
    layout->addWidget(new QLabel(PageText(205), this));
    layout->addWidget(m_hint);
    layout->addWidget(m_progressLine);
    layout->addWidget(m_progress);
    layout->addLayout(buttons);

    connect(m_searchButton, &QPushButton::clicked, this, [this] { search(); });
    connect(m_stop, &QPushButton::clicked, this, &SearchInstrumentsPage::stop);
    connect(m_test, &QPushButton::clicked, this, [this] { test(); });
    connect(m_list, &QTreeWidget::itemSelectionChanged, this, [this] {
        if (!searching()) setChanged(!m_list->selectedItems().isEmpty());
        updateButtons();
    });
}

SearchInstrumentsPage::~SearchInstrumentsPage() {
    if (m_search) {
        m_search->cancel();
        m_search->disconnect(this);
    }
    if (m_tester) m_tester->wait();
}

QString SearchInstrumentsPage::caption() const {
    return PageText(200);
}

void SearchInstrumentsPage::loadFromWorkingCopy(IPPTavrelScope& ipp) {
    updateButtons();
    // The first search made from the pages starts by itself.
    if (ipp.InitialSearchMode() && !m_initialSearchDone) {
        m_initialSearchDone = true;
        search();
    }
}

void SearchInstrumentsPage::search(std::function<void(const SearchResult&)> done) {
    IPPTavrelScope* ipp = host();
    auto* scope = dynamic_cast<TavrelScope*>(ipp);
    if (!scope || !scope->IOManager() || m_search) {
        if (done) done({});
        return;
    }
    m_done = std::move(done);
    m_list->clear();
    m_connectedRow = -1;
    m_progressLine->setText(PageText(209));
    m_progress->setRange(0, 0);
    m_progress->show();
    m_search = new InstrumentSearch(ipp->IOConfigurationPropertyPage(), scope->IOManager(), scope->Address(),
                                    scope->TXDelay(), this);
    connect(
        m_search, &InstrumentSearch::progress, this,
        [this](const SearchProgress& step) {
            m_progressLine->setText(PageText(209) + QStringLiteral(": ") + step.target);
            m_progress->setRange(0, std::max(1, step.total));
            m_progress->setValue(step.done);
        },
        Qt::QueuedConnection);
    // Rows appear as ports are searched; the finished list puts them in search order.
    connect(
        m_search, &InstrumentSearch::found, this,
        [this](const QList<SearchRow>& rows) {
            for (const SearchRow& row : rows)
                new QTreeWidgetItem(m_list, {row.model, row.supported, row.address, row.manufacturer});
        },
        Qt::QueuedConnection);
    connect(m_search, &InstrumentSearch::finished, this, &SearchInstrumentsPage::finished,
            Qt::QueuedConnection);
    // The ports this computer has now, not those of the computer the document was saved on.
    m_search->setRefreshPortsFirst(true);
    m_search->start();
    updateButtons();
}

void SearchInstrumentsPage::stop() {
    if (m_search) m_search->cancel(); // probes under way end within their own timeout
}

void SearchInstrumentsPage::finished(const SearchResult& result) {
    m_search->deleteLater();
    m_search = nullptr;
    m_progress->hide();
    m_list->clear();
    const QIcon connected = connectedInstrumentIcon();
    for (const SearchRow& row : result.rows)
        new QTreeWidgetItem(m_list, {row.model, row.supported, row.address, row.manufacturer});
    m_connectedRow = result.selectedIndex > 0 ? result.selectedIndex - 1 : -1;
    IPPTavrelScope* ipp = host();
    if (m_connectedRow >= 0) {
        QTreeWidgetItem* item = m_list->topLevelItem(m_connectedRow);
        item->setIcon(ModelColumn, connected);
        m_list->setCurrentItem(item);
        m_list->scrollToItem(item);
    } else if (ipp && ipp->InitialSearchMode() && m_list->topLevelItemCount() > 0) {
        // The first search for a control with no instrument yet offers the first one found.
        m_list->setCurrentItem(m_list->topLevelItem(0));
    }
    // After the icon, so that the connected row's model is not cut short by it.
    for (int column = 0; column < m_list->columnCount(); ++column)
        m_list->resizeColumnToContents(column);
    if (ipp) {
        ipp->SetInitialSearchMode(false);
        // The ports the search looked up, for the Search Criteria page.
        CIOconfiguration& working = ipp->IOConfigurationPropertyPage();
        for (int board = CIOconfiguration::kFirstGPIBPort; board <= CIOconfiguration::kLastGPIBPort;
             ++board) {
            working.SetGPIBPortExists(board, result.configuration.GPIBPortExists(board));
            for (int address = 0; address < CIOconfiguration::kGPIBAddressCount; ++address)
                working.SetGPIBAddressExists(board, address,
                                             result.configuration.GPIBAddressExists(board, address));
        }
        for (int port = CIOconfiguration::kFirstRS232Port; port <= CIOconfiguration::kLastRS232Port; ++port)
            working.SetRS232PortExists(port, result.configuration.RS232PortExists(port));
        ipp->SetNotifyIOConfigurationChanged(ipp->NotifyIOConfigurationChanged() |
                                             IPPTavrelScope::SearchCriteriaPageBit);
    }
    setChanged(false);
    m_progressLine->setText(result.rows.isEmpty() ? PageText(272) : PageText(273));
    m_hint->setText(result.rows.isEmpty() ? PageText(211) : PageText(212));
    for (const PortNotFound& missing : result.portsNotFound)
        ShowMessageBox(
            {missing.message, missing.title, kMessageBoxInformation | kMessageBoxSetForeground, {}, 0});
    updateButtons();
    if (m_done) std::exchange(m_done, {})(result);
    if (ipp && !result.silentCOMPorts.isEmpty() && m_showResultsDialog) askAboutSilentPorts(*ipp, result);
}

void SearchInstrumentsPage::askAboutSilentPorts(IPPTavrelScope& ipp, const SearchResult& result) {
    CIOconfiguration& working = ipp.IOConfigurationPropertyPage();
    FrmSearchResults dialog(this);
    for (int port = 1; port <= 4; ++port) {
        dialog.SetInstrumentFoundOnCOMPort(port, result.instrumentFound(port));
        dialog.SetIncludedCOMPort(port, working.RS232PortIncluded(port));
    }
    dialog.exec();
    bool changed = false;
    for (int port = 1; port <= 4; ++port) {
        changed = changed || working.RS232PortIncluded(port) != dialog.IncludedCOMPort(port);
        working.SetRS232PortIncluded(port, dialog.IncludedCOMPort(port));
    }
    // The Search Criteria page shows what the dialog changed; Apply hands it to the control.
    if (changed) {
        ipp.SetNotifyIOConfigurationChanged(ipp.NotifyIOConfigurationChanged() |
                                            IPPTavrelScope::SearchCriteriaPageBit);
        setChanged(true);
    }
}

void SearchInstrumentsPage::test(std::function<void()> done) {
    IPPTavrelScope* ipp = host();
    auto* scope = dynamic_cast<TavrelScope*>(ipp);
    QTreeWidgetItem* item = m_list->currentItem();
    if (!scope || !item || m_tester) {
        if (done) done();
        return;
    }
    m_progressLine->setText(PageText(411));
    m_tester =
        StartInstrumentTest(this, ipp->IOConfigurationPropertyPage(), scope->IOManager(), scope->TXDelay(),
                            item->text(AddressColumn), window()->winId(), [this, done] {
                                m_tester = nullptr;
                                m_progressLine->clear();
                                updateButtons();
                                if (done) done();
                            });
    updateButtons();
}

qint32 SearchInstrumentsPage::saveToWorkingCopy(IPPTavrelScope& ipp) {
    QTreeWidgetItem* item = m_list->currentItem();
    if (!item) return 0;
    CIOconfiguration& working = ipp.IOConfigurationPropertyPage();
    const QString address = item->text(AddressColumn);
    // A COM row names the port; its parameters are the ones the search used.
    if (address.startsWith(QStringLiteral("COM")))
        working.SetActiveIOPort(address);
    else
        working.SetActiveAddressString(address);
    working.SetActiveAddressInstrumentID(item->text(ManufacturerColumn) + QLatin1Char(',') +
                                         item->text(ModelColumn));
    return IPPTavrelScope::SetIOPageBit;
}

void SearchInstrumentsPage::updateButtons() {
    const bool running = searching();
    m_searchButton->setEnabled(!running && !m_tester);
    m_stop->setEnabled(running);
    m_test->setEnabled(!running && !m_tester && m_list->currentItem());
}
