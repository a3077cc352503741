#include "control/TavrelError.h"
#include "ioconfig/CIOconfiguration.h"
#include "iolib/IOUtilsEnums.h"
#include "support/DiagnosticsCapture.h"

#include "support/Errors.h"
#include <functional>

#include <gtest/gtest.h>

using namespace CorvaneIOUtilsLib;

namespace {

constexpr qint32 kInvalid = ErrorNumber::InvalidPropertyValue;
constexpr qint32 kSubscript = ErrorNumber::SubscriptOutOfRange;
using IO = CIOconfiguration;
using Action = std::function<void(IO&)>;

} // namespace

TEST(IOconfigurationModel, NewObjectStartsOnGPIB0Address7WithEverythingIncluded) {
    const IO io;
    EXPECT_EQ(io.ActiveAddressString(), QStringLiteral("GPIB0::7::INSTR"));
    EXPECT_EQ(io.ActiveIOPort(), QStringLiteral("GPIB0"));
    EXPECT_EQ(io.ActivePortGPIBAddress(), 7);
    EXPECT_TRUE(io.IsGPIB());
    EXPECT_FALSE(io.DTROnly());
    for (int port = IO::kFirstGPIBPort; port <= IO::kLastGPIBPort; ++port) {
        EXPECT_TRUE(io.GPIBPortIncluded(port) && !io.GPIBPortExists(port));
        for (int address = IO::kFirstGPIBAddress; address <= IO::kLastGPIBAddress; ++address)
            EXPECT_TRUE(io.GPIBAddressIncluded(port, address) && !io.GPIBAddressExists(port, address));
    }
    for (int port = IO::kFirstRS232Port; port <= IO::kLastRS232Port; ++port) {
        EXPECT_TRUE(io.RS232PortIncluded(port) && !io.RS232PortExists(port));
        EXPECT_EQ(io.RS232BaudRate(port), 9600);
        EXPECT_EQ(io.RS232Parity(port), RS232_Parity_None);
        EXPECT_EQ(io.RS232Handshake(port), RS232_HandShake_XON_XOFF);
    }
}

TEST(IOconfigurationModel, ActiveIOPortTakesOnlyGPIB0To3AndCOM1To4) {
    const struct {
        const char* given;
        const char* address; // nullptr: refused
    } cases[] = {
        {"gpib2", "GPIB2::7::INSTR"},
        {"com3", "COM3"},
        {"COM4", "COM4"},
        {"GPIB4", nullptr},
        {"GPIB12", nullptr},
        {"GPIBX", nullptr},
        {"USB01", nullptr},
        {"COM0", nullptr},
        {"COM5", nullptr},
        {"LPT1", nullptr},
        {"", nullptr},
    };
    for (const auto& c : cases) {
        IO io;
        EXPECT_EQ(ErrorNumberOf([&] { io.SetActiveIOPort(QString::fromLatin1(c.given)); }),
                  c.address ? 0 : kInvalid)
            << c.given;
        const QString address = QString::fromLatin1(c.address ? c.address : "GPIB0::7::INSTR");
        EXPECT_EQ(io.ActiveAddressString(), address);
        EXPECT_EQ(io.ActiveIOPort(), address.section(QStringLiteral("::"), 0, 0));
        EXPECT_EQ(io.IsGPIB(), address.startsWith(u'G'));
    }
}

TEST(IOconfigurationModel, ActivePortSettersAcceptOnlyTheirValueSets) {
    const struct {
        Action set;
        const char* address; // nullptr: refused, nothing changes
    } cases[] = {
        {[](IO& io) { io.SetActivePortBaudRate(57600); }, "COM2::Baud=57600"},
        {[](IO& io) { io.SetActivePortBaudRate(4800); }, nullptr},
        {[](IO& io) { io.SetActivePortBaudRate(0); }, nullptr},
        {[](IO& io) { io.SetActivePortHandshake(RS232_HandShake_DTR_DSR); }, "COM2::Handshake=DTR_DSR"},
        {[](IO& io) { io.SetActivePortHandshake(0); }, nullptr},
        {[](IO& io) { io.SetActivePortHandshake(RS232_HandShake_RTS_CTS); }, nullptr},
        {[](IO& io) { io.SetActivePortGPIBAddress(30); }, "COM2"},
        {[](IO& io) { io.SetActivePortGPIBAddress(31); }, nullptr},
        {[](IO& io) { io.SetActivePortGPIBAddress(-1); }, nullptr},
    };
    for (const auto& c : cases) {
        IO io;
        io.SetActiveIOPort(QStringLiteral("COM2"));
        const QVariant before = io.DataAsVariant();
        EXPECT_EQ(ErrorNumberOf([&] { c.set(io); }), c.address ? 0 : kInvalid);
        EXPECT_EQ(io.ActiveAddressString(), QString::fromLatin1(c.address ? c.address : "COM2"));
        if (!c.address) {
            EXPECT_EQ(io.DataAsVariant(), before);
        }
    }
}

