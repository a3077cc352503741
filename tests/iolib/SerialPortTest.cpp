#include "EnvironmentGuard.h"
#include "PseudoTerminal.h"
#include "iolib/IOError.h"
#include "iolib/IOManager.h"
#include "iolib/IOTrace.h"
#include "iolib/SerialSession.h"

#include <QElapsedTimer>
#include <gtest/gtest.h>

using namespace CorvaneIOUtilsLib;

namespace {

const QString kIdn = QStringLiteral("CORVANE TECHNOLOGIES,TV100A,CT41000301,A.01.02");

// COM1 is a pseudo-terminal; COM2 is mapped to a device that is not there; nothing else exists.
class SerialPort : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(pty.ok()); }

    std::unique_ptr<SerialSession> open(const QString& address) {
        std::unique_ptr<IOSession> session = manager.Open(address);
        EXPECT_EQ(session->IOType(), QStringLiteral("ASRL"));
        return std::unique_ptr<SerialSession>(dynamic_cast<SerialSession*>(session.release()));
    }

    PseudoTerminal pty;
    EnvironmentGuard ports{"TAVREL_COM_PORTS",
                           ("COM1=" + pty.slavePath() + ";COM2=/nonexistent/ttyS9").toLocal8Bit()};
    IOManager manager;
};

TEST_F(SerialPort, ListsMappedPortsWhoseDevicesOpen) {
    EXPECT_EQ(manager.FindRsrc(QStringLiteral("COM*")), QStringList{QStringLiteral("COM1")});
    EXPECT_EQ(manager.FindRsrc(QStringLiteral("com1")), QStringList{QStringLiteral("COM1")});
    EXPECT_TRUE(manager.FindRsrc(QStringLiteral("COM2")).isEmpty());
    for (const char* address : {"COM2", "COM3::Baud=19200"}) {
        try {
            manager.Open(QString::fromLatin1(address));
            ADD_FAILURE() << address << " opened";
        } catch (const IOError& error) {
            EXPECT_EQ(error.kind(), IOError::NotFound) << error.what();
        }
    }
}

TEST_F(SerialPort, QueriesLinesAndBlocksAndAddsLineEndsOnlyWhenAsked) {
    auto session = open(QStringLiteral("COM1"));
    pty.reply(kIdn.toLatin1() + "\r\n");
    EXPECT_EQ(session->Query(QStringLiteral("*IDN?")), kIdn);
    pty.reply("#15a\nb\nc\n" + kIdn.toLatin1() + "\n");
    session->WriteString(QStringLiteral("BLOCK?")); // EndOut completes it
    EXPECT_EQ(session->ReadIEEEBlock(), QByteArray("a\nb\nc"));
    EXPECT_EQ(session->ReadString(), kIdn); // the block's line end went with it
    session->SetEndOut(RS232_EndOut_None);
    session->WriteString(QStringLiteral("\r\n"));
    session->WriteString(QStringLiteral("*ID"));
    session->SetEndOut(RS232_EndOut_LineEnd);
    session->WriteString(QStringLiteral("N?"));
    EXPECT_EQ(pty.received(), QByteArray("*IDN?\nBLOCK?\n\r\n*IDN?\n"));
    EXPECT_THROW(session->SetEndOut(2), IOError);
}

TEST_F(SerialPort, SilenceTimesOutAndAHangUpIsDropped) {
    auto session = open(QStringLiteral("COM1"));
    session->SetTimeout(200);
    QElapsedTimer clock;
    clock.start();
    try {
        session->Query(QStringLiteral("*IDN?"));
        ADD_FAILURE() << "a reply came";
    } catch (const IOError& error) {
        EXPECT_EQ(error.kind(), IOError::Timeout) << error.what();
        EXPECT_TRUE(error.message().startsWith(QStringLiteral("COM1: "))) << error.what();
    }
    EXPECT_LT(clock.elapsed(), 200 + 2000);
    pty.hangUp();
    try {
        session->ReadString();
        ADD_FAILURE() << "a reply came";
    } catch (const IOError& error) {
        EXPECT_EQ(error.kind(), IOError::Dropped) << error.what();
    }
}

// The address's keywords and the Set calls reach the device's line settings. (A pseudo-terminal keeps
// 8 data bits and no parity whatever it is told, so those are tested through the simulator.)
struct LineCase {
    const char* address;
    speed_t speed;
    bool twoStopBits, xonXoff;
};

class SerialLineSettings : public SerialPort, public ::testing::WithParamInterface<LineCase> {};

TEST_P(SerialLineSettings, ReachTheDevice) {
    const LineCase& c = GetParam();
    auto session = open(QString::fromLatin1(c.address));
    termios line{};
    ASSERT_EQ(tcgetattr(pty.slaveFd(), &line), 0);
    EXPECT_EQ(cfgetospeed(&line), c.speed);
    EXPECT_EQ((line.c_cflag & CSTOPB) != 0, c.twoStopBits);
    EXPECT_EQ((line.c_iflag & IXON) != 0, c.xonXoff);
}

INSTANTIATE_TEST_SUITE_P(Table, SerialLineSettings,
                         ::testing::Values(LineCase{"COM1", B9600, false, true},
                                           LineCase{"COM1::Baud=19200,Handshake=NONE", B19200, false, false},
                                           LineCase{"COM1::Baud=1200,Stop=2", B1200, true, true},
                                           LineCase{"COM1::Baud=57600,Handshake=DTR_DSR", B57600, false,
                                                    false}));

TEST_F(SerialPort, SettersChangeTheLineAndRefuseNonsense) {
    auto session = open(QStringLiteral("COM1"));
    session->SetBaudRate(38400);
    session->SetStopBits(2);
    termios line{};
    ASSERT_EQ(tcgetattr(pty.slaveFd(), &line), 0);
    EXPECT_EQ(cfgetospeed(&line), speed_t(B38400));
    EXPECT_NE(line.c_cflag & CSTOPB, tcflag_t(0));
    EXPECT_THROW(session->SetParity(9), IOError);
    EXPECT_THROW(session->SetDataBits(4), IOError);
    EXPECT_THROW(session->SetHandShake(0), IOError);
    EXPECT_EQ(session->HandShake(), RS232_HandShake_XON_XOFF);
}

TEST_F(SerialPort, DtrDsrWithoutModemLinesFallsBackAndSaysSoOnce) {
    QStringList notes;
    SetTraceHook([&](const QString& note) { notes << note; });
    auto session = open(QStringLiteral("COM1::Handshake=DTR_DSR"));
    const QByteArray command = QByteArray(200, ' ') + "*IDN?"; // several paced chunks
    for (int i = 0; i < 2; ++i) {
        pty.reply(kIdn.toLatin1() + "\n");
        EXPECT_EQ(session->Query(QString::fromLatin1(command)), kIdn);
    }
    // The line controls of the handshake drop do not fail either.
    session->SetDTR(false);
    session->SetRTS(false);
    session->SetDTR(true);
    SetTraceHook({});
    EXPECT_EQ(pty.received(), command + "\n" + command + "\n");
    EXPECT_EQ(notes.filter(QStringLiteral("DTR/DSR handshake works as no flow control")).size(), 1);
    EXPECT_EQ(notes.filter(QStringLiteral("DTR and RTS are not driven")).size(), 1);
}

} // namespace
