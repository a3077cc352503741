// The serial backend through QSerialPort on a pseudo-terminal whose other side the test plays.

#include "IolibTestSupport.h"
#include "iolib/IOManager.h"
#include "iolib/IOTrace.h"
#include "iolib/SerialSession.h"

#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

using namespace CorvaneIOUtilsLib;
using namespace Qt::StringLiterals;

namespace {

const QByteArray kIdn = "CORVANE TECHNOLOGIES,TV100A,CT41000301,A.01.02";

// COM1 is a pseudo-terminal; COM2 is mapped to a device that is not there; nothing else exists.
class SerialPort : public ::testing::Test {
protected:
    SerialPort() {
        if (m_master < 0 || grantpt(m_master) != 0 || unlockpt(m_master) != 0) return;
        // Held open so that the pair lives on between sessions, and to read the line settings.
        m_slave = ::open(ptsname(m_master), O_RDWR | O_NOCTTY);
        qputenv("TAVREL_COM_PORTS", "COM1=" + QByteArray(ptsname(m_master)) + ";COM2=/nonexistent/ttyS9");
    }
    ~SerialPort() override {
        hangUp();
        if (m_slave >= 0) ::close(m_slave);
    }
    void SetUp() override { ASSERT_GE(m_slave, 0); }

    std::unique_ptr<SerialSession> open(const QString& address) {
        auto session =
            std::unique_ptr<SerialSession>(dynamic_cast<SerialSession*>(IOManager().Open(address).release()));
        EXPECT_EQ(session->IOType(), u"ASRL"_s);
        return session;
    }
    termios line() const {
        termios settings{};
        EXPECT_EQ(tcgetattr(m_slave, &settings), 0);
        return settings;
    }
    void reply(const QByteArray& bytes) {
        EXPECT_EQ(::write(m_master, bytes.constData(), bytes.size()), bytes.size());
    }
    QByteArray received() { // what the port has sent so far
        QByteArray bytes;
        char buffer[512];
        pollfd waiting{m_master, POLLIN, 0};
        for (ssize_t got; ::poll(&waiting, 1, 0) > 0 && (got = ::read(m_master, buffer, sizeof buffer)) > 0;)
            bytes.append(buffer, got);
        return bytes;
    }
    void hangUp() { // the device goes away
        if (m_master >= 0) ::close(m_master);
        m_master = -1;
    }

    EnvironmentGuard ports{"TAVREL_COM_PORTS", {}};
    int m_master = posix_openpt(O_RDWR | O_NOCTTY), m_slave = -1;
};

TEST_F(SerialPort, ListsMappedPortsWhoseDevicesOpen) {
    EXPECT_EQ(IOManager().FindRsrc(u"COM*"_s), QStringList{u"COM1"_s});
    EXPECT_EQ(IOManager().FindRsrc(u"com1"_s), QStringList{u"COM1"_s});
    for (const char* address : {"COM2", "COM3::Baud=19200"})
        EXPECT_EQ(failureOf([&] { IOManager().Open(QLatin1String(address)); }).kind, IOError::NotFound)
            << address;
}

TEST_F(SerialPort, QueriesLinesAndBlocksAndAddsLineEndsOnlyWhenAsked) {
    auto session = open(u"COM1"_s);
    reply(kIdn + "\r\n");
    EXPECT_EQ(session->Query(u"*IDN?"_s), kIdn);
    reply("#15a\nb\nc\n" + kIdn + "\n");
    session->WriteString(u"BLOCK?"_s); // EndOut completes it
    EXPECT_EQ(session->ReadIEEEBlock(), QByteArray("a\nb\nc"));
    EXPECT_EQ(session->ReadString(), kIdn); // the block's line end went with it
    session->SetEndOut(RS232_EndOut_None);
    session->WriteString(u"\r\n"_s);
    session->WriteString(u"*ID"_s);
    session->SetEndOut(RS232_EndOut_LineEnd);
    session->WriteString(u"N?"_s);
    EXPECT_EQ(received(), QByteArray("*IDN?\nBLOCK?\n\r\n*IDN?\n"));
    EXPECT_THROW(session->SetEndOut(2), IOError);
}

TEST_F(SerialPort, SilenceTimesOutAndAHangUpIsDropped) {
    auto session = open(u"COM1"_s);
    session->SetTimeout(200);
    const Failure silence = failureOf([&] { session->Query(u"*IDN?"_s); });
    EXPECT_EQ(silence.kind, IOError::Timeout);
    EXPECT_TRUE(silence.message.startsWith(u"COM1: "_s)) << silence.message.toStdString();
    EXPECT_LT(silence.elapsedMs, 200 + 2000);
    hangUp();
    EXPECT_EQ(failureOf([&] { session->ReadString(); }).kind, IOError::Dropped);
}

// The address's keywords and the Set calls reach the device's line settings. (A pseudo-terminal keeps
// 8 data bits and no parity whatever it is told; those are tested through the simulator.)
TEST_F(SerialPort, SettingsReachTheDevice) {
    const struct {
        const char* address;
        speed_t speed;
        bool twoStopBits, xonXoff;
    } cases[] = {{"COM1", B9600, false, true},
                 {"COM1::Baud=19200,Handshake=NONE", B19200, false, false},
                 {"COM1::Baud=1200,Stop=2", B1200, true, true},
                 {"COM1::Baud=57600,Handshake=DTR_DSR", B57600, false, false}};
    for (const auto& c : cases) {
        auto session = open(QLatin1String(c.address));
        termios settings = line();
        EXPECT_EQ(cfgetospeed(&settings), c.speed) << c.address;
        EXPECT_EQ((settings.c_cflag & CSTOPB) != 0, c.twoStopBits) << c.address;
        EXPECT_EQ((settings.c_iflag & IXON) != 0, c.xonXoff) << c.address;
    }
    auto session = open(u"COM1"_s);
    session->SetBaudRate(38400);
    session->SetStopBits(2);
    termios settings = line();
    EXPECT_EQ(cfgetospeed(&settings), speed_t(B38400));
    EXPECT_NE(settings.c_cflag & CSTOPB, tcflag_t(0));
    EXPECT_THROW(session->SetParity(9), IOError);
    EXPECT_THROW(session->SetDataBits(4), IOError);
    EXPECT_THROW(session->SetHandShake(0), IOError);
    EXPECT_EQ(session->HandShake(), RS232_HandShake_XON_XOFF);
}

TEST_F(SerialPort, DtrDsrWithoutModemLinesFallsBackAndSaysSoOnce) {
    QStringList notes;
    SetTraceHook([&](const QString& note) { notes << note; });
    auto session = open(u"COM1::Handshake=DTR_DSR"_s);
    const QByteArray command = QByteArray(200, ' ') + "*IDN?"; // several paced chunks
    for (int i = 0; i < 2; ++i) {
        reply(kIdn + "\n");
        EXPECT_EQ(session->Query(QString::fromLatin1(command)), kIdn);
    }
    // The line controls of the handshake drop do not fail either.
    session->SetDTR(false);
    session->SetRTS(false);
    session->SetDTR(true);
    SetTraceHook({});
    EXPECT_EQ(received(), command + "\n" + command + "\n");
    EXPECT_EQ(notes.filter(u"DTR/DSR handshake works as no flow control"_s).size(), 1);
    EXPECT_EQ(notes.filter(u"DTR and RTS are not driven"_s).size(), 1);
}

} // namespace
