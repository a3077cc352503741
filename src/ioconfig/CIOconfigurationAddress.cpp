// Address strings: telling GPIB-type from RS-232 strings, parsing RS-232 strings into the active COM
// port's parameters, and building the canonical string back from the fields.
#include "ioconfig/CIOconfiguration.h"

#include <QRegularExpression>

#include "base/Diagnostics.h"
#include "iolib/IOUtilsEnums.h"

#include <algorithm>
#include <limits>

using namespace CorvaneIOUtilsLib;

namespace {

const QString kGPIBPrefix = QStringLiteral("GPIB");
const QString kRS232Prefix = QStringLiteral("COM");
const QString kUSBPrefix = QStringLiteral("USB");
const QString kTCPIPPrefix = QStringLiteral("TCPIP");
const QString kSeparator = QStringLiteral("::");
const QString kInstrSuffix = QStringLiteral("INSTR");
const QString kBaudKeyword = QStringLiteral("Baud=");
const QString kHandshakeKeyword = QStringLiteral("Handshake=");
const QString kXonXoff = QStringLiteral("XON_XOFF");
const QString kDtrDsr = QStringLiteral("DTR_DSR");
constexpr qint32 kDefaultBaudRate = 9600;
constexpr qsizetype kRS232PortLength = 4; // "COM" and one digit

// The decimal number at the start of the text, stopping at the first non-digit; 0 when there is
// none and -1 when it does not fit a baud rate at all.
qint32 leadingNumber(const QString& text) {
    qint64 value = 0;
    for (const QChar c : text) {
        if (c < u'0' || c > u'9') break;
        value = value * 10 + (c.unicode() - u'0');
        if (value > std::numeric_limits<qint32>::max()) return -1;
    }
    return static_cast<qint32>(value);
}

} // namespace

bool CIOconfiguration::IsStringGPIB(const QString& address) const {
    if (address.startsWith(kUSBPrefix, Qt::CaseInsensitive) ||
        address.startsWith(kTCPIPPrefix, Qt::CaseInsensitive) ||
        address.startsWith(kGPIBPrefix, Qt::CaseInsensitive))
        return true;
    if (address.startsWith(kRS232Prefix, Qt::CaseInsensitive)) return false;
    RequireValid(
        false,
        QStringLiteral("(InStr(1, strAddress, GPIB_PREFIX, vbTextCompare) = 1 Or InStr(1, strAddress, "
                       "RS232_PREFIX, vbTextCompare) = 1)"),
        kClassName, QStringLiteral("IsStringGPIB"));
    return false;
}

int CIOconfiguration::GPIBInstrumentAddress(const QString& address) const {
    const QString procedure = QStringLiteral("GPIBInstrumentAddress");
    const qsizetype first = address.indexOf(kSeparator);
    if (first < 0) throw InvalidPropertyValueError();
    const qsizetype start = first + kSeparator.size();
    const qsizetype second = address.indexOf(kSeparator, start);
    const qsizetype length = second - start;
    RequireValid(second >= 0 && length >= 1 && length <= 2, QStringLiteral("false"), kClassName, procedure,
                 QStringLiteral("1"));
    bool ok = false;
    const QString digits = address.mid(start, length);
    const bool allDigits =
        std::all_of(digits.begin(), digits.end(), [](QChar c) { return c >= u'0' && c <= u'9'; });
    const int value = allDigits ? digits.toInt(&ok) : -1;
    RequireValid(ok && value >= kFirstGPIBAddress && value <= kLastGPIBAddress, QStringLiteral("false"),
                 kClassName, procedure, QStringLiteral("2"));
    return value;
}

