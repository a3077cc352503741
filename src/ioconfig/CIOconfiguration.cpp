#include "ioconfig/CIOconfiguration.h"

#include "base/Diagnostics.h"
#include "iolib/IOUtilsEnums.h"

using namespace CorvaneIOUtilsLib;

namespace {

const QString kInitialAddress = QStringLiteral("GPIB0::7::INSTR");
const QString kGPIBPrefix = QStringLiteral("GPIB");
const QString kRS232Prefix = QStringLiteral("COM");
constexpr qint32 kDefaultBaudRate = 9600;

// The one digit that ends a port string, or -1.
int portDigit(const QString& port, qsizetype position) {
    if (position >= port.size()) return -1;
    const QChar c = port.at(position);
    return (c >= u'0' && c <= u'9') ? c.unicode() - u'0' : -1;
}

// The number after a port prefix; -1 unless it is made of decimal digits only.
int numberAfter(const QString& port, qsizetype prefixLength) {
    const QString digits = port.mid(prefixLength);
    if (digits.isEmpty() || digits.size() > 2) return -1;
    int value = 0;
    for (const QChar c : digits) {
        if (c < u'0' || c > u'9') return -1;
        value = value * 10 + (c.unicode() - u'0');
    }
    return value;
}

} // namespace

CIOconfiguration::CIOconfiguration() {
    m_abGPIBPortIncluded.fill(true);
    m_abRS232PortIncluded.fill(true);
    for (auto& addresses : m_abGPIBAddressIncluded)
        addresses.fill(true);
    for (auto& entry : m_aiRS232Configuration)
        entry = {kDefaultBaudRate, RS232_Parity_None, RS232_HandShake_XON_XOFF};

    // The active port and GPIB address follow from the initial address rather than being set apart
    // from it, so the two cannot disagree.
    m_strActiveAddressString = kInitialAddress;
    if (IsStringGPIB(m_strActiveAddressString)) {
        m_lActiveGPIBAddress = GPIBInstrumentAddress(m_strActiveAddressString);
        m_strActiveIOPort = m_strActiveAddressString.left(kGPIBPrefix.size() + 1);
        m_lIOPortIndex = GPIBPortIndex(m_strActiveIOPort);
        m_bIsGPIB = true;
    } else {
        m_lActiveGPIBAddress = 0;
        m_strActiveIOPort = m_strActiveAddressString.left(kRS232Prefix.size() + 1);
        m_lIOPortIndex = RS232PortIndex(m_strActiveIOPort);
        m_bIsGPIB = false;
    }
}

int CIOconfiguration::GPIBSlot(int port) {
    if (port < kFirstGPIBPort || port > kLastGPIBPort) throw SubscriptOutOfRangeError();
    return port - kFirstGPIBPort;
}

int CIOconfiguration::RS232Slot(int port) {
    if (port < kFirstRS232Port || port > kLastRS232Port) throw SubscriptOutOfRangeError();
    return port - kFirstRS232Port;
}

int CIOconfiguration::AddressSlot(int address) {
    if (address < kFirstGPIBAddress || address > kLastGPIBAddress) throw SubscriptOutOfRangeError();
    return address - kFirstGPIBAddress;
}

bool CIOconfiguration::IsAllowedBaudRate(qint32 baudRate) {
    switch (baudRate) {
    case 1200:
    case 2400:
    case 9600:
    case 19200:
    case 38400:
    case 57600:
        return true;
    default:
        return false;
    }
}

qint32& CIOconfiguration::ActivePortEntry(int index) {
    return m_aiRS232Configuration[RS232Slot(m_lIOPortIndex)][index];
}

qint32 CIOconfiguration::ActivePortEntry(int index) const {
    return m_aiRS232Configuration[RS232Slot(m_lIOPortIndex)][index];
}

