#pragma once

// What the benchmarks share: timing summaries, the simulator started beside them, and the table of
// figures held to their targets.
#include <QElapsedTimer>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <algorithm>
#include <arpa/inet.h>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

namespace bench {

struct Timing {
    double best = 0;
    double median = 0;
};

inline Timing summarize(std::vector<double> seconds) {
    std::sort(seconds.begin(), seconds.end());
    const size_t n = seconds.size();
    return {seconds.front(), n % 2 ? seconds[n / 2] : (seconds[n / 2 - 1] + seconds[n / 2]) / 2};
}

// Runs body reps times and summarizes the seconds each took.
template <typename Body> Timing timeEach(int reps, Body&& body) {
    std::vector<double> seconds;
    for (int i = 0; i < reps; ++i) {
        QElapsedTimer timer;
        timer.start();
        body();
        seconds.push_back(double(timer.nsecsElapsed()) / 1e9);
    }
    return summarize(seconds);
}

[[noreturn]] inline void fail(const QString& message) {
    std::fprintf(stderr, "bench_waveform: %s\n", qPrintable(message));
    std::exit(1);
}

// Where tavrel-sim serves the TV100A on GPIB0::7 (a TCP port) and the one on COM1 (a pseudo-terminal).
struct SimPorts {
    int scopeTcp = 0;
    QString comPty;
};

inline SimPorts startSimulator(QProcess& sim, const QString& binary) {
    sim.start(binary, {QStringLiteral("--quiet")});
    if (!sim.waitForStarted(5000)) fail(QStringLiteral("cannot start %1").arg(binary));
    SimPorts ports;
    for (;;) {
        if (!sim.canReadLine() && !sim.waitForReadyRead(10000))
            fail(QStringLiteral("tavrel-sim did not get ready"));
        while (sim.canReadLine()) {
            const QString line = QString::fromLatin1(sim.readLine()).trimmed();
            if (line == QLatin1String("ready")) {
                if (ports.scopeTcp == 0 || ports.comPty.isEmpty())
                    fail(QStringLiteral("tavrel-sim serves no GPIB0::7 socket or COM1 terminal"));
                return ports;
            }
            const QStringList fields = line.split(QLatin1Char(' '));
            if (fields.size() >= 4 && fields[0] == QLatin1String("GPIB0::7::INSTR") &&
                fields[2] == QLatin1String("tcp"))
                ports.scopeTcp = fields[3].section(QLatin1Char(':'), 1).toInt();
            if (fields.size() >= 4 && fields[0] == QLatin1String("COM1") && fields[2] == QLatin1String("pty"))
                ports.comPty = fields[3];
        }
    }
}

inline QString lanAddress(int port) {
    return QStringLiteral("TCPIP0::127.0.0.1::%1::SOCKET").arg(port);
}

// Runs a comparison script with Debian's Python and returns the JSON object it prints.
inline QJsonObject runPython(const QString& script, const QStringList& args) {
    QProcess process;
    process.start(QStringLiteral("/usr/bin/python3"), QStringList{script} + args);
    if (!process.waitForFinished(600000) || process.exitStatus() != QProcess::NormalExit ||
        process.exitCode() != 0)
        fail(QStringLiteral("%1 failed: %2")
                 .arg(script, QString::fromLocal8Bit(process.readAllStandardError())));
    return QJsonDocument::fromJson(process.readAllStandardOutput()).object();
}

// Every figure with its target, printed as one table at the end.
class Verdicts {
public:
    // A figure that must be at least target; text is how both are shown.
    void atLeast(const QString& figure, double value, double target, const QString& shown,
                 const QString& targetText) {
        m_rows.push_back({figure, shown, targetText, value >= target ? "met" : "NOT met"});
    }
    // A figure that must be at most target.
    void atMost(const QString& figure, double value, double target, const QString& shown,
                const QString& targetText) {
        m_rows.push_back({figure, shown, targetText, value <= target ? "met" : "NOT met"});
    }
    // A figure with no target of its own, shown for comparison.
    void info(const QString& figure, const QString& shown) { m_rows.push_back({figure, shown, {}, {}}); }

    void print() const {
        std::printf("| figure | value | target | |\n|---|---:|---|---|\n");
        for (const Row& row : m_rows)
            std::printf("| %s | %s | %s | %s |\n", qPrintable(row.figure), qPrintable(row.shown),
                        qPrintable(row.target), qPrintable(row.verdict));
    }

private:
    struct Row {
        QString figure, shown, target, verdict;
    };
    std::vector<Row> m_rows;
};

inline QString times(double ratio) {
    // Two decimals near the targets, so that a verdict never seems to contradict its figure.
    return QString::number(ratio, 'f', ratio < 10 ? 2 : 1) + QLatin1Char('x');
}
inline QString percent(double ratio) {
    return QString::number(ratio * 100, 'f', 0) + QStringLiteral(" %");
}

inline void readExactly(int fd, char* out, size_t count) {
    while (count > 0) {
        const ssize_t got = ::recv(fd, out, count, 0);
        if (got <= 0) fail(QStringLiteral("the plain socket read stopped short"));
        out += got;
        count -= size_t(got);
    }
}

// The floors: a POSIX socket asks for the data and reads the block into a buffer sized from its
// header, converting nothing; for the arrays floor it then writes two arrays of doubles once, as
// GetWaveformData must at the least.
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

    // The block that answers request; a request that asks for more after it (the preamble) has the
    // rest read up to its line end.
    std::unique_ptr<char[]> readBlock(const QByteArray& request = ":WAVeform:DATA?\n",
                                      size_t expectedBytes = 2000000) {
        if (::send(m_fd, request.constData(), size_t(request.size()), 0) != request.size())
            fail(QStringLiteral("send"));
        char header[12] = {};
        readExactly(m_fd, header, 2);
        const int digits = header[1] - '0';
        readExactly(m_fd, header + 2, size_t(digits));
        const size_t length = std::strtoul(header + 2, nullptr, 10);
        if (length != expectedBytes) fail(QStringLiteral("the block has %1 bytes").arg(length));
        std::unique_ptr<char[]> block(new char[length + 1]);
        readExactly(m_fd, block.get(), length + 1); // with the line end after the block, or a ';'
        for (char c = block[length]; c != '\n';)
            readExactly(m_fd, &c, 1);
        return block;
    }

private:
    int m_fd;
};

// Query rates: how many a second of each query, through each path (LatencyBench.cpp).
struct QueryRates {
    double ours = 0;
    double pyvisa = 0;
    double floor = 0; // a plain socket or terminal
};
struct Latency {
    QueryRates idnTcp, freqTcp, idnPty, freqPty;
};
// Asked of whatever answers on the TCP port and the terminal.
Latency measureLatency(int tcpPort, const QString& pty, int rounds);
// Asked of a bare responder that answers at once with the simulator's replies.
Latency measureBareLatency(int simTcpPort, int rounds);

} // namespace bench
