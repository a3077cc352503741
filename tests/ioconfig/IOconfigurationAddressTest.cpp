#include "ioconfig/CIOconfiguration.h"
#include "iolib/IOUtilsEnums.h"
#include "support/Errors.h"

#include <gtest/gtest.h>

using namespace CorvaneIOUtilsLib;

namespace {

constexpr qint32 kInvalid = ErrorNumber::InvalidPropertyValue;

// Everything an address assignment may touch.
struct State {
    QString address, port;
    bool isGPIB;
    int gpibAddress;
    QVariant data;
    bool operator==(const State&) const = default;
};

State stateOf(const CIOconfiguration& io) {
    return {io.ActiveAddressString(), io.ActiveIOPort(), io.IsGPIB(), io.ActivePortGPIBAddress(),
            io.DataAsVariant()};
}

struct AddressCase {
    const char* given;
    const char* canonical; // nullptr: refused
};

} // namespace

TEST(IOconfigurationAddress, StringsBecomeCanonicalAreKeptVerbatimOrAreRefusedLeavingEverythingAsItWas) {
    const AddressCase accepted[] = {
        {"COM1", "COM1"},
        {"com1 :: baud = 19200", "COM1::Baud=19200"},
        {"COM1::Handshake=DTR_DSR,Baud=19200", "COM1::Baud=19200,Handshake=DTR_DSR"},
        {"COM1::Baud=9600,Parity=0,Stop=1,Size=8", "COM1"},
        {"COM3::Baud=57600,Handshake=DTR_DSR", "COM3::Baud=57600,Handshake=DTR_DSR"},
        {"COM4::Baud=1200,Handshake=xon_xoff", "COM4::Baud=1200"},
        {"com2::handshake=dtr_dsr", "COM2::Handshake=DTR_DSR"},
        {"COM1::Size=8,Baud=2400", "COM1::Baud=2400"},
        {"COM1::", "COM1"},
    };
    // Kept as given; a GPIB instrument address also sets the active port and GPIB address, the
    // others leave them alone.
    const QStringList verbatim = {"GPIB3::12::INSTR", "TCPIP0::host::INSTR", "usb0::0x1234::INSTR",
                                  "gpib2::5::instr"};
    // The first two have port, baud rate and handshake set before they are found wrong; the last is empty.
    const QStringList refused =
        QStringLiteral(
            "COM2::Baud=19200,Speed=1|COM1::Baud=57600,Handshake=RTS_CTS|COM1::Baud=4800|COM1::Handshake=|"
            "COM1::Speed=9600|COM1::Baud=|COM1::Baud=19200x|COM1::Baud=99999999999|COM1::Baud=19200,Baud="
            "19200|"
            "COM1::,|COM1x::Baud=19200|COM12|COM5|COM0|COMX|LPT1|")
            .split(u'|');
    std::vector<std::pair<QString, QString>> cases; // given, canonical (null: refused)
    for (const AddressCase& c : accepted)
        cases.push_back({QString::fromLatin1(c.given), QString::fromLatin1(c.canonical)});
    for (const QString& given : verbatim + refused)
        cases.push_back({given, verbatim.contains(given) ? given : QString()});
    for (const auto& [given, canonical] : cases) {
        SCOPED_TRACE(given.toStdString());
        CIOconfiguration io;
        io.SetActiveIOPort(QStringLiteral("GPIB1"));
        io.SetActivePortGPIBAddress(12);
        io.SetRS232BaudRate(2, 38400);
        State expected = stateOf(io);
        EXPECT_EQ(ErrorNumberOf([&, &given = given] { io.SetActiveAddressString(given); }),
                  canonical.isNull() ? kInvalid : 0);
        if (verbatim.contains(given)) expected.address = given;
        if (given.startsWith(u"GPIB", Qt::CaseInsensitive)) {
            expected.port = given.left(5).toUpper();
            expected.isGPIB = true;
            expected.gpibAddress = given.section(QStringLiteral("::"), 1, 1).toInt();
        }
        if (canonical.isNull() || verbatim.contains(given)) {
            EXPECT_TRUE(stateOf(io) == expected) << io.ActiveAddressString().toStdString();
        } else {
            EXPECT_EQ(io.ActiveAddressString(), canonical);
            EXPECT_FALSE(io.IsGPIB());
            EXPECT_EQ(io.ActiveIOPort(), canonical.left(4));
        }
    }
}