void CIOconfiguration::Copy(const CIOconfiguration& source) {
    ReportAssertion(true, QStringLiteral("(Not (ioconfiguration Is Nothing))"), kClassName,
                    QStringLiteral("Copy"));
    if (&source == this) return;

    // DTR-only mode goes first: in it a bare "COM1" is refused, so a source without the mode could
    // not hand over its address otherwise.
    SetDTROnly(source.DTROnly());
    // A GPIB-type address string is kept verbatim and says nothing about the active port, so the
    // port and GPIB address come across as they are; the serial parameters below then rebuild the
    // address from the same fields the source built its own from.
    m_strActiveIOPort = source.m_strActiveIOPort;
    m_lIOPortIndex = source.m_lIOPortIndex;
    m_bIsGPIB = source.m_bIsGPIB;
    m_lActiveGPIBAddress = source.m_lActiveGPIBAddress;
    SetActiveAddressString(source.ActiveAddressString());
    SetActiveAddressInstrumentID(source.ActiveAddressInstrumentID());

    for (int port = kFirstGPIBPort; port <= kLastGPIBPort; ++port) {
        SetGPIBPortExists(port, source.GPIBPortExists(port));
        SetGPIBPortIncluded(port, source.GPIBPortIncluded(port));
        for (int address = kFirstGPIBAddress; address <= kLastGPIBAddress; ++address) {
            SetGPIBAddressIncluded(port, address, source.GPIBAddressIncluded(port, address));
            SetGPIBAddressExists(port, address, source.GPIBAddressExists(port, address));
        }
    }
    for (int port = kFirstRS232Port; port <= kLastRS232Port; ++port) {
        SetRS232PortExists(port, source.RS232PortExists(port));
        SetRS232PortIncluded(port, source.RS232PortIncluded(port));
        SetRS232BaudRate(port, source.RS232BaudRate(port));
        SetRS232Parity(port, source.RS232Parity(port));
        SetRS232Handshake(port, source.RS232Handshake(port));
    }
    m_astrLANInstruments = source.m_astrLANInstruments;
    // The serial parameters rebuilt the address from the port fields; a string kept verbatim (a
    // TCPIP or USB address typed whole) is the source's own.
    if (IsStringGPIB(source.m_strActiveAddressString))
        m_strActiveAddressString = source.m_strActiveAddressString;
}

bool CIOconfiguration::GPIBPortExists(int port) const {
    return m_abGPIBPortExists[GPIBSlot(port)];
}
void CIOconfiguration::SetGPIBPortExists(int port, bool exists) {
    m_abGPIBPortExists[GPIBSlot(port)] = exists;
}
bool CIOconfiguration::GPIBPortIncluded(int port) const {
    return m_abGPIBPortIncluded[GPIBSlot(port)];
}
void CIOconfiguration::SetGPIBPortIncluded(int port, bool included) {
    m_abGPIBPortIncluded[GPIBSlot(port)] = included;
}

QString CIOconfiguration::GPIBPortString(int port) const {
    if (port < kFirstGPIBPort || port > kLastGPIBPort) {
        ReportAssertion(false, QStringLiteral("false"), kClassName, QStringLiteral("Get GPIBPortString"),
                        QStringLiteral("Case Else"));
        throw InvalidPropertyValueError();
    }
    return kGPIBPrefix + QString::number(port);
}

QString CIOconfiguration::RS232PortString(int port) const {
    if (port < kFirstRS232Port || port > kLastRS232Port) {
        ReportAssertion(false, QStringLiteral("false"), kClassName, QStringLiteral("Get RS232PortString"),
                        QStringLiteral("Case Else"));
        throw InvalidPropertyValueError();
    }
    return kRS232Prefix + QString::number(port);
}

bool CIOconfiguration::RS232PortExists(int port) const {
    return m_abRS232PortExists[RS232Slot(port)];
}
void CIOconfiguration::SetRS232PortExists(int port, bool exists) {
    m_abRS232PortExists[RS232Slot(port)] = exists;
}
bool CIOconfiguration::RS232PortIncluded(int port) const {
    return m_abRS232PortIncluded[RS232Slot(port)];
}
void CIOconfiguration::SetRS232PortIncluded(int port, bool included) {
    m_abRS232PortIncluded[RS232Slot(port)] = included;
}

bool CIOconfiguration::IsGPIBPortString(const QString& port) const {
    if (port.size() != kGPIBPrefix.size() + 1 || !port.startsWith(kGPIBPrefix, Qt::CaseInsensitive))
        return false;
    const int number = portDigit(port, kGPIBPrefix.size());
    return number >= kFirstGPIBPort && number <= kLastGPIBPort;
}

