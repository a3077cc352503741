#include "hosting/MemoryPropertyBag.h"
#include "ioconfig/CIOconfiguration.h"
#include "iolib/IOUtilsEnums.h"
#include "support/DiagnosticsCapture.h"
#include "support/Errors.h"

#include <gtest/gtest.h>

using namespace CorvaneIOUtilsLib;
using namespace Qt::StringLiterals;
using IO = CIOconfiguration;

namespace {

constexpr qint32 kInvalid = ErrorNumber::InvalidPropertyValue;

// A configuration that differs from a new one in every kind of field.
IO changedConfiguration() {
    IO io;
    io.SetActiveAddressInstrumentID(QStringLiteral("TAVREL,TS7034,0,1.00"));
    io.SetGPIBPortExists(2, true);
    io.SetGPIBPortIncluded(1, false);
    io.SetGPIBAddressIncluded(0, 0, false);
    io.SetGPIBAddressIncluded(3, 30, false);
    io.SetRS232PortExists(4, true);
    io.SetRS232PortIncluded(3, false);
    io.SetRS232BaudRate(2, 57600);
    io.SetRS232Parity(2, RS232_Parity_Even);
    io.SetRS232Handshake(2, RS232_HandShake_DTR_DSR);
    io.SetRS232BaudRate(4, 1200);
    return io;
}

MemoryPropertyBag bagOf(const QVariantMap& values) {
    MemoryPropertyBag bag;
    for (auto it = values.begin(); it != values.end(); ++it)
        bag.set(it.key(), it.value());
    return bag;
}

// A new configuration's DataAsVariant with one COM port's entry replaced.
QVariantList withSerialEntry(int portSlot, const QVariantList& entry) {
    QVariantList data = IO().DataAsVariant().toList();
    QVariantList config = data[5].toList();
    config[portSlot] = entry;
    data[5] = config;
    return data;
}

} // namespace

TEST(IOconfigurationPersistence, SearchCriteriaLayout) {
    const QByteArray bytes = changedConfiguration().SearchCriteriaBytes();
    ASSERT_EQ(bytes.size(), 164);
    EXPECT_EQ(bytes.mid(0, 8), QByteArray::fromHex("0000010001000101")); // GPIB exists, included
    for (int offset = 8; offset < 132; ++offset)
        EXPECT_EQ(bytes[offset] != 0, offset != 8 && offset != 8 + 31 * 3 + 30) << offset;
    EXPECT_EQ(bytes.mid(132, 8), QByteArray::fromHex("0000000101010001")); // COM exists, included
    // Per COM port: baud rate least significant byte first, parity, handshake.
    EXPECT_EQ(bytes.mid(140, 24), QByteArray::fromHex("802500000102"
                                                      "00e100000304"
                                                      "802500000102"
                                                      "b00400000102"));
}

TEST(IOconfigurationPersistence, WriteThenReadReproducesEveryFlagAndSerialParameter) {
    IO written = changedConfiguration();
    written.SetDTROnly(true);
    written.SetGPIBAddressExists(1, 5, true); // run-time knowledge: not stored
    MemoryPropertyBag bag;
    written.WriteProperties(bag);
    EXPECT_EQ(bag.keys(), (QStringList{"ActiveAddressInstrumentID", "DTROnly", "SearchCriteria"}));
    IO read;
    read.ReadProperties(bag);
    EXPECT_EQ(read.ActiveAddressInstrumentID(), written.ActiveAddressInstrumentID());
    EXPECT_TRUE(read.DTROnly());
    EXPECT_EQ(read.DataAsVariant(), written.DataAsVariant());
    EXPECT_FALSE(read.GPIBAddressExists(1, 5));

    MemoryPropertyBag defaults;
    IO().WriteProperties(defaults);
    EXPECT_EQ(defaults.keys(), QStringList{"SearchCriteria"});

    // A store without search criteria keeps the fields as they were and forces no handshake.
    MemoryPropertyBag dtrOnly = bagOf({{"DTROnly", true}});
    IO kept = changedConfiguration();
    kept.ReadProperties(dtrOnly);
    EXPECT_TRUE(kept.DTROnly() && kept.ActiveAddressInstrumentID().isEmpty());
    EXPECT_EQ(kept.DataAsVariant(), changedConfiguration().DataAsVariant());
    EXPECT_EQ(kept.RS232Handshake(1), RS232_HandShake_XON_XOFF);
}

