// The speed of the component, one table: the transfer of 1,000,000 WORD points from tavrel-sim over
// localhost TCP through GetWaveformData (arrays handed back, and new arrays each call), the raw-sample
// read (codes and float volts), all four channels at once, against Debian's pyvisa-py doing the same
// with numpy and against two floors measured in the same run: a plain socket reading only the block's
// bytes, and the same read followed by writing the two double arrays once. Then small-query rates
// (LatencyBench.cpp) and the peak memory of one GetWaveformData.
#include "BenchSupport.h"
#include "automation/AcquisitionTavrel.h"
#include "automation/AnalogChannelsTavrel.h"
#include "automation/ScopeTavrel.h"
#include "automation/WaveformPreamble.h"
#include "iolib/IOManager.h"

#include <QCoreApplication>
#include <QThread>
#include <arpa/inet.h>
#include <functional>
#include <memory>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

using namespace bench;

namespace {

constexpr int kPoints = 1000000;
constexpr int kChannels = 4;
constexpr double kBlockBytes = 2.0 * kPoints;
// What the waveform itself takes in memory: the time and the voltage arrays, 8 bytes a point each.
constexpr double kWaveformBytes = 2.0 * 8 * kPoints;
const QString kSelect =
    QStringLiteral(":WAVeform:SOURce CHANnel1;FORMat WORD;BYTeorder LSBFirst;POINts MAXimum");

long maxRssKiB() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

std::unique_ptr<BrumelTB::ScopeTavrel> openScope(int port) {
    auto scope = std::make_unique<BrumelTB::ScopeTavrel>(std::make_shared<CorvaneIOUtilsLib::IOManager>());
    scope->Open(lanAddress(port));
    return scope;
}

// One acquisition of a million points on every channel, kept: the scope is stopped afterwards, so
// every reader below gets the same bytes.
void configure(int port) {
    auto scope = openScope(port);
    scope->Reset();
    scope->Acquisition().SetPoints(kPoints);
    for (auto channel : {Tavrel_Channel_1, Tavrel_Channel_2, Tavrel_Channel_3, Tavrel_Channel_4})
        scope->AnalogChannels().Item(channel).SetDisplay(Tavrel_On);
    scope->Digitize();
    scope->Execute(kSelect);
}

struct Floors {
    Timing bytes;
    Timing arrays;
    Timing sameRequest; // the bytes of the raw codes read's request
};

struct Ours {
    Timing fresh;   // new arrays every call
    Timing reused;  // the host hands the same arrays back
    Timing codes;   // raw samples as sent, buffer handed back
    Timing volts;   // raw samples as float volts, buffer handed back
    Timing single4; // four single-channel reads, arrays handed back
    Timing all4;    // GetAllWaveformData of four channels, a new list each call
    double peakBytes = 0;
    double vpp = 0;
};

// Each reader opens its own connection and gives the body to time; the connection closes when the
// body goes.
using Body = std::function<void()>;
struct Reader {
    const char* name;
    std::function<Body()> open;
    std::vector<double> seconds;
};

// The readers take turns, a few transfers each per round, so that whatever else the machine does
// weighs on all of them alike. The first transfer after connecting is not counted.
void interleave(std::vector<Reader>& readers, int rounds, int perRound) {
    for (int r = 0; r < rounds; ++r)
        for (Reader& reader : readers) {
            const Body body = reader.open();
            body();
            for (int i = 0; i < perRound; ++i) {
                QElapsedTimer timer;
                timer.start();
                body();
                reader.seconds.push_back(double(timer.nsecsElapsed()) / 1e9);
            }
        }
}

template <typename State> Body withState(std::shared_ptr<State> state, std::function<void(State&)> f) {
    return [state, f] { f(*state); };
}

struct ScopeState {
    explicit ScopeState(int port) : scope(openScope(port)) {}
    std::unique_ptr<BrumelTB::ScopeTavrel> scope;
    QVector<double> time[kChannels], data[kChannels];
    BrumelTB::WaveformSamples samples;
};

// The first GetWaveformData in this process, while nothing large has been allocated yet: its peak
// memory, and the waveform's swing for comparison with pyvisa-py's.
void firstCall(int port, double& peakBytes, double& vpp) {
    auto scope = openScope(port);
    const long before = maxRssKiB();
    QVector<double> time, data;
    scope->GetWaveformData(Tavrel_Channel_1, Tavrel_DataPoints_ALL, time, data);
    peakBytes = double(maxRssKiB() - before) * 1024;
    if (data.size() != kPoints) fail(QStringLiteral("GetWaveformData gave %1 points").arg(data.size()));
    const auto [lo, hi] = std::minmax_element(data.cbegin(), data.cend());
    vpp = *hi - *lo;
}

std::vector<Reader> readers(int port) {
    const auto scope = [port](std::function<void(ScopeState&)> f) {
        return [port, f] { return withState(std::make_shared<ScopeState>(port), f); };
    };
    const auto plain = [port](std::function<void(PlainSocket&)> f) {
        return [port, f] { return withState(std::make_shared<PlainSocket>(port), f); };
    };
    using BrumelTB::WaveformSamples;
    const auto samples = [](ScopeState& s, WaveformSamples::Kind kind) {
        s.scope->GetWaveformSamples(Tavrel_Channel_1, Tavrel_DataPoints_ALL, kind, s.samples);
        if (s.samples.size() != kPoints)
            fail(QStringLiteral("GetWaveformSamples gave %1").arg(s.samples.size()));
    };
    return {
        {"GetWaveformData, arrays handed back",
         scope([](ScopeState& s) {
             s.scope->GetWaveformData(Tavrel_Channel_1, Tavrel_DataPoints_ALL, s.time[0], s.data[0]);
         }),
         {}},
        {"GetWaveformData, new arrays each call",
         scope([](ScopeState& s) {
             QVector<double> time, data;
             s.scope->GetWaveformData(Tavrel_Channel_1, Tavrel_DataPoints_ALL, time, data);
         }),
         {}},
        {"GetWaveformSamples, codes, buffer handed back",
         scope([=](ScopeState& s) { samples(s, WaveformSamples::Codes); }),
         {}},
        {"GetWaveformSamples, float volts, buffer handed back",
         scope([=](ScopeState& s) { samples(s, WaveformSamples::Volts); }),
         {}},
        {"four GetWaveformData, arrays handed back",
         scope([](ScopeState& s) {
             for (int c = 0; c < kChannels; ++c)
                 s.scope->GetWaveformData(Tavrel_AnalogChannels(c + 1), Tavrel_DataPoints_ALL, s.time[c],
                                          s.data[c]);
         }),
         {}},
        {"GetAllWaveformData, four channels, a new list each call",
         scope([](ScopeState& s) {
             if (s.scope->GetAllWaveformData(Tavrel_DataPoints_ALL).size() != kChannels)
                 fail(QStringLiteral("GetAllWaveformData missed a channel"));
         }),
         {}},
        {"plain POSIX socket, bytes only (bytes floor)", plain([](PlainSocket& p) { p.readBlock(); }), {}},
        {"plain POSIX socket, the raw codes read's one-message request",
         plain([](PlainSocket& p) { p.readBlock(kSelect.toLatin1() + ";DATA?;PREamble?\n"); }),
         {}},
        {"plain POSIX socket + writing two double arrays (arrays floor)",
         plain([](PlainSocket& p) {
             // Arrays the size of the waveform's, kept from call to call like arrays handed back.
             static std::vector<double> time(kPoints), volts(kPoints);
             const auto block = p.readBlock();
             std::fill(time.begin(), time.end(), double(block[0]));
             std::fill(volts.begin(), volts.end(), double(block[1]));
         }),
         {}},
        {"the request before the data: source, format, preamble",
         scope([](ScopeState& s) { s.scope->QueryText(kSelect + QStringLiteral(";PREamble?")); }),
         {}},
    };
}

double mbPerSecond(double seconds) {
    return kBlockBytes / seconds / 1e6;
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    const int reps = args.size() > 1 ? std::max(3, args[1].toInt()) : 15;
    const int pyReps = std::max(3, reps / 3);

    QProcess sim;
    const SimPorts ports = startSimulator(sim, QCoreApplication::applicationDirPath() + "/tavrel-sim");
    // The query rates first, on the scope's default record, so that a measurement is as quick as the
    // instrument makes it; then the large acquisition for the transfers.
    const int rounds = std::max(5, reps / 2);
    const Latency simLatency = measureLatency(ports.scopeTcp, ports.comPty, rounds);
    const Latency latency = measureBareLatency(ports.scopeTcp, rounds);
    configure(ports.scopeTcp);

    // Each reader has the instrument to itself while it reads: the simulator serves one client at a time.
    Ours our;
    firstCall(ports.scopeTcp, our.peakBytes, our.vpp);
    std::vector<Reader> all = readers(ports.scopeTcp);
    constexpr int kPerRound = 3;
    interleave(all, std::max(1, reps / kPerRound), kPerRound);
    Timing* into[] = {&our.reused, &our.fresh, &our.codes, &our.volts, &our.single4, &our.all4};
    for (size_t i = 0; i < std::size(into); ++i)
        *into[i] = summarize(all[i].seconds);
    Floors floors{summarize(all[6].seconds), summarize(all[8].seconds), summarize(all[7].seconds)};
    const Timing preamble = summarize(all[9].seconds);
    const QJsonObject py =
        runPython(QStringLiteral(TAVREL_BENCH_DIR "/pyvisa_waveform.py"),
                  {QStringLiteral("--port"), QString::number(ports.scopeTcp), QStringLiteral("--reps"),
                   QString::number(pyReps), QStringLiteral("--points"), QString::number(kPoints)});
    sim.terminate();
    sim.waitForFinished(5000);
    const Timing pv{py[QStringLiteral("best_s")].toDouble(), py[QStringLiteral("median_s")].toDouble()};

    std::printf("Transfers: %d WORD points (a %.0f-byte block) from tavrel-sim over localhost TCP, %d "
                "repetitions each (pyvisa-py %d); MB/s counts the block's bytes; ratios use medians\n\n",
                kPoints, kBlockBytes, reps, pyReps);
    std::printf("| reader | best (ms) | median (ms) | MB/s |\n|---|---:|---:|---:|\n");
    const auto row = [&](const QString& name, const Timing& t, double blocks = 1) {
        const QString rate = blocks > 0 ? QString::number(blocks * mbPerSecond(t.median), 'f', 0) : QString();
        std::printf("| %s | %.2f | %.2f | %s |\n", qPrintable(name), t.best * 1e3, t.median * 1e3,
                    qPrintable(rate));
    };
    row(QStringLiteral("GetWaveformData, arrays handed back"), our.reused);
    row(QStringLiteral("GetWaveformData, new arrays each call"), our.fresh);
    row(QStringLiteral("GetWaveformSamples, codes, buffer handed back"), our.codes);
    row(QStringLiteral("GetWaveformSamples, float volts, buffer handed back"), our.volts);
    row(QStringLiteral("four GetWaveformData, arrays handed back"), our.single4, kChannels);
    row(QStringLiteral("GetAllWaveformData, four channels, a new list each call"), our.all4, kChannels);
    row(QStringLiteral("plain POSIX socket, bytes only (bytes floor)"), floors.bytes);
    row(QStringLiteral("plain POSIX socket, the raw codes read's one-message request"), floors.sameRequest);
    row(QStringLiteral("plain POSIX socket + writing two double arrays (arrays floor)"), floors.arrays);
    row(QStringLiteral("the request before the data: source, format, preamble"), preamble, 0);
    row(QStringLiteral("pyvisa-py %1 query_binary_values + numpy")
            .arg(py[QStringLiteral("pyvisa_py")].toString()),
        pv);

    std::printf("\nQueries a second (median of %d rounds) over localhost TCP and a pseudo-terminal, of "
                "tavrel-sim and of a bare responder that answers each line at once with the simulator's "
                "reply\n\n| query, server | ours TCP | plain socket TCP | pyvisa-py TCP | ours terminal | "
                "plain terminal | pyvisa-py terminal |\n|---|---:|---:|---:|---:|---:|---:|\n",
                rounds);
    const auto rates = [](const char* name, const char* server, const QueryRates& tcp,
                          const QueryRates& pty) {
        std::printf("| %s, %s | %.0f | %.0f | %.0f | %.0f | %.0f | %.0f |\n", name, server, tcp.ours,
                    tcp.floor, tcp.pyvisa, pty.ours, pty.floor, pty.pyvisa);
    };
    rates("*IDN?", "tavrel-sim", simLatency.idnTcp, simLatency.idnPty);
    rates(":MEASure:FREQuency?", "tavrel-sim", simLatency.freqTcp, simLatency.freqPty);
    rates("*IDN?", "bare responder", latency.idnTcp, latency.idnPty);
    rates(":MEASure:FREQuency?", "bare responder", latency.freqTcp, latency.freqPty);

    const double memory = our.peakBytes / kWaveformBytes;
    std::printf("\nChannel 1 Vpp: ours %.3f V, pyvisa-py %.3f V. Peak memory of the first GetWaveformData "
                "(maxrss delta) %.1f MB against the waveform's own %.1f MB.\n\n",
                our.vpp, py[QStringLiteral("vpp")].toDouble(), our.peakBytes / 1e6, kWaveformBytes / 1e6);

    Verdicts v;
    const auto speed = [](const Timing& floor, const Timing& t) { return floor.median / t.median; };
    v.atLeast(QStringLiteral("handed back: pyvisa-py time / ours"), speed(pv, our.reused), 10,
              times(speed(pv, our.reused)), QStringLiteral(">= 10x"));
    v.atLeast(QStringLiteral("new arrays: pyvisa-py time / ours"), speed(pv, our.fresh), 10,
              times(speed(pv, our.fresh)), QStringLiteral(">= 10x"));
    v.atLeast(QStringLiteral("new arrays: time / handed-back time"),
              1.3 - our.fresh.median / our.reused.median, 0,
              QString::number(our.fresh.median / our.reused.median, 'f', 2), QStringLiteral("<= 1.30"));
    v.atLeast(QStringLiteral("handed back: of the arrays floor's speed"), speed(floors.arrays, our.reused),
              0.7, percent(speed(floors.arrays, our.reused)), QStringLiteral(">= 70 %"));
    v.atLeast(QStringLiteral("new arrays: of the arrays floor's speed"), speed(floors.arrays, our.fresh), 0.6,
              percent(speed(floors.arrays, our.fresh)), QStringLiteral(">= 60 %"));
    v.info(QStringLiteral("handed back: of the bytes floor's speed"),
           percent(speed(floors.bytes, our.reused)));
    v.info(QStringLiteral("new arrays: of the bytes floor's speed"), percent(speed(floors.bytes, our.fresh)));
    v.atLeast(QStringLiteral("raw codes: of the bytes floor's speed"), speed(floors.bytes, our.codes), 0.9,
              percent(speed(floors.bytes, our.codes)), QStringLiteral(">= 90 %"));
    v.atLeast(QStringLiteral("raw float volts: of the bytes floor's speed"), speed(floors.bytes, our.volts),
              0.9, percent(speed(floors.bytes, our.volts)), QStringLiteral(">= 90 %"));
    // The same request on a plain socket: what selecting the source on every read costs the instrument.
    v.info(QStringLiteral("raw codes: of a plain socket's speed with the same request"),
           percent(speed(floors.sameRequest, our.codes)));
    v.atLeast(QStringLiteral("all four channels: of four single reads' speed"), speed(our.single4, our.all4),
              0.9, percent(speed(our.single4, our.all4)), QStringLiteral(">= 90 %"));
    // Held to the bare responder: tavrel-sim's own turnaround is the same for every client.
    const auto queries = [&](const QString& name, const QueryRates& tcp, const QueryRates& pty) {
        v.atLeast(name + QStringLiteral(" over TCP: ours / pyvisa-py"), tcp.ours / tcp.pyvisa, 5,
                  times(tcp.ours / tcp.pyvisa), QStringLiteral(">= 5x"));
        v.atLeast(name + QStringLiteral(" over TCP: of the plain socket's rate"), tcp.ours / tcp.floor, 0.8,
                  percent(tcp.ours / tcp.floor), QStringLiteral(">= 80 %"));
        v.info(name + QStringLiteral(" over TCP: plain socket / pyvisa-py, the most any client gains"),
               times(tcp.floor / tcp.pyvisa));
        v.atLeast(name + QStringLiteral(" over a terminal: ours / pyvisa-py"), pty.ours / pty.pyvisa, 5,
                  times(pty.ours / pty.pyvisa), QStringLiteral(">= 5x"));
        v.info(name + QStringLiteral(" over a terminal: plain terminal / pyvisa-py"),
               times(pty.floor / pty.pyvisa));
    };
    queries(QStringLiteral("*IDN?"), latency.idnTcp, latency.idnPty);
    queries(QStringLiteral(":MEASure:FREQuency?"), latency.freqTcp, latency.freqPty);
    v.atLeast(QStringLiteral("peak memory of the first call / the waveform's size"), 3 - memory, 0,
              QString::number(memory, 'f', 2) + QLatin1Char('x'), QStringLiteral("< 3x"));
    std::printf("Processor cores: %d (QThread::idealThreadCount)\n\n", QThread::idealThreadCount());
    v.print();
    return 0;
}