bool CIOconfiguration::IsRS232PortString(const QString& port) const {
    if (port.size() != kRS232Prefix.size() + 1 || !port.startsWith(kRS232Prefix, Qt::CaseInsensitive))
        return false;
    const int number = portDigit(port, kRS232Prefix.size());
    return number >= kFirstRS232Port && number <= kLastRS232Port;
}

int CIOconfiguration::RS232PortIndex(const QString& port) const {
    const QString procedure = QStringLiteral("RS232PortIndex");
    RequireValid(port.startsWith(kRS232Prefix, Qt::CaseInsensitive), QStringLiteral("false"), kClassName,
                 procedure, QStringLiteral("1"));
    const int number = numberAfter(port, kRS232Prefix.size());
    RequireValid(number >= kFirstRS232Port && number <= kLastRS232Port, QStringLiteral("false"), kClassName,
                 procedure, QStringLiteral("2"));
    return number;
}

int CIOconfiguration::GPIBPortIndex(const QString& port) const {
    const QString procedure = QStringLiteral("GPIBPortIndex");
    RequireValid(port.startsWith(kGPIBPrefix, Qt::CaseInsensitive), QStringLiteral("false"), kClassName,
                 procedure, QStringLiteral("1"));
    const int number = numberAfter(port, kGPIBPrefix.size());
    RequireValid(number >= kFirstGPIBPort && number <= kLastGPIBPort, QStringLiteral("false"), kClassName,
                 procedure, QStringLiteral("2"));
    return number;
}

bool CIOconfiguration::GPIBAddressIncluded(int port, int address) const {
    return m_abGPIBAddressIncluded[GPIBSlot(port)][AddressSlot(address)];
}

void CIOconfiguration::SetGPIBAddressIncluded(int port, int address, bool included) {
    m_abGPIBAddressIncluded[GPIBSlot(port)][AddressSlot(address)] = included;
}

int CIOconfiguration::RS232BaudRate(int port) const {
    return m_aiRS232Configuration[RS232Slot(port)][kBaudRateIndex];
}

void CIOconfiguration::SetRS232BaudRate(int port, int baudRate) {
    m_aiRS232Configuration[RS232Slot(port)][kBaudRateIndex] = baudRate;
    ReformAddress();
}

int CIOconfiguration::RS232Parity(int port) const {
    return m_aiRS232Configuration[RS232Slot(port)][kParityIndex];
}

void CIOconfiguration::SetRS232Parity(int port, int parity) {
    m_aiRS232Configuration[RS232Slot(port)][kParityIndex] = parity;
    ReformAddress();
}

int CIOconfiguration::RS232Handshake(int port) const {
    return m_aiRS232Configuration[RS232Slot(port)][kHandshakeIndex];
}

void CIOconfiguration::SetRS232Handshake(int port, int handshake) {
    m_aiRS232Configuration[RS232Slot(port)][kHandshakeIndex] = handshake;
    ReformAddress();
}

bool CIOconfiguration::GPIBAddressExists(int port, int address) const {
    return m_abGPIBAddressExists[GPIBSlot(port)][AddressSlot(address)];
}

void CIOconfiguration::SetGPIBAddressExists(int port, int address, bool exists) {
    m_abGPIBAddressExists[GPIBSlot(port)][AddressSlot(address)] = exists;
}

QVariant CIOconfiguration::AnyPortExists() const {
    // COM ports count only when there is no GPIB interface at all.
    for (const bool exists : m_abGPIBPortExists)
        if (exists) return true;
    for (const bool exists : m_abRS232PortExists)
        if (exists) return true;
    return false;
}