TEST(IOconfigurationModel, ActivePortSerialGettersReadTheCOMEntryNumberedLikeAGPIBPort) {
    IO io;
    io.SetRS232BaudRate(2, 38400);
    io.SetRS232Handshake(2, RS232_HandShake_DTR_DSR);
    EXPECT_EQ(ErrorNumberOf([&] { io.ActivePortBaudRate(); }), kSubscript); // GPIB0: there is no COM0
    EXPECT_EQ(ErrorNumberOf([&] { io.ActivePortHandshake(); }), kSubscript);
    io.SetActiveIOPort(QStringLiteral("GPIB2"));
    EXPECT_EQ(io.ActivePortBaudRate(), 38400);
    EXPECT_EQ(io.ActivePortHandshake(), RS232_HandShake_DTR_DSR);
    io.SetActivePortBaudRate(1200); // the port-kind check is only reported
    EXPECT_EQ(io.RS232BaudRate(2), 1200);
    EXPECT_EQ(io.ActiveAddressString(), QStringLiteral("GPIB2::7::INSTR"));
}

TEST(IOconfigurationModel, IndexesOutsideTheirRangesRaiseSubscriptErrors) {
    const Action calls[] = {
        [](IO& io) { io.GPIBPortExists(4); },          [](IO& io) { io.SetGPIBPortIncluded(-1, true); },
        [](IO& io) { io.RS232PortExists(0); },         [](IO& io) { io.SetRS232PortIncluded(5, false); },
        [](IO& io) { io.GPIBAddressIncluded(0, 31); }, [](IO& io) { io.SetGPIBAddressExists(4, 0, true); },
        [](IO& io) { io.RS232BaudRate(0); },           [](IO& io) { io.SetRS232Handshake(5, 4); },
    };
    for (const auto& call : calls) {
        IO io;
        EXPECT_EQ(ErrorNumberOf([&] { call(io); }), kSubscript);
    }
}

TEST(IOconfigurationModel, PortStringsAndIndexes) {
    const IO io;
    EXPECT_EQ(io.GPIBPortString(3), QStringLiteral("GPIB3"));
    EXPECT_EQ(io.RS232PortString(1), QStringLiteral("COM1"));
    EXPECT_TRUE(io.IsGPIBPortString(QStringLiteral("gpib3")) && io.IsRS232PortString(QStringLiteral("com4")));
    for (const char* no : {"GPIB4", "GPIB", "GPIB01", "COM1"})
        EXPECT_FALSE(io.IsGPIBPortString(QString::fromLatin1(no))) << no;
    for (const char* no : {"COM0", "COM5", "COM11", "GPIB1"})
        EXPECT_FALSE(io.IsRS232PortString(QString::fromLatin1(no))) << no;
    EXPECT_EQ(io.GPIBPortIndex(QStringLiteral("GPIB2")) + io.RS232PortIndex(QStringLiteral("com4")), 6);
    const std::function<void()> refused[] = {
        [&] { io.GPIBPortString(4); },      [&] { io.RS232PortString(0); },
        [&] { io.GPIBPortIndex("GPIB"); },  [&] { io.GPIBPortIndex("COM1"); },
        [&] { io.RS232PortIndex("COMx"); }, [&] { io.RS232PortIndex("COM5"); },
    };
    for (const auto& call : refused)
        EXPECT_EQ(ErrorNumberOf(call), kInvalid);
}

TEST(IOconfigurationModel, DTROnlyForcesDTRDSROnceAndLeavesItWhenTurnedOff) {
    IO io;
    io.SetActiveAddressString(QStringLiteral("COM2::Baud=19200"));
    io.SetDTROnly(true);
    for (int port = IO::kFirstRS232Port; port <= IO::kLastRS232Port; ++port)
        EXPECT_EQ(io.RS232Handshake(port), RS232_HandShake_DTR_DSR);
    EXPECT_EQ(io.ActiveAddressString(), QStringLiteral("COM2::Baud=19200,Handshake=DTR_DSR"));
    io.SetRS232Handshake(3, RS232_HandShake_XON_XOFF);
    io.SetDTROnly(true); // unchanged: the ports are not forced again
    EXPECT_EQ(io.RS232Handshake(3), RS232_HandShake_XON_XOFF);
    io.SetDTROnly(false);
    EXPECT_EQ(io.RS232Handshake(1), RS232_HandShake_DTR_DSR);
}

TEST(IOconfigurationModel, AnyPortExistsFallsBackToCOMPorts) {
    IO io;
    EXPECT_EQ(io.AnyPortExists(), QVariant(false));
    io.SetRS232PortExists(3, true);
    EXPECT_EQ(io.AnyPortExists(), QVariant(true));
    IO gpibOnly;
    gpibOnly.SetGPIBPortExists(1, true);
    EXPECT_EQ(gpibOnly.AnyPortExists(), QVariant(true));
}

