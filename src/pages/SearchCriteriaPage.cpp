#include "pages/SearchCriteriaPage.h"

#include "base/TavrelError.h"
#include "control/TavrelScope.h"
#include "iolib/IOManager.h"
#include "iolib/IOUtilsEnums.h"
#include "pages/PageRegistry.h"
#include "pages/PageTexts.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFormLayout>
#include <QGridLayout>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QThread>
#include <QVBoxLayout>

namespace {

const bool kRegistered = PageRegistry::add(SearchCriteriaPage::kName,
                                           [](QWidget* parent) { return new SearchCriteriaPage(parent); });
const int kBaudRates[] = {1200, 2400, 9600, 19200, 38400, 57600};

} // namespace

SearchCriteriaPage::SearchCriteriaPage(QWidget* parent)
    : PropertyPage("TavrelPPSrchCri", IPPTavrelScope::SearchCriteriaPageBit, parent) {
    (void)kRegistered;
    // GPIB: a board, whether it is searched, and its addresses.
    auto* gpib = new QGroupBox(PageText(301), this);
    m_gpibPort = new QComboBox(gpib);
    for (int board = CIOconfiguration::kFirstGPIBPort; board <= CIOconfiguration::kLastGPIBPort; ++board)
        m_gpibPort->addItem(QStringLiteral("GPIB%1").arg(board), board);
    m_gpibIncluded = new QCheckBox(PageText(304), gpib);
    m_gpibMissing = new QLabel(PageText(322), gpib);
    auto* grid = new QGridLayout;
    for (int address = 0; address < CIOconfiguration::kGPIBAddressCount; ++address) {
        m_addresses[size_t(address)] = new QCheckBox(QString::number(address), gpib);
        grid->addWidget(m_addresses[size_t(address)], address / 8, address % 8);
        connect(m_addresses[size_t(address)], &QCheckBox::toggled, this, [this, address](bool on) {
            if (m_loading) return;
            m_edit.SetGPIBAddressIncluded(m_gpibPort->currentData().toInt(), address, on);
            edited();
        });
    }
    m_includeAll = new QPushButton(PageText(306), gpib);
    m_excludeAll = new QPushButton(PageText(307), gpib);
    auto* gpibTop = new QHBoxLayout;
    gpibTop->addWidget(new QLabel(PageText(303), gpib));
    gpibTop->addWidget(m_gpibPort);
    gpibTop->addWidget(m_gpibIncluded);
    gpibTop->addWidget(m_gpibMissing);
    gpibTop->addStretch();
    auto* allButtons = new QHBoxLayout;
    allButtons->addWidget(m_includeAll);
    allButtons->addWidget(m_excludeAll);
    allButtons->addStretch();
    auto* gpibLayout = new QVBoxLayout(gpib);
    gpibLayout->addLayout(gpibTop);
    gpibLayout->addWidget(new QLabel(PageText(305), gpib));
    gpibLayout->addLayout(grid);
    gpibLayout->addLayout(allButtons);

    // RS-232: a port, whether it is searched, and its parameters.
    auto* com = new QGroupBox(PageText(302), this);
    m_comPort = new QComboBox(com);
    for (int port = CIOconfiguration::kFirstRS232Port; port <= CIOconfiguration::kLastRS232Port; ++port)
        m_comPort->addItem(QStringLiteral("COM%1").arg(port), port);
    m_comIncluded = new QCheckBox(PageText(304), com);
    m_comMissing = new QLabel(PageText(322), com);
    m_baud = new QComboBox(com);
    for (int rate : kBaudRates)
        m_baud->addItem(QString::number(rate), rate);
    m_parity = new QComboBox(com);
    const int parities[] = {CorvaneIOUtilsLib::RS232_Parity_None, CorvaneIOUtilsLib::RS232_Parity_Odd,
                            CorvaneIOUtilsLib::RS232_Parity_Even, CorvaneIOUtilsLib::RS232_Parity_Mark,
                            CorvaneIOUtilsLib::RS232_Parity_Space};
    for (int i = 0; i < 5; ++i)
        m_parity->addItem(PageText(312 + i), parities[i]);
    m_handshake = new QComboBox(com);
    auto* comTop = new QHBoxLayout;
    comTop->addWidget(new QLabel(PageText(308), com));
    comTop->addWidget(m_comPort);
    comTop->addWidget(m_comIncluded);
    comTop->addWidget(m_comMissing);
    comTop->addStretch();
    auto* comForm = new QFormLayout;
    comForm->addRow(PageText(309), m_baud);
    comForm->addRow(PageText(310), m_parity);
    comForm->addRow(PageText(311), m_handshake);
    auto* comLayout = new QVBoxLayout(com);
    comLayout->addLayout(comTop);
    comLayout->addLayout(comForm);

    // LAN instruments, which a network cannot be searched for: addresses or host names.
    auto* lan = new QGroupBox(QStringLiteral("LAN"), this);
    m_lan = new QLineEdit(lan);
    m_lan->setPlaceholderText(QStringLiteral("192.168.1.20; TCPIP0::scope::hislip0::INSTR"));
    m_lanProblem = new QLabel(lan);
    m_lanProblem->setWordWrap(true);
    auto* lanLayout = new QVBoxLayout(lan);
    lanLayout->addWidget(m_lan);
    lanLayout->addWidget(m_lanProblem);

    m_findPorts = new QPushButton(PageText(319), this);
    m_status = new QLabel(this);
    m_status->setWordWrap(true);
    auto* bottom = new QHBoxLayout;
    bottom->addWidget(m_findPorts);
    bottom->addWidget(m_status, 1);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(gpib);
    layout->addWidget(com);
    layout->addWidget(lan);
    layout->addLayout(bottom);
    layout->addStretch();

    connect(m_gpibPort, &QComboBox::currentIndexChanged, this, &SearchCriteriaPage::showGpibPort);
    connect(m_comPort, &QComboBox::currentIndexChanged, this, &SearchCriteriaPage::showComPort);
    connect(m_gpibIncluded, &QCheckBox::toggled, this, [this](bool on) {
        if (m_loading) return;
        m_edit.SetGPIBPortIncluded(m_gpibPort->currentData().toInt(), on);
        edited();
    });
    const auto setAll = [this](bool on) {
        const int board = m_gpibPort->currentData().toInt();
        for (int address = 0; address < CIOconfiguration::kGPIBAddressCount; ++address)
            m_edit.SetGPIBAddressIncluded(board, address, on);
        showGpibPort();
        edited();
    };
    connect(m_includeAll, &QPushButton::clicked, this, [setAll] { setAll(true); });
    connect(m_excludeAll, &QPushButton::clicked, this, [setAll] { setAll(false); });
    connect(m_comIncluded, &QCheckBox::toggled, this, [this](bool on) {
        if (m_loading) return;
        m_edit.SetRS232PortIncluded(m_comPort->currentData().toInt(), on);
        edited();
    });
    const auto comParameter = [this](QComboBox* box, void (CIOconfiguration::*set)(int, int)) {
        connect(box, &QComboBox::currentIndexChanged, this, [this, box, set] {
            if (m_loading || box->currentIndex() < 0) return;
            (m_edit.*set)(m_comPort->currentData().toInt(), box->currentData().toInt());
            edited();
        });
    };
    comParameter(m_baud, &CIOconfiguration::SetRS232BaudRate);
    comParameter(m_parity, &CIOconfiguration::SetRS232Parity);
    comParameter(m_handshake, &CIOconfiguration::SetRS232Handshake);
    connect(m_lan, &QLineEdit::textEdited, this, [this] { edited(); });
    connect(m_findPorts, &QPushButton::clicked, this, [this] { findPorts(); });
}

