// tavrel-sim end to end: the built binary, spoken to over TCP and over its pseudo-terminals.

#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QRegularExpression>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

namespace {

const QString Binary = TAVREL_BINARY_DIR "/bin/tavrel-sim";

// A running tavrel-sim and the endpoints it announced.
struct SimProcess {
    bool start(const QStringList& args) {
        process.start(Binary, args);
        if (!process.waitForStarted(10000)) return false;
        while (true) {
            while (process.canReadLine()) {
                const QString line = QString::fromUtf8(process.readLine()).trimmed();
                if (line == "ready") return true;
                lines << line;
                const QStringList f = line.split(' ');
                if (f.size() >= 4) (f[2] == "tcp" ? tcp : f[2] == "pty" ? pty : other)[f[0]] = f[3];
            }
            if (!process.waitForReadyRead(10000)) return false;
        }
    }
    quint16 port(const QString& resource) const {
        return quint16(tcp.value(resource).section(':', 1).toUInt());
    }
    bool terminate() {
        process.terminate();
        return process.waitForFinished(10000) && process.exitStatus() == QProcess::NormalExit;
    }

    QProcess process;
    QStringList lines;
    QMap<QString, QString> tcp, pty, other;
};

bool connect(QTcpSocket& s, quint16 port) {
    s.connectToHost("127.0.0.1", port);
    return s.waitForConnected(5000);
}

// One whole response: a definite-length block by its count (it holds newlines), else up to "\n".
QByteArray ask(QTcpSocket& s, const QByteArray& command, int waitMs = 5000) {
    s.write(command + '\n');
    QByteArray got;
    while (true) {
        const int digits = got.size() >= 2 && got[0] == '#' ? got[1] - '0' : -1;
        const qsizetype length =
            got.size() > 2 + digits ? 2 + digits + got.mid(2, digits).toInt() : got.size();
        if (digits < 0 ? got.contains('\n') : got.size() > length) return got;
        if (!s.waitForReadyRead(waitMs)) return got;
        got += s.readAll();
    }
}

QString writeFile(const QTemporaryDir& dir, const QString& name, const QByteArray& contents) {
    QFile f(dir.filePath(name));
    EXPECT_TRUE(f.open(QIODevice::WriteOnly) && f.write(contents) == contents.size());
    return f.fileName();
}

class TavrelSim : public ::testing::Test {
protected:
    static void SetUpTestSuite() { started = sim.start({"--quiet", "--pty-link-dir", links.path()}); }
    static void TearDownTestSuite() { sim.terminate(); }
    void SetUp() override { ASSERT_TRUE(started) << "tavrel-sim did not get ready"; }