void CIOconfiguration::ReformAddress() {
    if (m_bIsGPIB) {
        m_strActiveAddressString = m_strActiveIOPort + kSeparator + QString::number(m_lActiveGPIBAddress) +
                                   kSeparator + kInstrSuffix;
        return;
    }
    const qint32 baudRate = ActivePortEntry(kBaudRateIndex);
    const qint32 handshake = ActivePortEntry(kHandshakeIndex);
    QString address = m_strActiveIOPort;
    // 9600 baud and XON/XOFF are what a bare port means, so neither is ever spelled out.
    if (baudRate != kDefaultBaudRate || handshake != RS232_HandShake_XON_XOFF) {
        address += kSeparator;
        if (baudRate != kDefaultBaudRate) {
            address += kBaudKeyword + QString::number(baudRate);
            if (handshake != RS232_HandShake_XON_XOFF) address += u',';
        }
        if (handshake != RS232_HandShake_XON_XOFF) {
            if (handshake == RS232_HandShake_DTR_DSR)
                address += kHandshakeKeyword + kDtrDsr;
            else
                ReportAssertion(false, QStringLiteral("false"), kClassName, QStringLiteral("ReformAddress"),
                                QStringLiteral("Case Else"));
        }
    }
    m_strActiveAddressString = address;
}

CIOconfiguration::AddressState CIOconfiguration::SaveAddressState() const {
    return {m_strActiveAddressString, m_lActiveGPIBAddress, m_strActiveIOPort, m_lIOPortIndex, m_bIsGPIB,
            m_aiRS232Configuration};
}

void CIOconfiguration::RestoreAddressState(const AddressState& state) {
    m_strActiveAddressString = state.addressString;
    m_lActiveGPIBAddress = state.gpibAddress;
    m_strActiveIOPort = state.ioPort;
    m_lIOPortIndex = state.ioPortIndex;
    m_bIsGPIB = state.isGPIB;
    m_aiRS232Configuration = state.rs232Configuration;
}

void CIOconfiguration::SetActiveAddressString(const QString& address) {
    // The whole serial table is kept, not just the active port's entry: the string may name another
    // COM port, whose parameters change before a later item is refused.
    const AddressState saved = SaveAddressState();
    try {
        if (IsStringGPIB(address)) {
            m_strActiveAddressString = address;
            // A GPIB instrument address also names the port and the address the pages show; other
            // verbatim strings (TCPIP, USB) leave the port fields as they are.
            static const QRegularExpression gpib(QStringLiteral("^GPIB([0-3])::(\\d{1,2})(::INSTR)?$"),
                                                 QRegularExpression::CaseInsensitiveOption);
            const QRegularExpressionMatch match = gpib.match(address.trimmed());
            if (match.hasMatch() && match.captured(2).toInt() <= kLastGPIBAddress) {
                m_strActiveIOPort = kGPIBPrefix + match.captured(1);
                m_lIOPortIndex = match.captured(1).toInt();
                m_bIsGPIB = true;
                m_lActiveGPIBAddress = match.captured(2).toInt();
            }
            return;
        }
        ParseRS232Address(address);
    } catch (const TavrelError&) {
        ReportAssertion(false, QStringLiteral("false"), kClassName, QStringLiteral("ActiveAddressString"),
                        QStringLiteral("CatchError"));
        RestoreAddressState(saved);
        throw InvalidPropertyValueError();
    }
}