SearchCriteriaPage::~SearchCriteriaPage() {
    if (m_worker) m_worker->wait(); // a port lookup ends within its own timeouts
}

QString SearchCriteriaPage::caption() const {
    return PageText(300);
}

void SearchCriteriaPage::edited() {
    setChanged();
    updateButtons();
}

void SearchCriteriaPage::loadFromWorkingCopy(IPPTavrelScope& ipp) {
    m_edit.Copy(ipp.IOConfigurationPropertyPage());
    m_dtrOnly = ipp.DTROnly();
    m_loading = true;
    m_handshake->clear();
    m_handshake->addItem(PageText(317), CorvaneIOUtilsLib::RS232_HandShake_DTR_DSR);
    // XON/XOFF is not offered in DTR-only mode.
    if (!m_dtrOnly) m_handshake->addItem(PageText(318), CorvaneIOUtilsLib::RS232_HandShake_XON_XOFF);
    m_lan->setText(m_edit.LANInstrumentsText().replace(QLatin1Char(';'), QStringLiteral("; ")));
    m_lanProblem->clear();
    m_loading = false;
    showGpibPort();
    showComPort();
}

void SearchCriteriaPage::showGpibPort() {
    const bool loading = m_loading;
    m_loading = true;
    const int board = m_gpibPort->currentData().toInt();
    m_gpibIncluded->setChecked(m_edit.GPIBPortIncluded(board));
    m_gpibMissing->setVisible(!m_edit.GPIBPortExists(board));
    for (int address = 0; address < CIOconfiguration::kGPIBAddressCount; ++address) {
        QCheckBox* box = m_addresses[size_t(address)];
        box->setChecked(m_edit.GPIBAddressIncluded(board, address));
        // An address Find Ports found a listener at stands out.
        QFont font = box->font();
        font.setBold(m_edit.GPIBAddressExists(board, address));
        box->setFont(font);
    }
    m_loading = loading;
    updateButtons();
}