TEST(IOconfigurationModel, CopyReproducesEveryField) {
    IO serial;
    serial.SetDTROnly(true);
    serial.SetActiveAddressString(QStringLiteral("COM3::Baud=2400,Handshake=DTR_DSR"));
    serial.SetActiveAddressInstrumentID(QStringLiteral("TAVREL,TS7034,0,1.00"));
    serial.SetGPIBPortExists(1, true);
    serial.SetGPIBAddressIncluded(3, 30, false);
    serial.SetGPIBAddressExists(0, 22, true);
    serial.SetRS232PortIncluded(1, false);
    serial.SetRS232Parity(2, RS232_Parity_Odd);
    IO gpib;
    gpib.SetActiveIOPort(QStringLiteral("GPIB1"));
    gpib.SetActivePortGPIBAddress(12);
    IO bare;
    bare.SetActiveAddressString(QStringLiteral("COM1"));

    for (const IO* source : {&serial, &gpib, &bare}) {
        IO target;
        target.SetDTROnly(true); // must not stop a bare port from coming across
        target.SetActiveAddressString(QStringLiteral("COM4::Handshake=DTR_DSR"));
        target.Copy(*source);
        EXPECT_EQ(target.ActiveAddressString(), source->ActiveAddressString());
        EXPECT_EQ(target.ActiveIOPort(), source->ActiveIOPort());
        EXPECT_EQ(target.IsGPIB(), source->IsGPIB());
        EXPECT_EQ(target.DTROnly(), source->DTROnly());
        EXPECT_EQ(target.ActiveAddressInstrumentID(), source->ActiveAddressInstrumentID());
        EXPECT_EQ(target.DataAsVariant(), source->DataAsVariant());
        EXPECT_EQ(target.GPIBAddressExists(0, 22), source->GPIBAddressExists(0, 22));
    }
}

TEST(IOconfigurationModel, RefusalsReportTheirConditionUnderTheirProcedure) {
    const struct {
        Action act;
        const char* condition;
        const char* procedure;
        const char* location;
    } cases[] = {
        {[](IO& io) { io.SetActiveIOPort("GPIB12"); }, "(Len(strPort) = Len(GPIB_PREFIX) + 1)",
         "ActiveIOPort", ""},
        {[](IO& io) { io.SetActiveIOPort("COM5"); },
         "(lPort >= RS232_PORT.First And lPort <= RS232_PORT.Last)", "ActiveIOPort", ""},
        {[](IO& io) { io.SetActivePortHandshake(0); },
         "(lHandshake = CorvaneIOUtilsLib.RS232_HandShake_DTR_DSR Or lHandshake = "
         "CorvaneIOUtilsLib.RS232_HandShake_XON_XOFF)",
         "Let ActivePortHandshake", ""},
        {[](IO& io) { io.SetActivePortBaudRate(1200); }, "(m_bIsGPIB = False)", "Let ActivePortBaudRate", ""},
        {[](IO& io) { io.SetActiveAddressString("LPT1"); },
         "(InStr(1, strAddress, GPIB_PREFIX, vbTextCompare) = 1 Or InStr(1, strAddress, RS232_PREFIX, "
         "vbTextCompare) = 1)",
         "IsStringGPIB", ""},
        {[](IO& io) { io.SetActiveAddressString("COM1::Speed=9600"); }, "false", "ActiveAddressString",
         "CatchError"},
        {[](IO& io) { io.GPIBInstrumentAddress("GPIB0::123::INSTR"); }, "false", "GPIBInstrumentAddress",
         "1"},
        {[](IO& io) { io.GPIBInstrumentAddress("GPIB0::31::INSTR"); }, "false", "GPIBInstrumentAddress", "2"},
        {[](IO& io) { io.GPIBPortString(4); }, "false", "Get GPIBPortString", "Case Else"},
        {[](IO& io) { io.RS232PortIndex("LPT1"); }, "false", "RS232PortIndex", "1"},
    };
    for (const auto& c : cases) {
        DiagnosticsCapture capture;
        IO io;
        ErrorNumberOf([&] { c.act(io); });
        QStringList lines{QStringLiteral("Assertion: ") + c.condition,
                          QStringLiteral("File: CIOConfiguration"),
                          QStringLiteral("Function: ") + c.procedure};
        if (*c.location) lines << QStringLiteral("Location: ") + c.location;
        EXPECT_TRUE(capture.hasReportWith(lines)) << c.condition << '\n'
                                                  << capture.reports.join(u'|').toStdString();
    }

    DiagnosticsCapture capture; // accepted values and bad indexes report nothing
    IO io;
    io.SetActiveAddressString(QStringLiteral("COM2::Baud=19200,Handshake=DTR_DSR"));
    io.ActiveAutomationServerAddress();
    IO().Copy(io);
    ErrorNumberOf([&] { io.GPIBPortExists(4); });
    EXPECT_TRUE(capture.reports.isEmpty());
}
