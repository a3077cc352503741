// Waveform transfer of 1,000,000 WORD points from tavrel-sim over localhost TCP: our GetWaveformData
// (transfer and conversion to times and volts) against Debian's pyvisa-py doing the same with numpy,
// and against a plain socket that only reads the block's bytes (the floor). Also the peak memory of
// one GetWaveformData in this process.
#include "automation/AcquisitionTavrel.h"
#include "automation/AnalogChannelsTavrel.h"
#include "automation/ScopeTavrel.h"
#include "automation/WaveformPreamble.h"
#include "iolib/IOManager.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <algorithm>
#include <arpa/inet.h>
#include <cstdio>
#include <memory>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <stdexcept>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr int kPoints = 1000000;
constexpr double kBlockBytes = 2.0 * kPoints;
// What the waveform itself takes in memory: the time and the voltage arrays, 8 bytes a point each.
constexpr double kWaveformBytes = 2.0 * 8 * kPoints;
const QString kSelect =
    QStringLiteral(":WAVeform:SOURce CHANnel1;FORMat WORD;BYTeorder LSBFirst;POINts MAXimum");

struct Timing {
    double best = 0;
    double median = 0;
};

Timing summarize(std::vector<double> seconds) {
    std::sort(seconds.begin(), seconds.end());
    const size_t n = seconds.size();
    return {seconds.front(), n % 2 ? seconds[n / 2] : (seconds[n / 2 - 1] + seconds[n / 2]) / 2};
}

long maxRssKiB() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

[[noreturn]] void fail(const QString& message) {
    std::fprintf(stderr, "bench_waveform: %s\n", qPrintable(message));
    std::exit(1);
}

// tavrel-sim's TCP port of the scope on GPIB0::7.
int startSimulator(QProcess& sim, const QString& binary) {
    sim.start(binary, {QStringLiteral("--quiet")});
    if (!sim.waitForStarted(5000)) fail(QStringLiteral("cannot start %1").arg(binary));
    int port = 0;
    for (;;) {
        if (!sim.canReadLine() && !sim.waitForReadyRead(10000))
            fail(QStringLiteral("tavrel-sim did not get ready"));
        while (sim.canReadLine()) {
            const QString line = QString::fromLatin1(sim.readLine()).trimmed();
            if (line == QLatin1String("ready"))
                return port ? port : (fail(QStringLiteral("no GPIB0::7 socket")), 0);
            const QStringList fields = line.split(QLatin1Char(' '));
            if (fields.size() == 4 && fields[0] == QLatin1String("GPIB0::7::INSTR") &&
                fields[2] == QLatin1String("tcp"))
                port = fields[3].section(QLatin1Char(':'), 1).toInt();
        }
    }
}

QString lanAddress(int port) {
    return QStringLiteral("TCPIP0::127.0.0.1::%1::SOCKET").arg(port);
}

// One acquisition of a million points on channel 1, kept: the scope is stopped afterwards, so every
// reader below gets the same bytes.
void configure(int port) {
    BrumelTB::ScopeTavrel scope(std::make_shared<CorvaneIOUtilsLib::IOManager>());
    scope.Open(lanAddress(port));
    scope.Reset();
    scope.Acquisition().SetPoints(kPoints);
    scope.AnalogChannels().Item(Tavrel_Channel_1).SetDisplay(Tavrel_On);
    scope.Digitize();
    scope.Execute(kSelect);
}

void readExactly(int fd, char* out, size_t count) {
    while (count > 0) {
        const ssize_t got = ::recv(fd, out, count, 0);
        if (got <= 0) fail(QStringLiteral("the plain socket read stopped short"));
        out += got;
        count -= size_t(got);
    }
}

