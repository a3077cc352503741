#include "pages/SetIOPage.h"

#include "base/TavrelError.h"
#include "control/TavrelScope.h"
#include "ioconfig/CIOconfiguration.h"
#include "iolib/IOUtilsEnums.h"
#include "pages/FrmMessageOption.h"
#include "pages/InstrumentTestRun.h"
#include "pages/PageRegistry.h"
#include "pages/PageTexts.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSpinBox>
#include <QThread>
#include <QVBoxLayout>

namespace {

const bool kRegistered =
    PageRegistry::add(SetIOPage::kName, [](QWidget* parent) { return new SetIOPage(parent); });
const QString kTypedAddress = QStringLiteral("TCPIP / USB");
// The rates an address string may name.
const int kBaudRates[] = {1200, 2400, 9600, 19200, 38400, 57600};

} // namespace

SetIOPage::SetIOPage(QWidget* parent) : PropertyPage("TavrelPPSetIO", IPPTavrelScope::SetIOPageBit, parent) {
    (void)kRegistered;
    m_port = new QComboBox(this);
    for (int board = CIOconfiguration::kFirstGPIBPort; board <= CIOconfiguration::kLastGPIBPort; ++board)
        m_port->addItem(QStringLiteral("GPIB%1").arg(board));
    for (int com = CIOconfiguration::kFirstRS232Port; com <= CIOconfiguration::kLastRS232Port; ++com)
        m_port->addItem(QStringLiteral("COM%1").arg(com));
    m_port->addItem(kTypedAddress);
    m_address = new QLineEdit(this);
    m_address->setPlaceholderText(QStringLiteral("TCPIP0::192.168.1.20::INSTR"));
    m_gpibAddress = new QSpinBox(this);
    m_gpibAddress->setRange(CIOconfiguration::kFirstGPIBAddress, CIOconfiguration::kLastGPIBAddress);
    m_baud = new QComboBox(this);
    for (int rate : kBaudRates)
        m_baud->addItem(QString::number(rate), rate);
    m_parity = new QComboBox(this);
    const int parities[] = {CorvaneIOUtilsLib::RS232_Parity_None, CorvaneIOUtilsLib::RS232_Parity_Odd,
                            CorvaneIOUtilsLib::RS232_Parity_Even, CorvaneIOUtilsLib::RS232_Parity_Mark,
                            CorvaneIOUtilsLib::RS232_Parity_Space};
    for (int i = 0; i < 5; ++i)
        m_parity->addItem(PageText(312 + i), parities[i]);
    m_handshake = new QComboBox(this);
    m_txDelay = new QSpinBox(this);
    m_txDelay->setRange(0, 10000);
    m_reset = new QCheckBox(PageText(800), this);
    m_checkId = new QCheckBox(PageText(801), this);
    m_addressString = new QLabel(this);
    m_test = new QPushButton(PageText(406), this);
    m_hint = new QLabel(PageText(410), this);
    m_hint->setWordWrap(true);
    m_addressString->setTextInteractionFlags(Qt::TextSelectableByMouse);

    auto* form = new QFormLayout;
    form->addRow(PageText(401), m_port);
    form->addRow(QString(), m_address);
    form->addRow(PageText(402), m_gpibAddress);
    form->addRow(PageText(403), m_baud);
    form->addRow(PageText(310), m_parity);
    form->addRow(PageText(404), m_handshake);
    form->addRow(PageText(405), m_txDelay);
    form->addRow(QString(), m_reset);
    form->addRow(QString(), m_checkId);
    form->addRow(PageText(407), m_addressString);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(form);
    layout->addWidget(m_hint);
    layout->addWidget(m_test, 0, Qt::AlignLeft);
    layout->addStretch();
    connect(m_test, &QPushButton::clicked, this, [this] { test(); });

    const auto edited = [this] {
        if (m_loading) return;
        setChanged();
        updateButtons();
    };
    connect(m_port, &QComboBox::currentIndexChanged, this, [this, edited] {
        // Another COM port shows its own parameters, as the working copy holds them.
        if (!m_loading && isComPort())
            if (IPPTavrelScope* ipp = host()) showSerialParameters(ipp->IOConfigurationPropertyPage());
        edited();
    });
    connect(m_address, &QLineEdit::textEdited, this, edited);
    connect(m_gpibAddress, &QSpinBox::valueChanged, this, edited);
    connect(m_baud, &QComboBox::currentIndexChanged, this, edited);
    connect(m_parity, &QComboBox::currentIndexChanged, this, edited);
    connect(m_handshake, &QComboBox::currentIndexChanged, this, edited);
    connect(m_txDelay, &QSpinBox::valueChanged, this, edited);
    connect(m_reset, &QCheckBox::toggled, this, edited);
    connect(m_checkId, &QCheckBox::toggled, this, edited);
}

QString SetIOPage::caption() const {
    return PageText(400);
}

bool SetIOPage::isComPort() const {
    return m_port->currentText().startsWith(QStringLiteral("COM"));
}

bool SetIOPage::isTypedAddress() const {
    return m_port->currentText() == kTypedAddress;
}