TEST(IOconfigurationPersistence, WrongLengthIsRefusedAfterIDAndDTROnlyAreTaken) {
    for (int size : {163, 165}) {
        DiagnosticsCapture capture;
        MemoryPropertyBag bag = bagOf({{"ActiveAddressInstrumentID", "ID"},
                                       {"DTROnly", true},
                                       {"SearchCriteria", QByteArray(size, '\1')}});
        IO io;
        EXPECT_EQ(ErrorNumberOf([&] { io.ReadProperties(bag); }), kInvalid) << size;
        EXPECT_EQ(io.ActiveAddressInstrumentID(), QStringLiteral("ID"));
        EXPECT_TRUE(io.DTROnly());
        EXPECT_FALSE(io.GPIBPortExists(0));
        EXPECT_TRUE(capture.hasReportWith(
            {"Assertion: ((UBound(abyte) - LBound(abyte) + 1) = iSize)", "Function: ReadProperties"}));
    }
}

// A refused key is reported and the keys after it are still read; the first refusal is raised,
// naming the store and the key.
TEST(IOconfigurationPersistence, ARefusedKeyDoesNotKeepTheOthersFromBeingRead) {
    IO changed = changedConfiguration();
    MemoryPropertyBag saved;
    changed.WriteProperties(saved);
    MemoryPropertyBag bag(QStringLiteral("doc.json"));
    bag.set(QStringLiteral("ActiveAddressInstrumentID"), 5);
    bag.set(QStringLiteral("DTROnly"), true);
    bag.set(QStringLiteral("SearchCriteria"), saved.value(QStringLiteral("SearchCriteria")));
    DiagnosticsCapture capture;
    IO io;
    const std::optional<TavrelError> error = ErrorOf([&] { io.ReadProperties(bag); });
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->number(), kInvalid);
    EXPECT_TRUE(
        error->detail().startsWith(QStringLiteral("doc.json: the value of \"ActiveAddressInstrumentID\"")))
        << error->detail().toStdString();
    EXPECT_TRUE(io.DTROnly());
    EXPECT_TRUE(io.GPIBPortExists(2));
    EXPECT_EQ(io.RS232BaudRate(4), 1200);
    EXPECT_TRUE(capture.hasReportWith({"File: CIOConfiguration", "Function: ReadProperties"}));
}

TEST(IOconfigurationPersistence, ReaderTakesAnyNonZeroByteAsTrueAndRefusesOversizedRates) {
    QByteArray bytes = IO().SearchCriteriaBytes();
    bytes[0] = char(0xFF);
    bytes.replace(140, 4, QByteArray::fromHex("00c20100")); // COM1 at 115200
    bytes.replace(152, 4, QByteArray::fromHex("ffffffff")); // COM3: beyond 32 bits
    MemoryPropertyBag bag = bagOf({{"SearchCriteria", bytes}});
    IO io;
    EXPECT_EQ(ErrorNumberOf([&] { io.ReadProperties(bag); }), kInvalid);
    EXPECT_TRUE(io.GPIBPortExists(0));
    EXPECT_EQ(io.RS232BaudRate(1), 115200);
}

TEST(IOconfigurationPersistence, DataAsVariantRoundTrip) {
    const IO source = changedConfiguration();
    const QVariantList data = source.DataAsVariant().toList();
    ASSERT_EQ(data.size(), 6);
    EXPECT_EQ(data[2].toList().size(), 4 * 31);
    EXPECT_EQ(data[5].toList()[1].toList(),
              (QVariantList{57600, RS232_Parity_Even, RS232_HandShake_DTR_DSR}));
    IO target;
    target.SetDataAsVariant(data);
    EXPECT_EQ(target.SearchCriteriaBytes(), source.SearchCriteriaBytes());
}