TEST(IOconfigurationAddress, DTROnlyRefusesEverythingThatMeansXonXoff) {
    const AddressCase cases[] = {
        {"COM1", nullptr},
        {"COM1::Handshake=XON_XOFF", nullptr},
        {"COM1::Baud=19200", nullptr},
        {"COM1::Handshake=DTR_DSR", "COM1::Handshake=DTR_DSR"},
        {"COM2::Baud=2400,Handshake=DTR_DSR", "COM2::Baud=2400,Handshake=DTR_DSR"},
    };
    for (const AddressCase& c : cases) {
        CIOconfiguration io;
        io.SetDTROnly(true);
        EXPECT_EQ(ErrorNumberOf([&] { io.SetActiveAddressString(QString::fromLatin1(c.given)); }),
                  c.canonical ? 0 : kInvalid)
            << c.given;
        EXPECT_EQ(io.ActiveAddressString(),
                  QString::fromLatin1(c.canonical ? c.canonical : "GPIB0::7::INSTR"))
            << c.given;
    }
}

TEST(IOconfigurationAddress, SerialSettersRebuildTheAddressEvenOverAVerbatimOne) {
    CIOconfiguration io;
    io.SetActiveIOPort(QStringLiteral("COM3"));
    io.SetRS232Handshake(3, RS232_HandShake_DTR_DSR);
    io.SetRS232BaudRate(3, 57600);
    EXPECT_EQ(io.ActiveAddressString(), QStringLiteral("COM3::Baud=57600,Handshake=DTR_DSR"));
    io.SetActiveIOPort(QStringLiteral("GPIB0"));
    io.SetActiveAddressString(QStringLiteral("TCPIP0::host::INSTR"));
    io.SetRS232Parity(4, RS232_Parity_Even);
    EXPECT_EQ(io.ActiveAddressString(), QStringLiteral("GPIB0::7::INSTR"));
}

TEST(IOconfigurationAddress, AutomationServerFormSpellsOutXonXoff) {
    const AddressCase cases[] = {
        {"COM1", "COM1::Handshake=XON_XOFF"},
        {"COM2::Baud=19200", "COM2::Baud=19200,Handshake=XON_XOFF"},
        {"COM3::Handshake=DTR_DSR", "COM3::Handshake=DTR_DSR"},
        {"GPIB1::5::INSTR", "GPIB1::5::INSTR"},
    };
    for (const AddressCase& c : cases) {
        CIOconfiguration io;
        io.SetActiveAddressString(QString::fromLatin1(c.given));
        EXPECT_EQ(io.ActiveAutomationServerAddress(), QString::fromLatin1(c.canonical)) << c.given;
    }
}

TEST(IOconfigurationAddress, GPIBInstrumentAddressTakesOneOrTwoDigitsUpTo30) {
    const struct {
        const char* address;
        int expected; // -1: refused
    } cases[] = {
        {"GPIB0::7::INSTR", 7},  {"GPIB3::30::INSTR", 30},  {"GPIB1::0::INSTR", 0},
        {"GPIB1::07::INSTR", 7}, {"GPIB0::123::INSTR", -1}, {"GPIB0::31::INSTR", -1},
        {"GPIB0::::INSTR", -1},  {"GPIB0::7", -1},          {"GPIB0", -1},
        {"GPIB0::x::INSTR", -1}, {"GPIB0:: 7::INSTR", -1},  {"GPIB0::-1::INSTR", -1},
    };
    const CIOconfiguration io;
    for (const auto& c : cases) {
        int address = -1;
        EXPECT_EQ(ErrorNumberOf([&] { address = io.GPIBInstrumentAddress(QString::fromLatin1(c.address)); }),
                  c.expected < 0 ? kInvalid : 0)
            << c.address;
        EXPECT_EQ(address, c.expected) << c.address;
    }
}

// A GPIB address after a COM one shows its own port and address, and the automation server's form
// carries no serial handshake.
TEST(IOconfigurationAddress, AGpibAddressAfterAComOneUpdatesThePortFields) {
    CIOconfiguration io;
    io.SetActiveAddressString(QStringLiteral("COM1"));
    io.SetActiveAddressString(QStringLiteral("GPIB0::12::INSTR"));
    EXPECT_TRUE(io.IsGPIB());
    EXPECT_EQ(io.ActiveIOPort(), QStringLiteral("GPIB0"));
    EXPECT_EQ(io.ActivePortGPIBAddress(), 12);
    EXPECT_EQ(io.ActiveAutomationServerAddress(), QStringLiteral("GPIB0::12::INSTR"));
    io.SetActiveAddressString(QStringLiteral("TCPIP0::host::INSTR"));
    EXPECT_EQ(io.ActiveIOPort(), QStringLiteral("GPIB0")) << "a LAN address names no port";
}
