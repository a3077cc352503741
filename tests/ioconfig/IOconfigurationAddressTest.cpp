#include "control/TavrelError.h"
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

TEST(IOconfigurationAddress, RS232StringsBecomeCanonicalOrAreRefusedLeavingEverythingAsItWas) {
    const AddressCase cases[] = {
        {"COM1", "COM1"},
        {"com1 :: baud = 19200", "COM1::Baud=19200"},
        {"COM1::Handshake=DTR_DSR,Baud=19200", "COM1::Baud=19200,Handshake=DTR_DSR"},
        {"COM1::Baud=9600,Parity=0,Stop=1,Size=8", "COM1"},
        {"COM3::Baud=57600,Handshake=DTR_DSR", "COM3::Baud=57600,Handshake=DTR_DSR"},
        {"COM4::Baud=1200,Handshake=xon_xoff", "COM4::Baud=1200"},
        {"com2::handshake=dtr_dsr", "COM2::Handshake=DTR_DSR"},
        {"COM1::Size=8,Baud=2400", "COM1::Baud=2400"},
        {"COM1::", "COM1"},
        // Port, baud rate and handshake are all set before these are found wrong.
        {"COM2::Baud=19200,Speed=1", nullptr},
        {"COM1::Baud=57600,Handshake=RTS_CTS", nullptr},
        {"COM1::Baud=4800", nullptr},
        {"COM1::Handshake=", nullptr},
        {"COM1::Speed=9600", nullptr},
        {"COM1::Baud=", nullptr},
        {"COM1::Baud=19200x", nullptr},
        {"COM1::Baud=99999999999", nullptr},
        {"COM1::Baud=19200,Baud=19200", nullptr},
        {"COM1::,", nullptr},
        {"COM1x::Baud=19200", nullptr},
        {"COM12", nullptr},
        {"COM5", nullptr},
        {"COM0", nullptr},
        {"COMX", nullptr},
        {"LPT1", nullptr},
        {"", nullptr},
    };
    for (const AddressCase& c : cases) {
        SCOPED_TRACE(c.given);
        CIOconfiguration io;
        io.SetActiveIOPort(QStringLiteral("GPIB1"));
        io.SetActivePortGPIBAddress(12);
        io.SetRS232BaudRate(2, 38400);
        const State before = stateOf(io);
        const qint32 error = ErrorNumberOf([&] { io.SetActiveAddressString(QString::fromLatin1(c.given)); });
        if (c.canonical) {
            EXPECT_EQ(error, 0);
            EXPECT_EQ(io.ActiveAddressString(), QString::fromLatin1(c.canonical));
            EXPECT_FALSE(io.IsGPIB());
            EXPECT_EQ(io.ActiveIOPort(), io.ActiveAddressString().left(4));
        } else {
            EXPECT_EQ(error, kInvalid);
            EXPECT_TRUE(stateOf(io) == before);
        }
    }
}

TEST(IOconfigurationAddress, GPIBTypeStringsAreKeptVerbatimWithoutTouchingThePort) {
    for (const char* given :
         {"GPIB1::12::INSTR", "TCPIP0::host::INSTR", "usb0::0x1234::INSTR", "gpib2::5::instr"}) {
        CIOconfiguration io;
        io.SetActiveAddressString(QStringLiteral("COM2::Baud=19200"));
        io.SetActiveAddressString(QString::fromLatin1(given));
        EXPECT_EQ(io.ActiveAddressString(), QString::fromLatin1(given));
        EXPECT_EQ(io.ActiveIOPort(), QStringLiteral("COM2"));
        EXPECT_FALSE(io.IsGPIB());
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
        SCOPED_TRACE(c.given);
        CIOconfiguration io;
        io.SetDTROnly(true);
        EXPECT_EQ(ErrorNumberOf([&] { io.SetActiveAddressString(QString::fromLatin1(c.given)); }),
                  c.canonical ? 0 : kInvalid);
        EXPECT_EQ(io.ActiveAddressString(),
                  QString::fromLatin1(c.canonical ? c.canonical : "GPIB0::7::INSTR"));
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
        EXPECT_EQ(io.ActiveAutomationServerAddress(), QString::fromLatin1(c.canonical));
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