void SearchCriteriaPage::showComPort() {
    const bool loading = m_loading;
    m_loading = true;
    const int port = m_comPort->currentData().toInt();
    m_comIncluded->setChecked(m_edit.RS232PortIncluded(port));
    m_comMissing->setVisible(!m_edit.RS232PortExists(port));
    m_baud->setCurrentIndex(std::max(0, m_baud->findData(m_edit.RS232BaudRate(port))));
    m_parity->setCurrentIndex(std::max(0, m_parity->findData(m_edit.RS232Parity(port))));
    m_handshake->setCurrentIndex(std::max(0, m_handshake->findData(m_edit.RS232Handshake(port))));
    m_loading = loading;
    updateButtons();
}

qint32 SearchCriteriaPage::saveToWorkingCopy(IPPTavrelScope& ipp) {
    CIOconfiguration& working = ipp.IOConfigurationPropertyPage();
    try {
        m_edit.SetLANInstrumentsText(m_lan->text());
    } catch (const TavrelError& error) {
        m_lanProblem->setText(error.detail());
        throw;
    }
    m_lanProblem->clear();
    // The criteria only: the address is the Set I/O page's.
    for (int board = CIOconfiguration::kFirstGPIBPort; board <= CIOconfiguration::kLastGPIBPort; ++board) {
        working.SetGPIBPortIncluded(board, m_edit.GPIBPortIncluded(board));
        working.SetGPIBPortExists(board, m_edit.GPIBPortExists(board));
        for (int address = 0; address < CIOconfiguration::kGPIBAddressCount; ++address) {
            working.SetGPIBAddressIncluded(board, address, m_edit.GPIBAddressIncluded(board, address));
            working.SetGPIBAddressExists(board, address, m_edit.GPIBAddressExists(board, address));
        }
    }
    for (int port = CIOconfiguration::kFirstRS232Port; port <= CIOconfiguration::kLastRS232Port; ++port) {
        working.SetRS232PortIncluded(port, m_edit.RS232PortIncluded(port));
        working.SetRS232PortExists(port, m_edit.RS232PortExists(port));
        working.SetRS232BaudRate(port, m_edit.RS232BaudRate(port));
        working.SetRS232Parity(port, m_edit.RS232Parity(port));
        working.SetRS232Handshake(port, m_edit.RS232Handshake(port));
    }
    working.SetLANInstruments(m_edit.LANInstruments());
    // The search goes by these criteria; Set I/O shows a COM port's parameters.
    return IPPTavrelScope::SearchInstrumentsPageBit | IPPTavrelScope::SetIOPageBit;
}

void SearchCriteriaPage::findPorts(std::function<void()> done) {
    auto* scope = dynamic_cast<TavrelScope*>(host());
    const auto manager = scope ? scope->IOManager() : nullptr;
    if (!manager || m_worker) {
        if (done) done();
        return;
    }
    auto found = std::make_shared<CIOconfiguration>();
    found->Copy(m_edit);
    m_status->setText(PageText(320));
    m_worker = QThread::create([found, manager] { found->RefreshPorts(*manager); });
    updateButtons();
    connect(m_worker, &QThread::finished, this, [this, found, done] {
        m_worker->deleteLater();
        m_worker = nullptr;
        bool any = false;
        for (int board = CIOconfiguration::kFirstGPIBPort; board <= CIOconfiguration::kLastGPIBPort;
             ++board) {
            m_edit.SetGPIBPortExists(board, found->GPIBPortExists(board));
            any = any || found->GPIBPortExists(board);
            for (int address = 0; address < CIOconfiguration::kGPIBAddressCount; ++address)
                m_edit.SetGPIBAddressExists(board, address, found->GPIBAddressExists(board, address));
        }
        for (int port = CIOconfiguration::kFirstRS232Port; port <= CIOconfiguration::kLastRS232Port; ++port) {
            m_edit.SetRS232PortExists(port, found->RS232PortExists(port));
            any = any || found->RS232PortExists(port);
        }
        m_status->setText(any ? QString() : PageText(321));
        showGpibPort();
        showComPort();
        edited();
        if (done) done();
    });
    m_worker->start();
}

void SearchCriteriaPage::updateButtons() {
    const bool idle = !m_worker;
    m_findPorts->setEnabled(idle);
    const bool gpibIncluded = m_gpibIncluded->isChecked();
    for (QCheckBox* box : m_addresses)
        box->setEnabled(gpibIncluded);
    m_includeAll->setEnabled(gpibIncluded);
    m_excludeAll->setEnabled(gpibIncluded);
    const bool comIncluded = m_comIncluded->isChecked();
    m_baud->setEnabled(comIncluded);
    m_parity->setEnabled(comIncluded);
    m_handshake->setEnabled(comIncluded);
}