void CIOconfiguration::ParseRS232Address(const QString& address) {
    QString text = address;
    text.remove(u' ');
    SetActiveIOPort(text.left(kRS232PortLength));

    const qsizetype separator = text.indexOf(kSeparator);
    if (separator < 0) {
        SetActivePortBaudRate(kDefaultBaudRate);
        if (m_bDTROnly) {
            // A bare port implies XON/XOFF, which DTR-only mode forbids.
            SetActivePortHandshake(RS232_HandShake_DTR_DSR);
            throw InvalidPropertyValueError();
        }
        SetActivePortHandshake(RS232_HandShake_XON_XOFF);
        if (text.size() > kRS232PortLength) throw InvalidPropertyValueError();
        m_strActiveAddressString = text;
        ReformAddress();
        return;
    }

    // What the string would be if it held only the items understood here; a string of another
    // length carries an unknown or malformed item.
    const QString keywords = text.mid(separator + kSeparator.size());
    QString reference = m_strActiveIOPort;

    const qsizetype baudAt = keywords.indexOf(kBaudKeyword, 0, Qt::CaseInsensitive);
    if (baudAt < 0) {
        SetActivePortBaudRate(kDefaultBaudRate);
    } else {
        const qint32 baudRate = leadingNumber(keywords.mid(baudAt + kBaudKeyword.size()));
        SetActivePortBaudRate(baudRate);
        reference += kSeparator + kBaudKeyword + QString::number(baudRate);
    }

    const qsizetype handshakeAt = keywords.indexOf(kHandshakeKeyword, 0, Qt::CaseInsensitive);
    if (handshakeAt < 0) {
        if (m_bDTROnly) {
            SetActivePortHandshake(RS232_HandShake_DTR_DSR);
            throw InvalidPropertyValueError();
        }
        SetActivePortHandshake(RS232_HandShake_XON_XOFF);
    } else {
        const qsizetype valueAt = handshakeAt + kHandshakeKeyword.size();
        const qsizetype comma = keywords.indexOf(u',', valueAt);
        const QString value = comma < 0 ? keywords.mid(valueAt) : keywords.mid(valueAt, comma - valueAt);
        if (!m_bDTROnly && value.compare(kXonXoff, Qt::CaseInsensitive) == 0)
            SetActivePortHandshake(RS232_HandShake_XON_XOFF);
        else if (value.compare(kDtrDsr, Qt::CaseInsensitive) == 0)
            SetActivePortHandshake(RS232_HandShake_DTR_DSR);
        else
            throw InvalidPropertyValueError();
        reference += (baudAt < 0 ? kSeparator : QStringLiteral(",")) + kHandshakeKeyword + value;
    }

    // Data size, parity and stop bits are accepted for compatibility but do not belong to the
    // address: the session sets them apart.
    QString rest = StripRS232KeyWord(text, QStringLiteral("Size="));
    rest = StripRS232KeyWord(rest, QStringLiteral("Parity="));
    rest = StripRS232KeyWord(rest, QStringLiteral("Stop="));
    if (rest.endsWith(kSeparator)) rest.chop(kSeparator.size());
    if (rest.endsWith(u',')) rest.chop(1);
    // Only lengths are compared, so the items may come in any order.
    if (rest.size() != reference.size()) throw InvalidPropertyValueError();
    m_strActiveAddressString = rest;
    ReformAddress();
}

QString CIOconfiguration::StripRS232KeyWord(const QString& address, const QString& keyword) const {
    const qsizetype lIndexSeparator = address.indexOf(kSeparator);
    ReportAssertion(lIndexSeparator >= 0, QStringLiteral("(lIndexSeparator > 0)"), kClassName,
                    QStringLiteral("StripRS232KeyWord"));
    if (lIndexSeparator < 0) return address;
    const qsizetype at = address.indexOf(keyword, lIndexSeparator + kSeparator.size(), Qt::CaseInsensitive);
    if (at < 0) return address;
    const qsizetype comma = address.indexOf(u',', at);
    if (comma < 0) return address.left(at);
    return address.left(at) + address.mid(comma + 1);
}

QString CIOconfiguration::ActiveAutomationServerAddress() const {
    if (m_bIsGPIB) return m_strActiveAddressString;
    const qint32 handshake = ActivePortEntry(kHandshakeIndex);
    if (handshake != RS232_HandShake_XON_XOFF) return m_strActiveAddressString;
    // The automation server does not assume XON/XOFF for a bare port, so it is spelled out.
    ReportAssertion(
        handshake == RS232_HandShake_XON_XOFF,
        QStringLiteral("(m_aiRS232Configuration(m_lIOPortIndex, SEARCH_CRITERIA.HANDSHAKE_INDEX) = "
                       "CorvaneIOUtilsLib.RS232_HandShake_XON_XOFF)"),
        kClassName, QStringLiteral("Get ActiveAutomationServerAddress"));
    QString address = m_strActiveAddressString;
    address += address.contains(kSeparator) ? QStringLiteral(",") : kSeparator;
    return address + kHandshakeKeyword + kXonXoff;
}