    static inline QTemporaryDir links;
    static inline SimProcess sim;
    static inline bool started = false;
};

TEST_F(TavrelSim, AnnouncesEveryEndpointOfTheDefaultBench) {
    QStringList shapes;
    for (QString line : sim.lines) {
        line.replace(QRegularExpression(":\\d+$"), ":PORT")
            .replace(QRegularExpression("(hislip\\d+),\\d+::INSTR$"), "\\1,PORT::INSTR")
            .replace(QRegularExpression("/dev/pts/\\d+"), "PTS");
        shapes << line.replace(links.path(), "DIR");
    }
    EXPECT_EQ(shapes,
              QStringList(
                  {"GPIB0::3::INSTR no_comma tcp 127.0.0.1:PORT", "GPIB0::7::INSTR TV100A tcp 127.0.0.1:PORT",
                   "GPIB0::12::INSTR TV200B tcp 127.0.0.1:PORT", "GPIB0::22::INSTR silent tcp 127.0.0.1:PORT",
                   "COM1 TV100A tcp 127.0.0.1:PORT", "COM1 TV100A pty PTS DIR/COM1",
                   "COM2 none pty PTS DIR/COM2", "portmapper vxi11 tcp 127.0.0.1:PORT",
                   "GPIB0::3::INSTR no_comma vxi11 TCPIP0::127.0.0.1::gpib0,3::INSTR",
                   "GPIB0::7::INSTR TV100A vxi11 TCPIP0::127.0.0.1::gpib0,7::INSTR",
                   "GPIB0::12::INSTR TV200B vxi11 TCPIP0::127.0.0.1::gpib0,12::INSTR",
                   "GPIB0::22::INSTR silent vxi11 TCPIP0::127.0.0.1::gpib0,22::INSTR",
                   "COM1 TV100A vxi11 TCPIP0::127.0.0.1::com1::INSTR",
                   "GPIB0::3::INSTR no_comma hislip TCPIP0::127.0.0.1::hislip1,PORT::INSTR",
                   "GPIB0::7::INSTR TV100A hislip TCPIP0::127.0.0.1::hislip2,PORT::INSTR",
                   "GPIB0::12::INSTR TV200B hislip TCPIP0::127.0.0.1::hislip3,PORT::INSTR",
                   "GPIB0::22::INSTR silent hislip TCPIP0::127.0.0.1::hislip4,PORT::INSTR",
                   "COM1 TV100A hislip TCPIP0::127.0.0.1::hislip5,PORT::INSTR"}))
        << shapes.join(u'\n').toStdString();
}

TEST_F(TavrelSim, TcpCarriesBlocksWithNewlinesAndWholeRecords) {
    QTcpSocket s;
    ASSERT_TRUE(connect(s, sim.port("GPIB0::7::INSTR")));
    EXPECT_EQ(ask(s, "*IDN?"), "CORVANE TECHNOLOGIES,TV100A,CT41000107,A.01.02\n");
    const QByteArray setup = ask(s, ":SYST:SET?");
    ASSERT_TRUE(setup.startsWith('#') && setup.endsWith('\n'));
    EXPECT_TRUE(setup.chopped(1).contains('\n')) << "the block carries newline bytes";
    EXPECT_EQ(ask(s, ":CHAN2:SCAL 0.05;:CHAN2:SCAL?"), "+5.000000E-02\n");
    EXPECT_EQ(ask(s, ":SYSTEM:SETUP " + setup.chopped(1) + ";:CHAN2:SCAL?;:SYST:ERR?"),
              "+1.000000E+00;0,\"No error\"\n");
    EXPECT_TRUE(ask(s, ":STOP;:WAV:SOUR CHAN1;FORM WORD;BYT LSBF;POIN MAX;PRE?").startsWith("1,0,1000000,"));
    const QByteArray reply = ask(s, ":WAV:DATA?", 10000);
    ASSERT_EQ(reply.size(), 9 + 2000000 + 1);
    EXPECT_TRUE(reply.startsWith("#72000000") && reply.endsWith('\n'));
    EXPECT_EQ(ask(s, ":RUN;:SYST:ERR?"), "0,\"No error\"\n");
}

// Opens a pty as a host opens a serial port: raw, with the given speed, 8N1, XON/XOFF; sends the
// command and reads up to a newline.
QByteArray serialQuery(const QString& path, speed_t speed, const QByteArray& command, int timeoutMs) {
    const int fd = ::open(QFile::encodeName(path).constData(), O_RDWR | O_NOCTTY);
    EXPECT_GE(fd, 0) << path.toStdString();
    termios t{};
    tcgetattr(fd, &t);
    cfmakeraw(&t);
    t.c_cflag = (t.c_cflag & ~(CSIZE | PARENB | CSTOPB | CRTSCTS)) | CS8 | CREAD | CLOCAL;
    t.c_iflag |= IXON | IXOFF;
    cfsetispeed(&t, speed);
    cfsetospeed(&t, speed);
    tcsetattr(fd, TCSANOW, &t);
    tcflush(fd, TCIOFLUSH);
    EXPECT_EQ(::write(fd, command.constData(), size_t(command.size())), command.size());
    QByteArray got;
    QElapsedTimer clock;
    clock.start();
    while (!got.endsWith('\n') && clock.elapsed() < timeoutMs) {
        pollfd p{fd, POLLIN, 0};
        char buffer[256];
        if (::poll(&p, 1, int(timeoutMs - clock.elapsed())) > 0) {
            const ssize_t n = ::read(fd, buffer, sizeof buffer);
            if (n > 0) got.append(buffer, int(n));
        }
    }
    ::close(fd);
    return got;
}

TEST_F(TavrelSim, PtyAnswersOnlyAHostWithTheInstrumentsSettings) {
    EXPECT_EQ(serialQuery(links.filePath("COM1"), B9600, "\r\n*IDN?\n", 5000),
              "CORVANE TECHNOLOGIES,TV100A,CT41000301,A.01.02\n");
    EXPECT_EQ(serialQuery(sim.pty.value("COM1"), B19200, "*IDN?\n", 500), QByteArray()) << "wrong baud rate";
    EXPECT_EQ(serialQuery(sim.pty.value("COM2"), B9600, "*IDN?\n", 300), QByteArray()) << "nothing on COM2";
}

TEST(TavrelSimProcess, BadBenchPortBaseFaultsAndCleanShutdown) {
    QTemporaryDir dir;
    const QString broken = writeFile(dir, "broken.json", R"({"gpib": [{"board": 9}]})");
    SimProcess refused;
    EXPECT_FALSE(refused.start({"--bench", broken})) << "no ready line";
    refused.process.waitForFinished(10000);
    EXPECT_EQ(refused.process.exitCode(), 1);
    const QString err = QString::fromUtf8(refused.process.readAllStandardError());
    EXPECT_TRUE(err.contains(broken) && err.contains("gpib[0]")) << err.toStdString();
    const QString bench = writeFile(dir, "faulty.json", R"({"gpib": [{"board": 2, "devices": [
                 {"address": 1, "kind": "tavrel", "model": "TV300C", "faults": {"drop_after_bytes": 6}},
                 {"address": 2, "kind": "tavrel", "faults": {"truncate_blocks": 3}}]}],
               "com": [{"port": 4}]})");
    quint16 base = 0;
    SimProcess sim;
    // A free pair of ports, most likely still free a moment later; tests running beside this one
    // may take one meanwhile, so a few pairs are tried.
    for (int attempt = 0; attempt < 3; ++attempt) {
        {
            QTcpServer probe;
            ASSERT_TRUE(probe.listen(QHostAddress::LocalHost, 0));
            base = probe.serverPort() < 65000 ? probe.serverPort() : 40000;
        }
        if (sim.start({"--bench", bench, "--port-base", QString::number(base), "--pty-link-dir", dir.path(),
                       "--quiet"}))
            break;
        sim.process.waitForFinished(10000);
    }
    ASSERT_EQ(sim.process.state(), QProcess::Running) << "tavrel-sim did not get ready on any pair of ports";
    EXPECT_EQ(sim.port("GPIB2::1::INSTR"), base);
    EXPECT_EQ(sim.port("GPIB2::2::INSTR"), base + 1);

    QTcpSocket dropping, truncating;
    ASSERT_TRUE(connect(dropping, base));
    dropping.write("*IDN?\n");
    QByteArray got;
    while (dropping.state() == QAbstractSocket::ConnectedState && dropping.waitForReadyRead(5000))
        got += dropping.readAll();
    EXPECT_EQ(got + dropping.readAll(), "CORVAN");
    EXPECT_NE(dropping.state(), QAbstractSocket::ConnectedState) << "the server hung up";

    ASSERT_TRUE(connect(truncating, base + 1));
    const QByteArray block = ask(truncating, ":SYST:SET?", 500); // never completes
    const int digits = block[1] - '0';
    EXPECT_EQ(block.size(), 2 + digits + block.mid(2, digits).toInt() - 3);

    EXPECT_TRUE(QFileInfo(dir.filePath("COM4")).isSymLink());
    ASSERT_TRUE(sim.terminate());
    EXPECT_EQ(sim.process.exitCode(), 0);
    EXPECT_FALSE(QFileInfo(dir.filePath("COM4")).exists() || QFileInfo(dir.filePath("COM4")).isSymLink());
}

} // namespace

