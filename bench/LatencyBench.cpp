// Small-query latency: queries a second of "*IDN?" and ":MEASure:FREQuency?" answered by tavrel-sim,
// over localhost TCP and over a pseudo-terminal, through our I/O session, through Debian's pyvisa-py,
// and (TCP only) through a plain socket that writes the query and reads up to the line end (the floor).
#include "BenchSupport.h"
#include "iolib/IOManager.h"
#include "iolib/IOSession.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

namespace bench {

namespace {

constexpr int kTcpQueries = 400;
constexpr int kPtyQueries = 200;
const char* const kQueries[] = {"*IDN?", ":MEASure:FREQuency?"};

// The median over rounds of count queries, in queries a second.
template <typename Ask> double rate(int rounds, int count, Ask&& ask) {
    ask(); // the first answer may cost a measurement the later ones find done
    const Timing t = timeEach(rounds, [&] {
        for (int i = 0; i < count; ++i)
            ask();
    });
    return count / t.median;
}

double ourRate(CorvaneIOUtilsLib::IOSession& session, const char* query, int rounds, int count) {
    const QString command = QString::fromLatin1(query) + QLatin1Char('\n');
    return rate(rounds, count, [&] {
        if (session.Query(command).isEmpty()) fail(QStringLiteral("an empty reply to %1").arg(query));
    });
}

class PlainSocket {
public:
    explicit PlainSocket(int port) : m_fd(::socket(AF_INET, SOCK_STREAM, 0)) {
        const int one = 1;
        ::setsockopt(m_fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(quint16(port));
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        if (::connect(m_fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0)
            fail(QStringLiteral("the plain socket cannot connect"));
    }
    ~PlainSocket() { ::close(m_fd); }

    // Writes the query with its line end and reads until the reply's.
    void ask(const QByteArray& query) {
        if (::send(m_fd, query.constData(), size_t(query.size()), 0) != query.size())
            fail(QStringLiteral("send"));
        for (;;) {
            const ssize_t got = ::recv(m_fd, m_buffer, sizeof m_buffer, 0);
            if (got <= 0) fail(QStringLiteral("the plain socket lost its reply"));
            if (m_buffer[got - 1] == '\n') return;
        }
    }

private:
    int m_fd;
    char m_buffer[4096];
};

} // namespace

Latency measureLatency(const SimPorts& ports, int rounds) {
    Latency out;
    QueryRates* tcp[] = {&out.idnTcp, &out.freqTcp};
    QueryRates* pty[] = {&out.idnPty, &out.freqPty};
    {
        CorvaneIOUtilsLib::IOManager manager;
        auto session = manager.Open(lanAddress(ports.scopeTcp));
        for (int q = 0; q < 2; ++q)
            tcp[q]->ours = ourRate(*session, kQueries[q], rounds, kTcpQueries);
    }
    {
        PlainSocket socket(ports.scopeTcp);
        for (int q = 0; q < 2; ++q) {
            const QByteArray query = QByteArray(kQueries[q]) + '\n';
            tcp[q]->floor = rate(rounds, kTcpQueries, [&] { socket.ask(query); });
        }
    }
    {
        // COM1 is the simulator's terminal; its settings are the port's defaults and the instrument's.
        qputenv("TAVREL_COM_PORTS", "COM1=" + ports.comPty.toLocal8Bit());
        CorvaneIOUtilsLib::IOManager manager;
        auto session = manager.Open(QStringLiteral("COM1"));
        for (int q = 0; q < 2; ++q)
            pty[q]->ours = ourRate(*session, kQueries[q], rounds, kPtyQueries);
        qunsetenv("TAVREL_COM_PORTS");
    }
    const QString script = QStringLiteral(TAVREL_BENCH_DIR "/pyvisa_queries.py");
    const auto pyvisa = [&](const QString& resource, int count, QueryRates* rates[]) {
        const QJsonObject r =
            runPython(script, {QStringLiteral("--resource"), resource, QStringLiteral("--count"),
                               QString::number(count), QStringLiteral("--rounds"), QString::number(rounds)});
        for (int q = 0; q < 2; ++q)
            rates[q]->pyvisa = r[QLatin1String(kQueries[q])].toDouble();
    };
    pyvisa(lanAddress(ports.scopeTcp), kTcpQueries, tcp);
    pyvisa(QStringLiteral("ASRL%1::INSTR").arg(ports.comPty), kPtyQueries, pty);
    return out;
}

} // namespace bench