TEST(IOconfigurationPersistence, DataAsVariantRefusesBadShapesAndSerialValues) {
    const QVariantList good = IO().DataAsVariant().toList();
    QVariantList threeGPIBPorts = good;
    threeGPIBPorts[0] = good[0].toList().mid(0, 3);
    const struct {
        QVariant data;
        const char* location; // of the assertion, when a serial value is refused
    } cases[] = {
        {withSerialEntry(0, {4800, 1, 2}), "Select Case Baud Rate"},
        {withSerialEntry(1, {9600, 0, 2}), "Select Case Parity"},
        {withSerialEntry(2, {9600, 6, 2}), "Select Case Parity"},
        {withSerialEntry(3, {9600, 1, RS232_HandShake_RTS_CTS}), "Select Case Handshake"},
        {withSerialEntry(0, {QStringLiteral("fast"), 1, 2}), nullptr},
        {withSerialEntry(0, {9600, 1}), nullptr},
        {QVariant(42), nullptr},
        {good.mid(0, 5), nullptr},
        {threeGPIBPorts, nullptr},
    };
    for (int i = 0; i < int(std::size(cases)); ++i) {
        DiagnosticsCapture capture;
        IO io;
        EXPECT_EQ(ErrorNumberOf([&] { io.SetDataAsVariant(cases[i].data); }), kInvalid) << "case " << i;
        EXPECT_TRUE(capture.hasReportWith(
            {"Invalid property value.", "Function: Let DataAsVariant", "Location: CatchError"}));
        if (cases[i].location) {
            EXPECT_TRUE(capture.hasReportWith({"Assertion: false", "Function: Let DataAsVariant",
                                               QStringLiteral("Location: ") + cases[i].location}))
                << "case " << i;
        }
    }

    // The GPIB part is taken before a serial entry is refused.
    QVariantList data = withSerialEntry(2, {2400, 1, 7});
    data[0] = QVariantList{true, false, false, false};
    IO io;
    EXPECT_EQ(ErrorNumberOf([&] { io.SetDataAsVariant(data); }), kInvalid);
    EXPECT_TRUE(io.GPIBPortExists(0));
    EXPECT_EQ(io.RS232Handshake(3), RS232_HandShake_XON_XOFF);
}

// The LAN list: normalized, kept beside the search criteria (whose 164 bytes do not change), copied
// with the configuration; a bad entry refuses the whole list, names itself and loses nothing.
TEST(IOconfigurationPersistence, LanListRoundTripsBesideTheSearchCriteria) {
    CIOconfiguration io;
    const QByteArray criteria = io.SearchCriteriaBytes();
    io.SetLANInstrumentsText(
        u" 192.168.1.20 ;TCPIP::scope::hislip0::INSTR;;TCPIP0::192.168.1.20::inst0::INSTR;"
        u"TCPIP0::10.0.0.5::5025::SOCKET"_s);
    const QStringList expected = {u"TCPIP0::192.168.1.20::inst0::INSTR"_s, u"TCPIP0::scope::hislip0::INSTR"_s,
                                  u"TCPIP0::10.0.0.5::5025::SOCKET"_s};
    EXPECT_EQ(io.LANInstruments(), expected) << "host names become VXI-11 addresses, once each";
    EXPECT_EQ(io.SearchCriteriaBytes(), criteria);
    MemoryPropertyBag bag(u"doc.json"_s);
    io.WriteProperties(bag);
    CIOconfiguration read;
    read.ReadProperties(bag);
    EXPECT_EQ(read.LANInstruments(), expected);
    CIOconfiguration copy;
    copy.Copy(read);
    EXPECT_EQ(copy.LANInstruments(), expected);

    for (const char* bad :
         {"USB0::0x1::0x2::SN::INSTR", "two words", "TCPIP0::host::99999::SOCKET", "GPIB0::7"}) {
        const std::optional<TavrelError> error =
            ErrorOf([&] { copy.SetLANInstrumentsText(QLatin1String(bad)); });
        ASSERT_TRUE(error.has_value()) << bad;
        EXPECT_EQ(error->number(), ErrorNumber::InvalidPropertyValue);
        EXPECT_TRUE(error->detail().contains(QLatin1String(bad))) << error->detail().toStdString();
        EXPECT_EQ(copy.LANInstruments(), expected) << "the list it had stays";
    }
}
