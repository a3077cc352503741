// The configuration in the host document's property store, and as one variant array for pages.
#include "ioconfig/CIOconfiguration.h"

#include "base/Diagnostics.h"
#include "base/PropertyBag.h"
#include "base/PropertySteps.h"
#include "iolib/IOUtilsEnums.h"

#include <QVariantList>
#include <cmath>
#include <limits>

namespace {

const QString kInstrumentIDKey = QStringLiteral("ActiveAddressInstrumentID");
const QString kDTROnlyKey = QStringLiteral("DTROnly");
const QString kSearchCriteriaKey = QStringLiteral("SearchCriteria");
const QString kLANInstrumentsKey = QStringLiteral("LANInstruments");
const QString kCountCondition = QStringLiteral("(iCount = iSize)");
constexpr qsizetype kDataElementCount = 6;
constexpr int kBaudRateBytes = 4;

// The pieces of a DataAsVariant value; anything of another shape is an invalid value.
QVariantList listOf(const QVariant& value, qsizetype size) {
    if (value.metaType().id() != QMetaType::QVariantList) throw InvalidPropertyValueError();
    QVariantList list = value.toList();
    if (list.size() != size) throw InvalidPropertyValueError();
    return list;
}

qint64 numberOf(const QVariant& value) {
    bool ok = false;
    const qint64 number = value.toLongLong(&ok);
    if (!ok) throw InvalidPropertyValueError();
    return number;
}

bool flagOf(const QVariant& value) {
    if (value.metaType().id() == QMetaType::Bool) return value.toBool();
    return numberOf(value) != 0;
}

qint32 integerOf(const QVariant& value) {
    const qint64 number = numberOf(value);
    if (number < std::numeric_limits<qint32>::min() || number > std::numeric_limits<qint32>::max())
        throw InvalidPropertyValueError();
    return static_cast<qint32>(number);
}

template <std::size_t N> QVariantList flagList(const std::array<bool, N>& flags) {
    QVariantList list;
    for (const bool flag : flags)
        list.append(flag);
    return list;
}

template <std::size_t N> std::array<bool, N> flagsOf(const QVariant& value) {
    const QVariantList list = listOf(value, N);
    std::array<bool, N> flags{};
    for (std::size_t i = 0; i < N; ++i)
        flags[i] = flagOf(list[static_cast<qsizetype>(i)]);
    return flags;
}

} // namespace

QByteArray CIOconfiguration::SearchCriteriaBytes() const {
    QByteArray abyte(kSearchCriteriaSize, '\0');
    int iCount = 0;
    const auto putFlag = [&](bool flag) { abyte[iCount++] = flag ? 1 : 0; };

    for (const bool flag : m_abGPIBPortExists)
        putFlag(flag);
    for (const bool flag : m_abGPIBPortIncluded)
        putFlag(flag);
    for (const auto& addresses : m_abGPIBAddressIncluded)
        for (const bool flag : addresses)
            putFlag(flag);
    for (const bool flag : m_abRS232PortExists)
        putFlag(flag);
    for (const bool flag : m_abRS232PortIncluded)
        putFlag(flag);
    for (const auto& entry : m_aiRS232Configuration) {
        // Least significant byte first, whatever the machine's own order.
        quint32 baudRate = static_cast<quint32>(entry[kBaudRateIndex]);
        for (int i = 0; i < kBaudRateBytes; ++i) {
            abyte[iCount++] = static_cast<char>(baudRate % 256);
            baudRate /= 256;
        }
        abyte[iCount++] = static_cast<char>(entry[kParityIndex]);
        abyte[iCount++] = static_cast<char>(entry[kHandshakeIndex]);
    }
    ReportAssertion(iCount == kSearchCriteriaSize, kCountCondition, kClassName,
                    QStringLiteral("WriteProperties"));
    return abyte;
}

void CIOconfiguration::WriteProperties(PropertyBag& bag) const {
    bag.write(kInstrumentIDKey, m_strActiveAddressInstrumentID, QString());
    bag.write(kDTROnlyKey, m_bDTROnly, false);
    bag.write(kSearchCriteriaKey, SearchCriteriaBytes(), QVariant());
    bag.write(kLANInstrumentsKey, LANInstrumentsText(), QString());
}

void CIOconfiguration::ReadProperties(PropertyBag& bag) {
    // Each key on its own: a refused one is reported and the others are still read.
    PropertySteps steps(bag, kClassName, QStringLiteral("ReadProperties"));
    PropertyBag& store = steps.store();
    steps([&] { SetActiveAddressInstrumentID(store.read(kInstrumentIDKey, QString()).toString()); });
    // Stored as it is: the handshakes saved with the search criteria already follow the mode.
    steps([&] { m_bDTROnly = store.read(kDTROnlyKey, false).toBool(); });
    steps([&] {
        // A new document has no search criteria yet and keeps the initial ones.
        const QByteArray abyte = store.read(kSearchCriteriaKey, QVariant(QByteArray())).toByteArray();
        if (abyte.isEmpty()) return;
        RequireValid(abyte.size() == kSearchCriteriaSize,
                     QStringLiteral("((UBound(abyte) - LBound(abyte) + 1) = iSize)"), kClassName,
                     QStringLiteral("ReadProperties"));
        ApplySearchCriteria(abyte);
    });
    steps([&] { SetLANInstrumentsText(store.read(kLANInstrumentsKey, QString()).toString()); });
    steps.finish();
}