void SetIOPage::loadFromWorkingCopy(IPPTavrelScope& ipp) {
    m_loading = true;
    const CIOconfiguration& io = ipp.IOConfigurationPropertyPage();
    const QString address = io.ActiveAddressString();
    const bool typed = address.startsWith(QStringLiteral("TCPIP"), Qt::CaseInsensitive) ||
                       address.startsWith(QStringLiteral("USB"), Qt::CaseInsensitive);
    m_port->setCurrentText(typed ? kTypedAddress : io.ActiveIOPort());
    m_address->setText(typed ? address : QString());
    m_gpibAddress->setValue(io.ActivePortGPIBAddress());
    // XON/XOFF is not offered in DTR-only mode.
    m_handshake->clear();
    m_handshake->addItem(PageText(317), CorvaneIOUtilsLib::RS232_HandShake_DTR_DSR);
    if (!ipp.DTROnly()) m_handshake->addItem(PageText(318), CorvaneIOUtilsLib::RS232_HandShake_XON_XOFF);
    if (isComPort()) showSerialParameters(io);
    if (QObject* control = dynamic_cast<QObject*>(&ipp)) {
        m_txDelay->setValue(control->property("TXDelay").toInt());
        m_reset->setChecked(control->property("ResetOnInitialize").toBool());
        m_checkId->setChecked(control->property("CheckIDOnInitialize").toBool());
    }
    m_addressString->setText(address);
    m_loading = false;
    updateButtons();
}

void SetIOPage::writeAddress(CIOconfiguration& io) const {
    if (isTypedAddress()) {
        io.SetActiveAddressString(m_address->text().trimmed());
    } else {
        io.SetActiveIOPort(m_port->currentText());
        if (isComPort()) {
            const int port = io.RS232PortIndex(m_port->currentText());
            io.SetRS232BaudRate(port, m_baud->currentData().toInt());
            io.SetRS232Parity(port, m_parity->currentData().toInt());
            io.SetRS232Handshake(port, m_handshake->currentData().toInt());
        } else {
            io.SetActivePortGPIBAddress(m_gpibAddress->value());
        }
    }
}

qint32 SetIOPage::saveToWorkingCopy(IPPTavrelScope& ipp) {
    CIOconfiguration& io = ipp.IOConfigurationPropertyPage();
    writeAddress(io);
    cautionAboutHandshake(ipp, io);
    if (QObject* control = dynamic_cast<QObject*>(&ipp)) {
        control->setProperty("TXDelay", m_txDelay->value());
        control->setProperty("ResetOnInitialize", m_reset->isChecked());
        control->setProperty("CheckIDOnInitialize", m_checkId->isChecked());
    }
    m_addressString->setText(io.ActiveAddressString());
    // The Search Instruments page marks the active address's row.
    return IPPTavrelScope::SearchInstrumentsPageBit;
}

// XON/XOFF can corrupt binary transfers: a COM address with it is cautioned about once per address,
// unless the user asked not to see the caution again.
void SetIOPage::cautionAboutHandshake(IPPTavrelScope& ipp, const CIOconfiguration& io) {
    if (!isComPort() || ipp.DontShowIOHandshakeWarning()) return;
    const int port = io.RS232PortIndex(m_port->currentText());
    if (io.RS232Handshake(port) != CorvaneIOUtilsLib::RS232_HandShake_XON_XOFF) return;
    const QString address = io.ActiveAddressString();
    if (address == ipp.LastIOHandshakeAddress()) return;
    ipp.SetLastIOHandshakeAddress(address);
    FrmMessageOption caution(this);
    caution.SetTitle(PageText(280));
    caution.SetMessage(PageText(711) + QStringLiteral("\n\n") + PageText(712) + QStringLiteral("\n\n") +
                       PageText(713));
    caution.SetOption(PageText(124));
    if (m_showCaution) caution.exec();
    ipp.SetDontShowIOHandshakeWarning(caution.OptionChecked());
}

void SetIOPage::test(std::function<void()> done) {
    IPPTavrelScope* ipp = host();
    auto* scope = dynamic_cast<TavrelScope*>(ipp);
    if (!scope || m_tester) {
        if (done) done();
        return;
    }
    // The address as the page shows it now, before Apply.
    CIOconfiguration configuration;
    configuration.Copy(ipp->IOConfigurationPropertyPage());
    try {
        writeAddress(configuration);
    } catch (const TavrelError&) {
        if (done) done();
        return; // Apply explains a refused address
    }
    m_hint->setText(PageText(411));
    m_tester = StartInstrumentTest(this, configuration, scope->IOManager(), m_txDelay->value(),
                                   configuration.ActiveAddressString(), window()->winId(), [this, done] {
                                       m_tester = nullptr;
                                       m_hint->setText(PageText(410));
                                       updateButtons();
                                       if (done) done();
                                   });
    updateButtons();
}

void SetIOPage::showSerialParameters(const CIOconfiguration& io) {
    const bool loading = m_loading;
    m_loading = true;
    const int port = io.RS232PortIndex(m_port->currentText());
    m_baud->setCurrentIndex(std::max(0, m_baud->findData(io.RS232BaudRate(port))));
    m_parity->setCurrentIndex(std::max(0, m_parity->findData(io.RS232Parity(port))));
    m_handshake->setCurrentIndex(std::max(0, m_handshake->findData(io.RS232Handshake(port))));
    m_loading = loading;
}

void SetIOPage::updateButtons() {
    const bool typed = isTypedAddress(), com = isComPort();
    m_address->setVisible(typed);
    m_gpibAddress->setEnabled(!typed && !com);
    m_baud->setEnabled(com);
    m_parity->setEnabled(com);
    m_handshake->setEnabled(com);
    m_test->setEnabled(!m_tester);
}

SetIOPage::~SetIOPage() {
    if (m_tester) m_tester->wait(); // a test ends within its query timeout
}
