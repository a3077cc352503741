// Small-query latency: queries a second of "*IDN?" and ":MEASure:FREQuency?" over localhost TCP and
// over a pseudo-terminal, through our I/O session, through Debian's pyvisa-py, and through a plain
// socket or terminal that writes the query and reads up to the line end (the floor). Asked of
// tavrel-sim, whose own turnaround can hide the client's cost, and of a bare responder that answers
// each line at once with the simulator's reply, which shows the client's cost alone.
#include "BenchSupport.h"
#include "iolib/IOManager.h"
#include "iolib/IOSession.h"

#include <arpa/inet.h>
#include <atomic>
#include <cerrno>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <pty.h>
#include <sys/socket.h>
#include <termios.h>
#include <thread>
#include <unistd.h>

namespace bench {

namespace {

constexpr int kTcpQueries = 200;
constexpr int kPtyQueries = 100;
const char* const kQueries[] = {"*IDN?", ":MEASure:FREQuency?"};

// One round: the seconds count queries take, after one that is not counted (the first answer may
// cost a measurement the later ones find done).
template <typename Ask> double round(int count, Ask&& ask) {
    ask();
    QElapsedTimer timer;
    timer.start();
    for (int i = 0; i < count; ++i)
        ask();
    return double(timer.nsecsElapsed()) / 1e9;
}

// Writes the query with its line end on fd and reads until the reply's.
void askFd(int fd, const QByteArray& query) {
    if (::write(fd, query.constData(), size_t(query.size())) != query.size()) fail(QStringLiteral("write"));
    char buffer[4096];
    for (;;) {
        const ssize_t got = ::read(fd, buffer, sizeof buffer);
        if (got <= 0) fail(QStringLiteral("the plain reader lost its reply"));
        if (buffer[got - 1] == '\n') return;
    }
}

int connectTcp(int port) {
    const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    const int one = 1;
    ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(quint16(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0)
        fail(QStringLiteral("the plain socket cannot connect"));
    return fd;
}

// The COM1 settings of the simulated bench, 9600 8N1 with XON/XOFF, in raw mode.
int openTerminal(const QString& path) {
    const int fd = ::open(path.toLocal8Bit().constData(), O_RDWR | O_NOCTTY);
    if (fd < 0) fail(QStringLiteral("cannot open %1").arg(path));
    termios t{};
    tcgetattr(fd, &t);
    cfmakeraw(&t);
    cfsetispeed(&t, B9600);
    cfsetospeed(&t, B9600);
    t.c_iflag |= IXON | IXOFF;
    t.c_cflag |= CLOCAL | CREAD;
    tcsetattr(fd, TCSANOW, &t);
    return fd;
}

QueryRates* rowsOf(Latency& l, bool tcp, int q) {
    return tcp ? (q == 0 ? &l.idnTcp : &l.freqTcp) : (q == 0 ? &l.idnPty : &l.freqPty);
}

} // namespace

// Answers every line that arrives with the reply given for it, on a TCP port of 127.0.0.1 (one client
// at a time) and on a pseudo-terminal, each from a thread of its own, until destroyed.
class BareResponder {
public:
    explicit BareResponder(QMap<QByteArray, QByteArray> replies) : m_replies(std::move(replies)) {
        m_listen = ::socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        if (::bind(m_listen, reinterpret_cast<sockaddr*>(&address), size) != 0 ||
            ::listen(m_listen, 1) != 0 ||
            ::getsockname(m_listen, reinterpret_cast<sockaddr*>(&address), &size) != 0)
            fail(QStringLiteral("the bare responder cannot listen"));
        m_port = ntohs(address.sin_port);
        int slave = -1;
        char name[256] = {};
        if (::openpty(&m_master, &slave, name, nullptr, nullptr) != 0) fail(QStringLiteral("openpty"));
        ::close(slave); // the clients open it by name
        m_pty = QString::fromLocal8Bit(name);
        m_tcpThread = std::thread([this] {
            while (!m_stop) {
                if (!readable(m_listen)) continue;
                const int client = ::accept(m_listen, nullptr, nullptr);
                if (client < 0) continue;
                const int one = 1;
                ::setsockopt(client, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
                serve(client);
                ::close(client);
            }
        });
        m_ptyThread = std::thread([this] { serve(m_master); });
    }
    ~BareResponder() {
        m_stop = true;
        m_tcpThread.join();
        m_ptyThread.join();
        ::close(m_listen);
        ::close(m_master);
    }
    int port() const { return m_port; }
    QString pty() const { return m_pty; }

private:
    bool readable(int fd) {
        pollfd p{fd, POLLIN, 0};
        return ::poll(&p, 1, 50) > 0;
    }
    // Until the client goes or the responder stops.
    void serve(int fd) {
        QByteArray pending;
        char buffer[4096];
        while (!m_stop) {
            if (!readable(fd)) continue;
            const ssize_t got = ::read(fd, buffer, sizeof buffer);
            if (got < 0 && (errno == EINTR || errno == EAGAIN || errno == EIO))
                continue; // EIO: no slave open
            if (got <= 0) return;
            pending.append(buffer, got);
            for (qsizetype end; (end = pending.indexOf('\n')) >= 0;) {
                const QByteArray line = pending.left(end).trimmed();
                pending.remove(0, end + 1);
                const QByteArray reply = m_replies.value(line, "0\n");
                if (::write(fd, reply.constData(), size_t(reply.size())) != reply.size()) return;
            }
        }
    }

    QMap<QByteArray, QByteArray> m_replies;
    int m_listen = -1;
    int m_master = -1;
    int m_port = 0;
    QString m_pty;
    std::atomic<bool> m_stop{false};
    std::thread m_tcpThread, m_ptyThread;
};

QMap<QByteArray, QByteArray> simReplies(int tcpPort) {
    CorvaneIOUtilsLib::IOManager manager;
    auto session = manager.Open(lanAddress(tcpPort));
    QMap<QByteArray, QByteArray> replies;
    for (const char* query : kQueries)
        replies[query] = session->Query(QString::fromLatin1(query) + QLatin1Char('\n')).toLatin1() + '\n';
    return replies;
}

Latency measureLatency(int tcpPort, const QString& pty, int rounds) {
    // The clients take turns round by round on each line, pyvisa-py included (its own process, timed
    // inside), so that the rest of the machine weighs on them alike.
    std::vector<double> ours[2][2], floors[2][2], pyvisa[2][2]; // [tcp][query]: seconds a round
    for (int r = 0; r < rounds; ++r)
        for (bool tcp : {true, false}) {
            const int count = tcp ? kTcpQueries : kPtyQueries;
            {
                // The terminal is COM1; the port's default settings are the simulated instrument's.
                if (!tcp) qputenv("TAVREL_COM_PORTS", "COM1=" + pty.toLocal8Bit());
                CorvaneIOUtilsLib::IOManager manager;
                auto session = manager.Open(tcp ? lanAddress(tcpPort) : QStringLiteral("COM1"));
                qunsetenv("TAVREL_COM_PORTS");
                for (int q = 0; q < 2; ++q) {
                    const QString command = QString::fromLatin1(kQueries[q]) + QLatin1Char('\n');
                    ours[tcp][q].push_back(round(count, [&] { session->Query(command); }));
                }
            }
            const int fd = tcp ? connectTcp(tcpPort) : openTerminal(pty);
            for (int q = 0; q < 2; ++q) {
                const QByteArray query = QByteArray(kQueries[q]) + '\n';
                floors[tcp][q].push_back(round(count, [&] { askFd(fd, query); }));
            }
            ::close(fd);
            const QJsonObject py =
                runPython(QStringLiteral(TAVREL_BENCH_DIR "/pyvisa_queries.py"),
                          {QStringLiteral("--resource"),
                           tcp ? lanAddress(tcpPort) : QStringLiteral("ASRL%1::INSTR").arg(pty),
                           QStringLiteral("--count"), QString::number(count), QStringLiteral("--rounds"),
                           QStringLiteral("1")});
            for (int q = 0; q < 2; ++q)
                pyvisa[tcp][q].push_back(count / py[QLatin1String(kQueries[q])].toDouble());
        }
    Latency out;
    for (bool tcp : {true, false})
        for (int q = 0; q < 2; ++q) {
            const int count = tcp ? kTcpQueries : kPtyQueries;
            rowsOf(out, tcp, q)->ours = count / summarize(ours[tcp][q]).median;
            rowsOf(out, tcp, q)->floor = count / summarize(floors[tcp][q]).median;
            rowsOf(out, tcp, q)->pyvisa = count / summarize(pyvisa[tcp][q]).median;
        }
    return out;
}

Latency measureBareLatency(int simTcpPort, int rounds) {
    BareResponder responder(simReplies(simTcpPort));
    return measureLatency(responder.port(), responder.pty(), rounds);
}

} // namespace bench
