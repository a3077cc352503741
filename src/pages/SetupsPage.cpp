#include "pages/SetupsPage.h"

#include "base/MessageBoxSeam.h"
#include "base/TavrelError.h"
#include "control/TavrelScope.h"
#include "pages/FrmMessageOption.h"
#include "pages/PageRegistry.h"
#include "pages/PageTexts.h"
#include "setups/SetupSupport.h"

#include <QDialog>
#include <QDialogButtonBox>
#include <QFileDialog>
#include <QFormLayout>
#include <QGridLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTableWidget>
#include <QThread>
#include <QVBoxLayout>
#include <optional>

namespace {

const bool kRegistered =
    PageRegistry::add(SetupsPage::kName, [](QWidget* parent) { return new SetupsPage(parent); });

// A filter text of the string table ("Tavrel setup files (*.scp)|*.scp|...") as a file dialog's.
QString fileFilter(int id) {
    const QStringList parts = PageText(id).split(QLatin1Char('|'));
    QStringList filters;
    for (qsizetype i = 0; i + 1 < parts.size(); i += 2)
        filters << parts[i];
    return filters.join(QStringLiteral(";;"));
}

// Opens the control's connection for a transfer and closes it afterwards.
template <typename Body> void connected(TavrelScope& control, Body&& body) {
    control.Initialize();
    struct Closer {
        TavrelScope& control;
        ~Closer() { control.CloseConnection(); }
    } closer{control};
    body();
}

} // namespace

SetupsPage::SetupsPage(QWidget* parent)
    : PropertyPage("TavrelPPSetup", IPPTavrelScope::SetupsPageBit, parent) {
    (void)kRegistered;
    m_table = new QTableWidget(0, 5, this);
    m_table->setHorizontalHeaderLabels(
        {PageText(602), PageText(603), PageText(604), PageText(605), PageText(802)});
    m_table->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_table->setSelectionMode(QAbstractItemView::SingleSelection);
    m_table->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_table->horizontalHeader()->setStretchLastSection(true);
    m_table->verticalHeader()->hide();
    m_status = new QLabel(this);
    m_add = new QPushButton(PageText(606), this);
    m_edit = new QPushButton(PageText(607), this);
    m_remove = new QPushButton(PageText(608), this);
    m_get = new QPushButton(PageText(609), this);
    m_send = new QPushButton(PageText(610), this);
    m_save = new QPushButton(PageText(611), this);
    m_load = new QPushButton(PageText(612), this);

    auto* buttons = new QGridLayout;
    const QList<QPushButton*> all = {m_add, m_edit, m_remove, m_get, m_send, m_save, m_load};
    for (int i = 0; i < all.size(); ++i)
        buttons->addWidget(all[i], i / 4, i % 4);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(new QLabel(PageText(601), this));
    layout->addWidget(m_table, 1);
    layout->addLayout(buttons);
    layout->addWidget(m_status);

    connect(m_table, &QTableWidget::itemSelectionChanged, this, &SetupsPage::updateButtons);
    connect(m_add, &QPushButton::clicked, this, [this] { editDialog(-1); });
    connect(m_edit, &QPushButton::clicked, this, [this] { editDialog(selectedRow()); });
    connect(m_remove, &QPushButton::clicked, this, [this] {
        MessageBoxRequest ask{PageText(622), PageText(623), 4 /* yes, no */ | 32 /* question */, {}, 0};
        if (!HasMessageBoxHandler() || ShowMessageBox(ask) == 6 /* yes */) removeSetup(selectedRow());
    });
    connect(m_get, &QPushButton::clicked, this, [this] { getSetup(selectedRow()); });
    connect(m_send, &QPushButton::clicked, this, [this] {
        if (confirmSend()) sendSetup(selectedRow());
    });
    connect(m_save, &QPushButton::clicked, this, [this] {
        const QString file = QFileDialog::getSaveFileName(this, PageText(671), QString(), fileFilter(661));
        if (!file.isEmpty()) saveSetup(selectedRow(), file);
    });
    connect(m_load, &QPushButton::clicked, this, [this] {
        const QString file = QFileDialog::getOpenFileName(this, PageText(670), QString(), fileFilter(660));
        if (!file.isEmpty()) loadSetup(selectedRow(), file);
    });
}

SetupsPage::~SetupsPage() {
    if (m_worker) m_worker->wait(); // a transfer ends within the session's timeout
}

QString SetupsPage::caption() const {
    return PageText(600);
}

TavrelScope* SetupsPage::control() {
    return dynamic_cast<TavrelScope*>(host());
}

void SetupsPage::loadFromWorkingCopy(IPPTavrelScope&) {
    fillTable();
}

void SetupsPage::fillTable() {
    TavrelScope* scope = control();
    const int selected = selectedRow();
    m_table->setRowCount(0);
    if (!scope) return;
    const SetupsTavrelScope& setups = scope->Setups();
    m_table->setRowCount(setups.Count());
    int row = 0;
    for (auto it = setups.begin(); it != setups.end(); ++it, ++row) {
        const QStringList cells = {it->Name(), it->Model(), it->Version(), it->Comments(),
                                   QString::number(it->LearnString().toByteArray().size())};
        // The setup last got from or sent to the instrument stands out.
        const bool last =
            !setups.LastInstrumentSetup().isEmpty() && it->Name() == setups.LastInstrumentSetup();
        for (int column = 0; column < cells.size(); ++column) {
            auto* item = new QTableWidgetItem(cells[column]);
            QFont font = item->font();
            font.setBold(last);
            item->setFont(font);
            m_table->setItem(row, column, item);
        }
    }
    if (selected >= 0 && selected < m_table->rowCount()) m_table->selectRow(selected);
    m_table->resizeColumnsToContents();
    updateButtons();
}

