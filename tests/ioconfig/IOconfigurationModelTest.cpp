#include "ioconfig/CIOconfiguration.h"
#include "iolib/IOUtilsEnums.h"
#include "support/DiagnosticsCapture.h"
#include "support/Errors.h"

#include <functional>
#include <gtest/gtest.h>

using namespace CorvaneIOUtilsLib;
using IO = CIOconfiguration;
using Action = std::function<void(IO&)>;

namespace {

constexpr qint32 kInvalid = ErrorNumber::InvalidPropertyValue;
constexpr qint32 kSubscript = ErrorNumber::SubscriptOutOfRange;

} // namespace

TEST(IOconfigurationModel, ActiveIOPortTakesOnlyGPIB0To3AndCOM1To4) {
    // A new object is on GPIB0 address 7; refusals leave it there.
    const QStringList refused = QStringLiteral("GPIB4|GPIB12|GPIBX|USB01|COM0|COM5|LPT1|").split(u'|');
    QList<std::pair<QString, QString>> cases = {
        {"gpib2", "GPIB2::7::INSTR"}, {"com3", "COM3"}, {"COM4", "COM4"}};
    for (const QString& given : refused)
        cases.append({given, QString()});
    for (const auto& [given, accepted] : cases) {
        IO io;
        EXPECT_EQ(ErrorNumberOf([&, &given = given] { io.SetActiveIOPort(given); }),
                  accepted.isNull() ? kInvalid : 0)
            << given.toStdString();
        const QString address = accepted.isNull() ? QStringLiteral("GPIB0::7::INSTR") : accepted;
        EXPECT_EQ(io.ActiveAddressString(), address);
        EXPECT_EQ(io.ActiveIOPort(), address.section(QStringLiteral("::"), 0, 0));
        EXPECT_EQ(io.IsGPIB(), address.startsWith(u'G'));
    }
}

TEST(IOconfigurationModel, ActivePortSettersAcceptOnlyTheirValueSets) {
    const auto baud = &IO::SetActivePortBaudRate, handshake = &IO::SetActivePortHandshake,
               gpib = &IO::SetActivePortGPIBAddress;
    const struct {
        void (IO::*set)(int);
        int value;
        const char* address; // nullptr: refused, nothing changes
    } cases[] = {
        {baud, 57600, "COM2::Baud=57600"},
        {baud, 4800, nullptr},
        {baud, 0, nullptr},
        {handshake, RS232_HandShake_DTR_DSR, "COM2::Handshake=DTR_DSR"},
        {handshake, 0, nullptr},
        {handshake, RS232_HandShake_RTS_CTS, nullptr},
        {gpib, 30, "COM2"},
        {gpib, 31, nullptr},
        {gpib, -1, nullptr},
    };
    for (const auto& c : cases) {
        IO io;
        io.SetActiveIOPort(QStringLiteral("COM2"));
        const QVariant before = io.DataAsVariant();
        EXPECT_EQ(ErrorNumberOf([&] { (io.*c.set)(c.value); }), c.address ? 0 : kInvalid) << c.value;
        EXPECT_EQ(io.ActiveAddressString(), QString::fromLatin1(c.address ? c.address : "COM2")) << c.value;
        if (!c.address) {
            EXPECT_EQ(io.DataAsVariant(), before) << c.value;
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

TEST(IOconfigurationModel, PortStringsAndIndexesAndTheirRanges) {
    const IO io;
    EXPECT_EQ(io.GPIBPortString(3) + io.RS232PortString(1), QStringLiteral("GPIB3COM1"));
    EXPECT_TRUE(io.IsGPIBPortString(QStringLiteral("gpib3")) && io.IsRS232PortString(QStringLiteral("com4")));
    for (const char* no : {"GPIB4", "GPIB", "GPIB01", "COM1"})
        EXPECT_FALSE(io.IsGPIBPortString(QString::fromLatin1(no))) << no;
    for (const char* no : {"COM0", "COM5", "COM11", "GPIB1"})
        EXPECT_FALSE(io.IsRS232PortString(QString::fromLatin1(no))) << no;
    EXPECT_EQ(io.GPIBPortIndex(QStringLiteral("GPIB2")) + io.RS232PortIndex(QStringLiteral("com4")), 6);
    const std::pair<qint32, Action> refused[] = {
        {kInvalid, [](IO& io) { io.GPIBPortString(4); }},
        {kInvalid, [](IO& io) { io.RS232PortString(0); }},
        {kInvalid, [](IO& io) { io.GPIBPortIndex("GPIB"); }},
        {kInvalid, [](IO& io) { io.GPIBPortIndex("COM1"); }},
        {kInvalid, [](IO& io) { io.RS232PortIndex("COMx"); }},
        {kInvalid, [](IO& io) { io.RS232PortIndex("COM5"); }},
        {kSubscript, [](IO& io) { io.GPIBPortExists(4); }},
        {kSubscript, [](IO& io) { io.SetGPIBPortIncluded(-1, true); }},
        {kSubscript, [](IO& io) { io.RS232PortExists(0); }},
        {kSubscript, [](IO& io) { io.SetRS232PortIncluded(5, false); }},
        {kSubscript, [](IO& io) { io.GPIBAddressIncluded(0, 31); }},
        {kSubscript, [](IO& io) { io.SetGPIBAddressExists(4, 0, true); }},
        {kSubscript, [](IO& io) { io.RS232BaudRate(0); }},
        {kSubscript, [](IO& io) { io.SetRS232Handshake(5, 4); }},
    };
    for (int i = 0; i < int(std::size(refused)); ++i) {
        IO target;
        EXPECT_EQ(ErrorNumberOf([&] { refused[i].second(target); }), refused[i].first) << "case " << i;
    }
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
    IO io, gpibOnly;
    EXPECT_EQ(io.AnyPortExists(), QVariant(false));
    io.SetRS232PortExists(3, true);
    gpibOnly.SetGPIBPortExists(1, true);
    EXPECT_EQ(io.AnyPortExists(), QVariant(true));
    EXPECT_EQ(gpibOnly.AnyPortExists(), QVariant(true));
}

TEST(IOconfigurationModel, CopyReproducesEveryField) {
    IO serial, gpib, bare;
    serial.SetDTROnly(true);
    serial.SetActiveAddressString(QStringLiteral("COM3::Baud=2400,Handshake=DTR_DSR"));
    serial.SetActiveAddressInstrumentID(QStringLiteral("TAVREL,TS7034,0,1.00"));
    serial.SetGPIBPortExists(1, true);
    serial.SetGPIBAddressIncluded(3, 30, false);
    serial.SetGPIBAddressExists(0, 22, true);
    serial.SetRS232PortIncluded(1, false);
    serial.SetRS232Parity(2, RS232_Parity_Odd);
    gpib.SetActiveIOPort(QStringLiteral("GPIB1"));
    gpib.SetActivePortGPIBAddress(12);
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