void CIOconfiguration::ApplySearchCriteria(const QByteArray& abyte) {
    int iCount = 0;
    const auto takeByte = [&]() { return static_cast<quint8>(abyte[iCount++]); };
    const auto takeFlag = [&]() { return takeByte() != 0; };

    for (bool& flag : m_abGPIBPortExists)
        flag = takeFlag();
    for (bool& flag : m_abGPIBPortIncluded)
        flag = takeFlag();
    for (auto& addresses : m_abGPIBAddressIncluded)
        for (bool& flag : addresses)
            flag = takeFlag();
    for (bool& flag : m_abRS232PortExists)
        flag = takeFlag();
    for (bool& flag : m_abRS232PortIncluded)
        flag = takeFlag();
    for (auto& entry : m_aiRS232Configuration) {
        double baudRate = 0;
        for (int i = 0; i < kBaudRateBytes; ++i)
            baudRate += takeByte() * std::pow(2.0, 8 * i);
        if (baudRate > std::numeric_limits<qint32>::max()) throw InvalidPropertyValueError();
        entry[kBaudRateIndex] = static_cast<qint32>(baudRate);
        entry[kParityIndex] = takeByte();
        entry[kHandshakeIndex] = takeByte();
    }
    ReportAssertion(iCount == kSearchCriteriaSize, kCountCondition, kClassName,
                    QStringLiteral("ReadProperties"));
}

QVariant CIOconfiguration::DataAsVariant() const {
    QVariantList addresses;
    for (const auto& port : m_abGPIBAddressIncluded)
        for (const bool flag : port)
            addresses.append(flag);
    QVariantList configuration;
    for (const auto& entry : m_aiRS232Configuration)
        configuration.append(
            QVariant(QVariantList{entry[kBaudRateIndex], entry[kParityIndex], entry[kHandshakeIndex]}));

    return QVariantList{flagList(m_abGPIBPortExists),  flagList(m_abGPIBPortIncluded),  addresses,
                        flagList(m_abRS232PortExists), flagList(m_abRS232PortIncluded), configuration};
}

void CIOconfiguration::SetDataAsVariant(const QVariant& data) {
    const QString procedure = QStringLiteral("Let DataAsVariant");
    try {
        // The shape is checked as a whole before anything is taken.
        const QVariantList elements = listOf(data, kDataElementCount);
        const auto gpibExists = flagsOf<kGPIBPortCount>(elements[0]);
        const auto gpibIncluded = flagsOf<kGPIBPortCount>(elements[1]);
        // The address table comes flat, port by port, as DataAsVariant gives it.
        const auto flat = flagsOf<kGPIBPortCount * kGPIBAddressCount>(elements[2]);
        std::array<std::array<bool, kGPIBAddressCount>, kGPIBPortCount> addresses{};
        for (int port = 0; port < kGPIBPortCount; ++port)
            for (int address = 0; address < kGPIBAddressCount; ++address)
                addresses[port][address] = flat[port * kGPIBAddressCount + address];
        const auto rs232Exists = flagsOf<kRS232PortCount>(elements[3]);
        const auto rs232Included = flagsOf<kRS232PortCount>(elements[4]);
        RS232Configuration configuration{};
        const QVariantList entries = listOf(elements[5], kRS232PortCount);
        for (int port = 0; port < kRS232PortCount; ++port) {
            const QVariantList entry = listOf(entries[port], kRS232ConfigurationCount);
            for (int i = 0; i < kRS232ConfigurationCount; ++i)
                configuration[port][i] = integerOf(entry[i]);
        }

        // The GPIB part is taken before the serial entries are checked, and each COM port as it
        // passes: a refused entry keeps what came before it.
        m_abGPIBPortExists = gpibExists;
        m_abGPIBPortIncluded = gpibIncluded;
        m_abGPIBAddressIncluded = addresses;
        for (int port = 0; port < kRS232PortCount; ++port) {
            m_abRS232PortExists[port] = rs232Exists[port];
            m_abRS232PortIncluded[port] = rs232Included[port];
            const auto& entry = configuration[port];
            RequireValid(IsAllowedBaudRate(entry[kBaudRateIndex]), QStringLiteral("false"), kClassName,
                         procedure, QStringLiteral("Select Case Baud Rate"));
            m_aiRS232Configuration[port][kBaudRateIndex] = entry[kBaudRateIndex];
            RequireValid(CorvaneIOUtilsLib::IsValidParity(entry[kParityIndex]), QStringLiteral("false"),
                         kClassName, procedure, QStringLiteral("Select Case Parity"));
            m_aiRS232Configuration[port][kParityIndex] = entry[kParityIndex];
            RequireValid(entry[kHandshakeIndex] == CorvaneIOUtilsLib::RS232_HandShake_XON_XOFF ||
                             entry[kHandshakeIndex] == CorvaneIOUtilsLib::RS232_HandShake_DTR_DSR,
                         QStringLiteral("false"), kClassName, procedure,
                         QStringLiteral("Select Case Handshake"));
            m_aiRS232Configuration[port][kHandshakeIndex] = entry[kHandshakeIndex];
        }
    } catch (const TavrelError& error) {
        if (CDebug* debug = ComponentDiagnostics())
            debug->ReportError(error.number(), error.description(), kClassName, procedure,
                               QStringLiteral("CatchError"));
        throw InvalidPropertyValueError();
    }
}