int SetupsPage::selectedRow() const {
    const QList<QTableWidgetItem*> items = m_table->selectedItems();
    return items.isEmpty() ? -1 : items.first()->row();
}

bool SetupsPage::attempt(const QString& title, const std::function<void()>& body) {
    try {
        body();
    } catch (const TavrelError& error) {
        QString text = error.description();
        if (!error.detail().isEmpty()) text += QStringLiteral("\n\n") + error.detail();
        ShowMessageBox({text, title, 48 /* exclamation */, {}, 0});
        fillTable();
        return false;
    }
    fillTable();
    setChanged();
    return true;
}

bool SetupsPage::addSetup(const QString& name, const QString& comments) {
    TavrelScope* scope = control();
    return scope && attempt(PageText(613), [&] {
               // Both values are checked before the setup exists, so a refusal leaves no half-made setup.
               SetupTavrelScope probe;
               probe.SetName(name);
               probe.SetComments(comments);
               scope->Setups().Add(name).SetComments(comments);
           });
}

bool SetupsPage::editSetup(int row, const QString& name, const QString& comments) {
    TavrelScope* scope = control();
    if (!scope || row < 0) return false;
    return attempt(PageText(614), [&] {
        SetupTavrelScope& setup = scope->Setups().Item(row + 1);
        SetupTavrelScope probe;
        probe.SetComments(comments); // refused before anything changes
        setup.SetName(name);
        setup.SetComments(comments);
    });
}

bool SetupsPage::removeSetup(int row) {
    TavrelScope* scope = control();
    return scope && row >= 0 && attempt(PageText(623), [&] { scope->Setups().Remove(row + 1); });
}

bool SetupsPage::saveSetup(int row, const QString& fileName) {
    TavrelScope* scope = control();
    return scope && row >= 0 &&
           attempt(PageText(611), [&] { scope->Setups().Item(row + 1).SaveToFile(fileName); });
}

bool SetupsPage::loadSetup(int row, const QString& fileName) {
    TavrelScope* scope = control();
    return scope && row >= 0 &&
           attempt(PageText(612), [&] { scope->Setups().Item(row + 1).ReadFromFile(fileName); });
}

bool SetupsPage::confirmSend() {
    TavrelScope* scope = control();
    if (!scope || scope->DontShowSetupIOConfigurationWarning()) return true;
    FrmMessageOption caution(this);
    caution.SetTitle(PageText(690));
    caution.SetMessage(PageText(803));
    caution.SetOption(PageText(124));
    caution.SetOKOnly(false);
    caution.exec();
    scope->SetDontShowSetupIOConfigurationWarning(caution.OptionChecked());
    return caution.Continue();
}

void SetupsPage::getSetup(int row, std::function<void(bool)> done) {
    transfer(row, false, std::move(done));
}

void SetupsPage::sendSetup(int row, std::function<void(bool)> done) {
    transfer(row, true, std::move(done));
}

void SetupsPage::transfer(int row, bool send, std::function<void(bool)> done) {
    TavrelScope* scope = control();
    if (!scope || row < 0 || m_worker) {
        if (done) done(false);
        return;
    }
    SetupTavrelScope* setup = &scope->Setups().Item(row + 1);
    const QString title = PageText(send ? 690 : 624);
    auto failure = std::make_shared<std::optional<TavrelError>>();
    m_worker = QThread::create([=] {
        try {
            SetupSupport::WithTransferErrors(
                send ? SetupSupport::kSendSetupTitle : SetupSupport::kGetSetupTitle,
                send ? ErrorNumber::SendRefused : kServerRefusedErrorNumber, [&] {
                    connected(*scope, [&] { send ? setup->SendToInstrument() : setup->GetFromInstrument(); });
                });
        } catch (const TavrelError& error) {
            *failure = error;
        }
    });
    m_status->setText(PageText(send ? 690 : 624) + QStringLiteral("..."));
    updateButtons();
    connect(m_worker, &QThread::finished, this, [=, this] {
        m_worker->deleteLater();
        m_worker = nullptr;
        m_status->clear();
        const bool worked = !failure->has_value();
        attempt(title, [&] {
            if (!worked) throw **failure;
        });
        if (done) done(worked);
    });
    m_worker->start();
}

void SetupsPage::editDialog(int row) {
    TavrelScope* scope = control();
    if (!scope) return;
    QDialog dialog(this);
    dialog.setWindowTitle(PageText(row < 0 ? 613 : 614));
    auto* name = new QLineEdit(&dialog);
    auto* comments = new QLineEdit(&dialog);
    if (row >= 0) {
        name->setText(scope->Setups().Item(row + 1).Name());
        comments->setText(scope->Setups().Item(row + 1).Comments());
    }
    auto* form = new QFormLayout(&dialog);
    form->addRow(PageText(615), name);
    form->addRow(PageText(616), comments);
    auto* box = new QDialogButtonBox(&dialog);
    box->addButton(PageText(111), QDialogButtonBox::AcceptRole);
    box->addButton(PageText(112), QDialogButtonBox::RejectRole);
    form->addRow(box);
    connect(box, &QDialogButtonBox::rejected, &dialog, &QDialog::reject);
    connect(box, &QDialogButtonBox::accepted, &dialog, [&] {
        const bool ok = row < 0 ? addSetup(name->text(), comments->text())
                                : editSetup(row, name->text(), comments->text());
        if (ok) dialog.accept(); // a refusal was explained; the dialog stays for a correction
    });
    dialog.exec();
}

void SetupsPage::updateButtons() {
    const bool selected = selectedRow() >= 0, idle = !m_worker;
    m_add->setEnabled(idle);
    for (QPushButton* button : {m_edit, m_remove, m_get, m_send, m_save, m_load})
        button->setEnabled(idle && selected);
}