void CIOconfiguration::SetActiveIOPort(const QString& port) {
    const QString procedure = QStringLiteral("ActiveIOPort");
    const QString strPort = port.toUpper();
    if (IsStringGPIB(strPort)) {
        RequireValid(strPort.size() == kGPIBPrefix.size() + 1,
                     QStringLiteral("(Len(strPort) = Len(GPIB_PREFIX) + 1)"), kClassName, procedure);
        // "USB01" passes the length test, but only GPIB interfaces are ports.
        if (!strPort.startsWith(kGPIBPrefix)) throw InvalidPropertyValueError();
        const int lPort = portDigit(strPort, kGPIBPrefix.size());
        if (lPort < 0) throw InvalidPropertyValueError();
        RequireValid(lPort >= kFirstGPIBPort && lPort <= kLastGPIBPort,
                     QStringLiteral("(lPort >= GPIB_PORT.First And lPort <= GPIB_PORT.Last)"), kClassName,
                     procedure);
        m_lIOPortIndex = lPort;
        m_strActiveIOPort = strPort;
        m_bIsGPIB = true;
    } else {
        RequireValid(strPort.size() == kRS232Prefix.size() + 1,
                     QStringLiteral("(Len(strPort) = Len(RS232_PREFIX) + 1)"), kClassName, procedure);
        const int lPort = portDigit(strPort, kRS232Prefix.size());
        if (lPort < 0) throw InvalidPropertyValueError();
        RequireValid(lPort >= kFirstRS232Port && lPort <= kLastRS232Port,
                     QStringLiteral("(lPort >= RS232_PORT.First And lPort <= RS232_PORT.Last)"), kClassName,
                     procedure);
        m_lIOPortIndex = lPort;
        m_strActiveIOPort = strPort;
        m_bIsGPIB = false;
    }
    ReformAddress();
}

int CIOconfiguration::ActivePortBaudRate() const {
    return ActivePortEntry(kBaudRateIndex);
}

void CIOconfiguration::SetActivePortBaudRate(int baudRate) {
    const QString procedure = QStringLiteral("Let ActivePortBaudRate");
    // Only reported: the rate is still stored for the COM port numbered like the GPIB port.
    ReportAssertion(!m_bIsGPIB, QStringLiteral("(m_bIsGPIB = False)"), kClassName, procedure);
    RequireValid(IsAllowedBaudRate(baudRate),
                 QStringLiteral("(lBaudRate = 1200 Or lBaudRate = 2400 Or lBaudRate = 9600 Or lBaudRate = "
                                "19200 Or lBaudRate = 38400 Or lBaudRate = 57600)"),
                 kClassName, procedure);
    ActivePortEntry(kBaudRateIndex) = baudRate;
    ReformAddress();
}

int CIOconfiguration::ActivePortGPIBAddress() const {
    ReportAssertion(m_bIsGPIB, QStringLiteral("(m_bIsGPIB = True)"), kClassName,
                    QStringLiteral("Get ActivePortGPIBAddress"));
    return m_lActiveGPIBAddress;
}

void CIOconfiguration::SetActivePortGPIBAddress(int address) {
    RequireValid(address >= kFirstGPIBAddress && address <= kLastGPIBAddress,
                 QStringLiteral("(lAddress >= SEARCH_CRITERIA.FIRST_GPIB_INCLUDE And lAddress <= "
                                "SEARCH_CRITERIA.LAST_GPIB_INCLUDE)"),
                 kClassName, QStringLiteral("Let ActivePortGPIBAddress"));
    m_lActiveGPIBAddress = address;
    ReformAddress();
}

int CIOconfiguration::ActivePortHandshake() const {
    return ActivePortEntry(kHandshakeIndex);
}

void CIOconfiguration::SetActivePortHandshake(int handshake) {
    const QString procedure = QStringLiteral("Let ActivePortHandshake");
    ReportAssertion(!m_bIsGPIB, QStringLiteral("(m_bIsGPIB = False)"), kClassName, procedure);
    RequireValid(handshake == RS232_HandShake_DTR_DSR || handshake == RS232_HandShake_XON_XOFF,
                 QStringLiteral("(lHandshake = CorvaneIOUtilsLib.RS232_HandShake_DTR_DSR Or lHandshake = "
                                "CorvaneIOUtilsLib.RS232_HandShake_XON_XOFF)"),
                 kClassName, procedure);
    ActivePortEntry(kHandshakeIndex) = handshake;
    ReformAddress();
}

void CIOconfiguration::SetActiveAddressInstrumentID(const QString& id) {
    if (id != m_strActiveAddressInstrumentID) m_strActiveAddressInstrumentID = id;
}

void CIOconfiguration::SetDTROnly(bool dtrOnly) {
    if (dtrOnly == m_bDTROnly) return;
    m_bDTROnly = dtrOnly;
    // Leaving the mode keeps DTR/DSR: nothing remembers what the ports used before.
    if (dtrOnly)
        for (int port = kFirstRS232Port; port <= kLastRS232Port; ++port)
            SetRS232Handshake(port, RS232_HandShake_DTR_DSR);
}