// The floor: a POSIX socket asks for the data and reads the block into a buffer sized from its
// header, converting nothing.
Timing plainSocket(int port, int reps, qint64& bytes) {
    const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    const int one = 1;
    ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(quint16(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0)
        fail(QStringLiteral("the plain socket cannot connect"));
    static const char request[] = ":WAVeform:DATA?\n";
    std::vector<double> seconds;
    for (int i = 0; i < reps; ++i) {
        QElapsedTimer timer;
        timer.start();
        if (::send(fd, request, sizeof request - 1, 0) != qint64(sizeof request - 1))
            fail(QStringLiteral("send"));
        char header[12] = {};
        readExactly(fd, header, 2);
        const int digits = header[1] - '0';
        readExactly(fd, header + 2, size_t(digits));
        const size_t length = std::strtoul(header + 2, nullptr, 10);
        std::unique_ptr<char[]> block(new char[length + 1]);
        readExactly(fd, block.get(), length + 1); // with the line end after the block
        seconds.push_back(timer.nsecsElapsed() / 1e9);
        bytes = qint64(length);
    }
    ::close(fd);
    return summarize(seconds);
}

// Our I/O library without the conversion: the same request, the block read whole.
Timing ioLibrary(int port, int reps) {
    auto manager = std::make_shared<CorvaneIOUtilsLib::IOManager>();
    auto session = manager->Open(lanAddress(port));
    std::vector<double> seconds;
    for (int i = 0; i < reps; ++i) {
        QElapsedTimer timer;
        timer.start();
        session->WriteString(QStringLiteral(":WAVeform:DATA?\n"));
        const QByteArray block = session->ReadIEEEBlock();
        seconds.push_back(timer.nsecsElapsed() / 1e9);
        if (block.size() != qint64(kBlockBytes))
            fail(QStringLiteral("ReadIEEEBlock gave %1 bytes").arg(block.size()));
    }
    return summarize(seconds);
}

// The request that comes before the data: the source and format chosen, the preamble read back.
Timing preambleOnly(int port, int reps) {
    BrumelTB::ScopeTavrel scope(std::make_shared<CorvaneIOUtilsLib::IOManager>());
    scope.Open(lanAddress(port));
    std::vector<double> seconds;
    for (int i = 0; i < reps; ++i) {
        QElapsedTimer timer;
        timer.start();
        scope.QueryText(kSelect + QStringLiteral(";PREamble?"));
        seconds.push_back(timer.nsecsElapsed() / 1e9);
    }
    return summarize(seconds);
}

// What converting alone costs on this machine: a block already in memory into arrays handed back.
Timing convertOnly(int reps) {
    BrumelTB::WaveformPreamble preamble;
    preamble.points = kPoints;
    preamble.xIncrement = 1e-9;
    preamble.yIncrement = 1e-4;
    preamble.yReference = 32768;
    QByteArray block(qsizetype(kBlockBytes), '\x55');
    QVector<double> time(kPoints), data(kPoints);
    std::vector<double> seconds;
    for (int i = 0; i < reps; ++i) {
        QElapsedTimer timer;
        timer.start();
        BrumelTB::ConvertSlice(preamble, reinterpret_cast<const uchar*>(block.constData()), 0, kPoints, true,
                               time.data(), data.data());
        seconds.push_back(timer.nsecsElapsed() / 1e9);
    }
    return summarize(seconds);
}

struct Ours {
    Timing fresh;  // new arrays every call
    Timing reused; // the host hands the same arrays back
    double peakBytes = 0;
    double vpp = 0;
};

Ours ours(int port, int reps) {
    BrumelTB::ScopeTavrel scope(std::make_shared<CorvaneIOUtilsLib::IOManager>());
    scope.Open(lanAddress(port));
    Ours result;
    {
        // First, while nothing large has been allocated in this process yet.
        const long before = maxRssKiB();
        QVector<double> time, data;
        scope.GetWaveformData(Tavrel_Channel_1, Tavrel_DataPoints_ALL, time, data);
        result.peakBytes = double(maxRssKiB() - before) * 1024;
        if (data.size() != kPoints) fail(QStringLiteral("GetWaveformData gave %1 points").arg(data.size()));
        const auto [lo, hi] = std::minmax_element(data.begin(), data.end());
        result.vpp = *hi - *lo;
    }
    std::vector<double> fresh, reused;
    for (int i = 0; i < reps; ++i) {
        QVector<double> time, data;
        QElapsedTimer timer;
        timer.start();
        scope.GetWaveformData(Tavrel_Channel_1, Tavrel_DataPoints_ALL, time, data);
        fresh.push_back(timer.nsecsElapsed() / 1e9);
    }
    QVector<double> time, data;
    for (int i = 0; i < reps; ++i) {
        QElapsedTimer timer;
        timer.start();
        scope.GetWaveformData(Tavrel_Channel_1, Tavrel_DataPoints_ALL, time, data);
        reused.push_back(timer.nsecsElapsed() / 1e9);
    }
    result.fresh = summarize(fresh);
    result.reused = summarize(reused);
    return result;
}

QJsonObject pyvisa(const QString& python, const QString& script, int port, int reps) {
    QProcess process;
    process.start(python, {script, QStringLiteral("--port"), QString::number(port), QStringLiteral("--reps"),
                           QString::number(reps), QStringLiteral("--points"), QString::number(kPoints)});
    if (!process.waitForFinished(600000) || process.exitCode() != 0)
        fail(QStringLiteral("%1 failed: %2")
                 .arg(script, QString::fromLocal8Bit(process.readAllStandardError())));
    return QJsonDocument::fromJson(process.readAllStandardOutput()).object();
}

double mbPerSecond(double seconds) {
    return kBlockBytes / seconds / 1e6;
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    const QString binDir = QCoreApplication::applicationDirPath();
    const QStringList args = app.arguments();
    const int reps = args.size() > 1 ? args[1].toInt() : 15;
    const QString simBinary = binDir + QStringLiteral("/tavrel-sim");
    const QString script = QStringLiteral(TAVREL_BENCH_DIR "/pyvisa_waveform.py");
    const QString python = QStringLiteral("/usr/bin/python3");

    QProcess sim;
    const int port = startSimulator(sim, simBinary);
    configure(port);

    // Each reader has the instrument to itself: the simulator serves one client at a time.
    const Ours our = ours(port, reps);
    const Timing library = ioLibrary(port, reps);
    const Timing preamble = preambleOnly(port, reps);
    qint64 floorBytes = 0;
    const Timing floor = plainSocket(port, reps, floorBytes);
    const QJsonObject py = pyvisa(python, script, port, std::max(3, reps / 3));
    sim.terminate();
    sim.waitForFinished(5000);
    if (floorBytes != qint64(kBlockBytes)) fail(QStringLiteral("the block has %1 bytes").arg(floorBytes));
    const Timing pv{py[QStringLiteral("best_s")].toDouble(), py[QStringLiteral("median_s")].toDouble()};

    std::printf("Waveform transfer: %d WORD points (%.0f-byte block) from tavrel-sim over localhost TCP\n",
                kPoints, kBlockBytes);
    std::printf("%d repetitions each (pyvisa-py %d); MB/s counts the block's bytes; ratios use medians\n\n",
                reps, std::max(3, reps / 3));
    std::printf("| reader | best (ms) | median (ms) | MB/s | pyvisa-py / this | this vs floor |\n");
    std::printf("|---|---:|---:|---:|---:|---:|\n");
    const auto row = [&](const char* name, const Timing& t) {
        std::printf("| %s | %.2f | %.2f | %.0f | %.1fx | %.0f %% |\n", name, t.best * 1e3, t.median * 1e3,
                    mbPerSecond(t.median), pv.median / t.median, floor.median / t.median * 100);
    };
    row("GetWaveformData, arrays handed back (in/out)", our.reused);
    row("GetWaveformData, new arrays each call", our.fresh);
    row("our I/O library: DATA? + ReadIEEEBlock, bytes only", library);
    row("plain POSIX socket, bytes only (floor)", floor);
    std::printf("| the request before the data: source, format and preamble | %.2f | %.2f | | | |\n",
                preamble.best * 1e3, preamble.median * 1e3);
    row(qPrintable(QStringLiteral("pyvisa-py %1 query_binary_values + numpy")
                       .arg(py[QStringLiteral("pyvisa_py")].toString())),
        pv);

    std::printf(
        "\nPeak memory of the first GetWaveformData (maxrss delta): %.1f MB; the waveform's own size is "
        "the time and voltage arrays, 2 x 8 B x %d = %.1f MB; ratio %.2f\n",
        our.peakBytes / 1e6, kPoints, kWaveformBytes / 1e6, our.peakBytes / kWaveformBytes);
    std::printf("Channel 1 Vpp: ours %.3f V, pyvisa-py %.3f V\n", our.vpp,
                py[QStringLiteral("vpp")].toDouble());
    const Timing convert = convertOnly(reps);
    std::printf(
        "Converting alone (a block in memory to 16 MB of doubles, no I/O) takes %.2f ms best, %.2f ms "
        "median here; 70 %% of the floor's speed leaves %.2f ms for transfer and conversion together.\n\n",
        convert.best * 1e3, convert.median * 1e3, floor.median / 0.7 * 1e3);

    const auto verdict = [](bool met) { return met ? "met" : "NOT met"; };
    const double memory = our.peakBytes / kWaveformBytes;
    // Medians decide; the ratio of the best times follows in brackets.
    std::printf("| target | arrays handed back | new arrays each call |\n|---|---|---|\n");
    const auto speedup = [&](const Timing& t) { return pv.median / t.median; };
    const auto speedupBest = [&](const Timing& t) { return pv.best / t.best; };
    const auto ofFloor = [&](const Timing& t) { return floor.median / t.median; };
    const auto ofFloorBest = [&](const Timing& t) { return floor.best / t.best; };
    std::printf("| >= 10x faster than pyvisa-py | %.1fx (%.1fx) %s | %.1fx (%.1fx) %s |\n",
                speedup(our.reused), speedupBest(our.reused), verdict(speedup(our.reused) >= 10),
                speedup(our.fresh), speedupBest(our.fresh), verdict(speedup(our.fresh) >= 10));
    std::printf("| >= 70 %% of the plain socket's speed | %.0f %% (%.0f %%) %s | %.0f %% (%.0f %%) %s |\n",
                ofFloor(our.reused) * 100, ofFloorBest(our.reused) * 100, verdict(ofFloor(our.reused) >= 0.7),
                ofFloor(our.fresh) * 100, ofFloorBest(our.fresh) * 100, verdict(ofFloor(our.fresh) >= 0.7));
    std::printf("| peak memory < 3x the waveform's size (first call) | | %.2fx %s |\n", memory,
                verdict(memory < 3));
    return 0;
}