// Resident memory of a process in kilobytes, from /proc.
qint64 residentKb(qint64 pid) {
    QFile status(QStringLiteral("/proc/%1/status").arg(pid));
    if (!status.open(QIODevice::ReadOnly)) return -1;
    for (const QByteArray& line : status.readAll().split('\n'))
        if (line.startsWith("VmRSS:")) return line.mid(6).trimmed().split(' ').value(0).toLongLong();
    return -1;
}

// Hostile clients on one instrument's port: a crowd of connections, half-open ones, garbage and a
// line without an end far past what the simulator takes. It stays up, its memory stays bounded, the
// other instruments answer throughout, and the next client of the attacked one is served.
TEST_F(TavrelSim, StaysUpAndBoundedUnderHostileClients) {
    QTcpSocket bystander;
    ASSERT_TRUE(connect(bystander, sim.port("GPIB0::12::INSTR")));
    const quint16 attacked = sim.port("GPIB0::7::INSTR");

    std::vector<std::unique_ptr<QTcpSocket>> crowd;
    for (int i = 0; i < 200; ++i) {
        crowd.push_back(std::make_unique<QTcpSocket>());
        crowd.back()->connectToHost("127.0.0.1", attacked);
    }
    for (auto& s : crowd)
        s->waitForConnected(2000);
    QByteArray garbage(64 * 1024, '\0');
    for (qsizetype i = 0; i < garbage.size(); ++i)
        garbage[i] = char((i * 7919) >> 3);
    crowd.back()->write(garbage);
    crowd.back()->waitForBytesWritten(2000);
    EXPECT_TRUE(ask(bystander, "*IDN?").startsWith("CORVANE")) << "another instrument answers";

    QTcpSocket endless;
    ASSERT_TRUE(connect(endless, attacked));
    endless.write("*CLS\n"); // the garbage's errors out of the queue
    const QByteArray chunk(1024 * 1024, 'A');
    for (int i = 0; i < 24; ++i) { // 24 MB, past the 16 MiB a program message may take
        endless.write(chunk);
        endless.waitForBytesWritten(5000);
    }
    endless.write("\n*IDN?\n");
    endless.waitForBytesWritten(5000);
    QByteArray answer;
    for (int i = 0; i < 50 && !answer.contains('\n'); ++i)
        if (endless.waitForReadyRead(200)) answer += endless.readAll();
    EXPECT_TRUE(answer.startsWith("CORVANE")) << answer.left(80).toStdString();
    EXPECT_LT(residentKb(sim.process.processId()), 200 * 1024) << "the simulator's memory stays bounded";
    crowd.clear();
    endless.abort();

    QTcpSocket next;
    ASSERT_TRUE(connect(next, attacked));
    EXPECT_TRUE(ask(next, "*IDN?").startsWith("CORVANE")) << "the attacked instrument serves its next client";
    EXPECT_TRUE(ask(next, ":SYST:ERR?").startsWith("-223")) << "the overlong message was reported";
    EXPECT_TRUE(ask(bystander, "*IDN?").startsWith("CORVANE"));
}
