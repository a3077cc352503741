// A soak: one control against tavrel-sim for a bounded time, doing a random (seeded) mix of what a
// host does, while the instrument's faults come and go. The simulator takes its faults from its bench
// file when it starts, so it is restarted now and then with another bench file (the instrument
// "reboots" with a fault, or with none), sometimes killed in the middle of an operation, and
// sometimes left off for a while. At the end: the operations done, the errors by kind, the largest
// resident memory, whether memory stayed flat after the first minute, and that nothing crashed or
// hung. A watchdog aborts the run, saying which operation, when one does not return in time.
//
//   soak [--seconds N] [--seed N] [--hang-seconds N] [--protocol socket|vxi11|hislip] [--row]
//
// Exit status 0 when memory stayed flat, every failure was one of the component's own errors and a
// healthy instrument never seemed to give a wrong answer (with --row, the row says so instead).
#include "base/CDebug.h"
#include "base/TavrelError.h"
#include "iolib/IOError.h"
#include "iolib/IOSession.h"
#include <tavrel/TavrelScope.h>

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QMap>
#include <QProcess>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QThread>
#include <arpa/inet.h>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <malloc.h>
#include <netinet/in.h>
#include <numeric>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <vector>

#if defined(__SANITIZE_ADDRESS__)
#define SOAK_UNDER_ASAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define SOAK_UNDER_ASAN 1
#endif
#endif

namespace {

using CorvaneIOUtilsLib::IOError;

[[noreturn]] void fail(const QString& message) {
    std::fprintf(stderr, "soak: %s\n", qPrintable(message));
    std::exit(2);
}

// A field of /proc/self/status in KiB ("VmRSS", "VmHWM").
qint64 statusKiB(const char* field) {
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly)) return 0;
    const QByteArray prefix = QByteArray(field) + ':';
    for (const QByteArray& line : status.readAll().split('\n'))
        if (line.startsWith(prefix))
            return line.mid(prefix.size()).trimmed().split(' ').value(0).toLongLong();
    return 0;
}

// The resident memory with the allocator's free pages given back, so that what is compared is what
// is in use rather than what the allocator happens to keep.
qint64 settledRssKiB() {
    malloc_trim(0);
    return statusKiB("VmRSS");
}

QString mib(qint64 kib) {
    return QString::number(double(kib) / 1024, 'f', 1);
}

quint16 freeLoopbackPort() {
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    if (fd < 0 || ::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
        ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) != 0)
        fail(QStringLiteral("no free TCP port on 127.0.0.1"));
    ::close(fd);
    return ntohs(address.sin_port);
}

// What the scope is like for one stretch of the run.
struct Phase {
    QString name;      // as the report counts it
    QByteArray faults; // the bench file's "faults" object; empty for none
    bool off = false;  // no simulator at all: the instrument is switched off
    bool healthy() const { return !off && faults.isEmpty(); }
};

Phase randomPhase(QRandomGenerator& rng) {
    const int pick = rng.bounded(100);
    if (pick < 35) return {QStringLiteral("healthy"), {}};
    if (pick < 43) return {QStringLiteral("switched off"), {}, true};
    if (pick < 55) {
        // Either well within the 2 s timeout (every query slow) or past it (every query times out).
        const int delay = rng.bounded(2) ? 50 + rng.bounded(700) : 2200 + rng.bounded(1500);
        return {QStringLiteral("replies late"),
                QByteArray("{\"reply_delay_ms\": ") + QByteArray::number(delay) + "}"};
    }
    if (pick < 70)
        return {QStringLiteral("drops the connection"),
                QByteArray("{\"drop_after_bytes\": ") + QByteArray::number(16 + rng.bounded(400000)) + "}"};
    if (pick < 82)
        return {QStringLiteral("truncates blocks"),
                QByteArray("{\"truncate_blocks\": ") + QByteArray::number(1 + rng.bounded(5000)) + "}"};
    if (pick < 91) return {QStringLiteral("no comma in *IDN?"), "{\"no_comma\": true}"};
    return {QStringLiteral("silent"), "{\"silent\": true}"};
}

// tavrel-sim serving one TV100A (GPIB0::7) on fixed ports of 127.0.0.1, restarted for every phase:
// the same address reaches each of its instruments in turn.
class Simulator {
public:
    enum Protocol { Socket, Vxi11, Hislip };

    Simulator(QString binary, QString folder, Protocol protocol)
        : m_binary(std::move(binary)), m_folder(std::move(folder)), m_protocol(protocol) {
        m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    }
    ~Simulator() { stop(); }

    // The scope's address over the protocol. Its ports are chosen once, and again only when someone
    // else took one of them.
    QString address() {
        if (m_ports[0] == 0)
            for (quint16& port : m_ports)
                port = freeLoopbackPort();
        switch (m_protocol) {
        case Vxi11:
            qputenv("TAVREL_PORTMAPPER_PORT", QByteArray::number(m_ports[1]));
            return QStringLiteral("TCPIP0::127.0.0.1::gpib0,7::INSTR");
        case Hislip:
            return QStringLiteral("TCPIP0::127.0.0.1::hislip1,%1::INSTR").arg(m_ports[2]);
        default:
            return QStringLiteral("TCPIP0::127.0.0.1::%1::SOCKET").arg(m_ports[0]);
        }
    }
    // For the watchdog thread: the process to kill (0 when none runs).
    std::atomic<qint64> pid{0};
    // Set by whoever kills the simulator on purpose, so that its end is not taken for a crash.
    std::atomic<bool> killedOnPurpose{false};
    int starts = 0;
    int unexpectedExits = 0;

    // Starts it with the phase's faults; false when it did not get ready (its port taken meanwhile).
    bool start(const Phase& phase) {
        const QString bench = QDir(m_folder).filePath(QStringLiteral("bench.json"));
        QFile file(bench);
        QByteArray device =
            R"({"address": 7, "kind": "tavrel", "model": "TV100A", "serial": "CT41000107", "firmware": "A.01.02")";
        if (!phase.faults.isEmpty()) device += ", \"faults\": " + phase.faults;
        const QByteArray json = R"({"gpib": [{"board": 0, "devices": [)" + device + "}]}], \"com\": []}";
        if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) || file.write(json) != json.size())
            fail(QStringLiteral("cannot write %1").arg(bench));
        file.close();
        killedOnPurpose = false;
        const QString served = address();
        m_served.clear();
        m_process.start(m_binary, {QStringLiteral("--quiet"), QStringLiteral("--bench"), bench,
                                   QStringLiteral("--port-base"), QString::number(m_ports[0]),
                                   QStringLiteral("--portmapper-port"), QString::number(m_ports[1]),
                                   QStringLiteral("--hislip-port"), QString::number(m_ports[2])});
        if (!m_process.waitForStarted(10000)) fail(QStringLiteral("cannot start %1").arg(m_binary));
        pid = m_process.processId();
        ++starts;
        for (;;) {
            if (!m_process.canReadLine() && !m_process.waitForReadyRead(10000)) {
                killedOnPurpose = true; // it could not listen: no crash
                stop();
                m_ports[0] = 0; // someone else has a port now: the next start picks others
                return false;
            }
            while (m_process.canReadLine()) {
                // "GPIB0::7::INSTR TV100A vxi11 TCPIP0::127.0.0.1::gpib0,7::INSTR"; then "ready".
                const QString line = QString::fromLatin1(m_process.readLine()).trimmed();
                if (line == QLatin1String("ready")) {
                    if (m_served.contains(served)) return true;
                    fail(QStringLiteral("tavrel-sim does not serve %1").arg(served));
                }
                const QStringList f = line.split(QLatin1Char(' '));
                if (f.size() >= 4 && f[0] == QLatin1String("GPIB0::7::INSTR"))
                    m_served << (f[2] == QLatin1String("tcp")
                                     ? QStringLiteral("TCPIP0::%1::SOCKET")
                                           .arg(QString(f[3]).replace(QLatin1Char(':'), QLatin1String("::")))
                                     : f[3]);
            }
        }
    }

    void stop(bool gracefully = true) {
        noteEndIfFinished();
        if (m_process.state() == QProcess::NotRunning) return;
        killedOnPurpose = true;
        if (gracefully) {
            m_process.terminate();
            if (m_process.waitForFinished(5000)) {
                pid = 0;
                return;
            }
        }
        m_process.kill();
        m_process.waitForFinished(5000);
        pid = 0;
    }

    // Counts an end that nobody asked for: the simulator crashed or quit by itself.
    void noteEndIfFinished() {
        if (pid == 0 || (m_process.state() != QProcess::NotRunning && !m_process.waitForFinished(0))) return;
        if (!killedOnPurpose) ++unexpectedExits;
        pid = 0;
    }

private:
    QString m_binary;
    QString m_folder;
    Protocol m_protocol;
    QProcess m_process;
    quint16 m_ports[3] = {}; // the raw socket's, the portmapper's, the HiSLIP server's
    QStringList m_served;    // the addresses it printed for the scope
};

// Watches the operation under way from a thread of its own: aborts the run, saying which, when one
// takes longer than the limit; and kills the simulator at the end of a phase that ends in a power
// loss, whatever operation is then under way.
class Watchdog {
public:
    Watchdog(Simulator& sim, int limitSeconds, quint32 seed)
        : m_sim(sim), m_limitMs(limitSeconds * 1000LL), m_seed(seed) {
        m_clock.start();
        m_thread = std::thread([this] { run(); });
    }
    ~Watchdog() {
        m_stop = true;
        m_thread.join();
    }
    void begin(const char* operation, qint64 number) {
        m_operation = operation;
        m_number = number;
        m_startedMs = m_clock.elapsed();
    }
    void end() { m_startedMs = -1; }
    // The simulator dies at this point of the run (ms on the watchdog's clock; -1: it does not).
    void powerLossAt(qint64 ms) { m_powerLossMs = ms; }
    qint64 elapsedMs() const { return m_clock.elapsed(); }

private:
    void run() {
        while (!m_stop) {
            QThread::msleep(100);
            const qint64 now = m_clock.elapsed();
            qint64 loss = m_powerLossMs;
            if (loss >= 0 && now >= loss && m_powerLossMs.compare_exchange_strong(loss, -1)) {
                if (const qint64 pid = m_sim.pid; pid > 0) {
                    m_sim.killedOnPurpose = true;
                    ::kill(pid_t(pid), SIGKILL);
                }
            }
            const qint64 started = m_startedMs;
            if (started >= 0 && now - started > m_limitMs) {
                std::fprintf(stderr,
                             "soak: HANG: %s (operation %lld) has not returned after %lld s; seed %u. "
                             "Aborting.\n",
                             m_operation.load(), static_cast<long long>(m_number.load()),
                             static_cast<long long>((now - started) / 1000), m_seed);
                if (const qint64 pid = m_sim.pid; pid > 0) ::kill(pid_t(pid), SIGKILL);
                std::abort();
            }
        }
    }

    Simulator& m_sim;
    const qint64 m_limitMs;
    const quint32 m_seed;
    QElapsedTimer m_clock;
    std::atomic<const char*> m_operation{""};
    std::atomic<qint64> m_number{0};
    std::atomic<qint64> m_startedMs{-1};
    std::atomic<qint64> m_powerLossMs{-1};
    std::atomic<bool> m_stop{false};
    std::thread m_thread;
};

// "0x8004003B I/O Dropped", "0x80040201 the instrument answered …": an error's number and what kind
// it is. The text is cut where it starts quoting what the instrument sent, and its figures made one,
// so that errors of a kind count together.
QString errorKind(const TavrelError& e) {
    if (const auto* io = dynamic_cast<const IOError*>(&e))
        return e.hexNumber() + QStringLiteral(" I/O ") + IOError::kindName(io->kind());
    static const QRegularExpression figures(QStringLiteral("[-+]?[0-9][0-9.,:E+-]*"));
    QString text = e.description().section(QLatin1Char('\n'), 0, 0).trimmed();
    const qsizetype quote = text.indexOf(QLatin1Char('"'));
    if (quote >= 0) text = text.left(quote) + QStringLiteral("\u2026");
    text.replace(figures, QStringLiteral("#"));
    if (text.size() > 70) text = text.left(69) + QStringLiteral("\u2026");
    return e.hexNumber() + QLatin1Char(' ') + text;
}

QString firstLine(const QString& text) {
    QString line = text.section(QLatin1Char('\n'), 0, 0).trimmed();
    return line.size() > 110 ? line.left(107) + QStringLiteral("...") : line;
}

struct Tally {
    qint64 done = 0;
    qint64 failed = 0;
    qint64 longestMs = 0;
};

struct ErrorCount {
    qint64 count = 0;
    QString example;
};

} // namespace

int main(int argc, char** argv) {
    // The diagnostics' log file goes to a folder of the run's own.
    QTemporaryDir folder;
    if (!folder.isValid()) fail(QStringLiteral("no temporary folder"));
    qputenv("TMPDIR", QFile::encodeName(folder.path()));
    qunsetenv("TAVREL_IO"); // the computer's own sockets
    QCoreApplication app(argc, argv);

    QCommandLineParser cli;
    cli.setApplicationDescription(QStringLiteral("A control against tavrel-sim whose faults come and go."));
    cli.addHelpOption();
    const QCommandLineOption secondsOption(QStringLiteral("seconds"),
                                           QStringLiteral("How long (default 600)."), QStringLiteral("N"),
                                           QStringLiteral("600"));
    const QCommandLineOption seedOption(QStringLiteral("seed"), QStringLiteral("Seed of the random mix."),
                                        QStringLiteral("N"));
    const QCommandLineOption hangOption(QStringLiteral("hang-seconds"),
                                        QStringLiteral("An operation this long is a hang (default 30)."),
                                        QStringLiteral("N"), QStringLiteral("30"));
    const QCommandLineOption rowOption(
        QStringLiteral("row"), QStringLiteral("Print only the verdict, as a row of bench/run.sh's table."));
    const QCommandLineOption protocolOption(QStringLiteral("protocol"),
                                            QStringLiteral("socket (default), vxi11 or hislip."),
                                            QStringLiteral("NAME"), QStringLiteral("socket"));
    cli.addOptions({secondsOption, seedOption, hangOption, rowOption, protocolOption});
    cli.process(app);
    bool ok = false;
    const int seconds = cli.value(secondsOption).toInt(&ok);
    if (!ok || seconds < 1) fail(QStringLiteral("--seconds must be a positive number"));
    const int hangSeconds = cli.value(hangOption).toInt(&ok);
    if (!ok || hangSeconds < 1) fail(QStringLiteral("--hang-seconds must be a positive number"));
    const quint32 seed =
        cli.isSet(seedOption) ? cli.value(seedOption).toUInt(&ok) : QRandomGenerator::system()->generate();
    if (!ok) fail(QStringLiteral("--seed must be a number"));
    QRandomGenerator rng(seed);
    const QStringList protocols = {QStringLiteral("socket"), QStringLiteral("vxi11"),
                                   QStringLiteral("hislip")};
    const qsizetype protocol = protocols.indexOf(cli.value(protocolOption));
    if (protocol < 0) fail(QStringLiteral("--protocol must be socket, vxi11 or hislip"));

    Simulator sim(QCoreApplication::applicationDirPath() + QStringLiteral("/tavrel-sim"), folder.path(),
                  static_cast<Simulator::Protocol>(protocol));
    Watchdog watchdog(sim, hangSeconds, seed);

    TavrelScope control;
    qint64 reports = 0;
    control.SetSupportMessageMode(CDebug::MessageLogBit | CDebug::EventBit);
    QObject::connect(&control, &TavrelScope::SupportMessage, [&](const QString&) { ++reports; });
    QString address;
    const auto aim = [&] {
        const QString now = sim.address();
        if (now != address) control.SetAddress(address = now);
    };
    aim();

    // A phase lasts 2 s to a fifteenth of the run (at least 4 s); a third of them end in a power loss.
    const qint64 runMs = qint64(seconds) * 1000;
    const qint64 longestPhaseMs = std::max<qint64>(4000, runMs / 15);
    Phase phase;
    qint64 phaseEndMs = 0;
    bool gracefulEnd = true;
    QMap<QString, int> phases;
    const auto nextPhase = [&] {
        watchdog.powerLossAt(-1);
        sim.stop(gracefulEnd);
        phase = randomPhase(rng);
        ++phases[phase.name];
        if (!phase.off) {
            for (int attempt = 0; !sim.start(phase); ++attempt)
                if (attempt == 5) fail(QStringLiteral("tavrel-sim does not start"));
            aim();
        }
        phaseEndMs = watchdog.elapsedMs() + 2000 + rng.bounded(int(longestPhaseMs - 2000 + 1));
        gracefulEnd = rng.bounded(3) != 0;
        watchdog.powerLossAt(gracefulEnd || phase.off ? -1 : phaseEndMs);
    };

    // The operations and how often each comes, as a host mixes them.
    qint64 wrongAnswers = 0;
    QString wrongExample;
    const auto checkIdentity = [&](const QString& identity) {
        if (phase.healthy() && !identity.startsWith(QLatin1String("CORVANE TECHNOLOGIES,TV100A,"))) {
            ++wrongAnswers;
            if (wrongExample.isEmpty()) wrongExample = firstLine(identity);
        }
    };
    const Tavrel_WaveformPoints points[] = {Tavrel_DataPoints_100,  Tavrel_DataPoints_250,
                                            Tavrel_DataPoints_500,  Tavrel_DataPoints_1000,
                                            Tavrel_DataPoints_2000, Tavrel_DataPoints_ALL};
    const auto anyPoints = [&] { return points[rng.bounded(int(std::size(points)))]; };
    const auto anyChannel = [&] { return static_cast<Tavrel_AnalogChannels>(1 + rng.bounded(4)); };
    int setupNumber = 0;
    struct Operation {
        const char* name;
        int weight;
        std::function<void()> body;
    };
    const std::vector<Operation> operations = {
        {"Initialize", 6,
         [&] {
             control.SetResetOnInitialize(rng.bounded(4) == 0);
             control.SetCheckIDOnInitialize(rng.bounded(2) == 0);
             try {
                 control.Initialize();
             } catch (const TavrelError&) {
                 QThread::msleep(100); // a host tries again after a pause
                 throw;
             }
         }},
        {"CloseConnection", 2, [&] { control.CloseConnection(); }},
        {"identify", 6, [&] { checkIdentity(control.Session().Server().Identify()); }},
        {"AutoScale", 2, [&] { control.AutoScale(); }},
        {"Digitize", 6, [&] { control.Digitize(); }},
        {"Run/Stop", 4,
         [&] {
             const int which = rng.bounded(3);
             which == 0 ? control.Run() : which == 1 ? control.StopTrigger() : control.SingleTrigger();
         }},
        {"set points", 2,
         [&] {
             // Mostly small records; now and then the largest.
             static const qint32 sizes[] = {1000, 1000, 10000, 10000, 100000, 1000000};
             control.Acquisition().SetPoints(sizes[rng.bounded(int(std::size(sizes)))]);
         }},
        {"measurement", 10,
         [&] {
             const auto quantity = static_cast<BrumelTB::MeasureTavrel::Quantity>(
                 rng.bounded(int(BrumelTB::MeasureTavrel::Quantity::DutyCycle) + 1));
             control.Measure().Value(quantity, anyChannel());
         }},
        {"GetWaveformData", 8,
         [&] {
             QVector<double> time, data;
             control.GetWaveformData(anyChannel(), anyPoints(), time, data);
         }},
        {"GetAllWaveformData", 3,
         [&] {
             QList<BrumelTB::ChannelWaveform> all;
             control.GetAllWaveformData(anyPoints(), all);
         }},
        {"GetLogicData", 3,
         [&] {
             QVector<double> time;
             QVector<quint16> data;
             control.GetLogicData(anyPoints(), time, data);
         }},
        {"GetScreenImage", 2,
         [&] { control.GetScreenImage(rng.bounded(2) ? Tavrel_ImageFormat_BMP : Tavrel_ImageFormat_PNG); }},
        {"setup get", 3,
         [&] {
             // A few setups kept, the oldest making room, as a host keeps a handful.
             SetupsTavrelScope& setups = control.Setups();
             if (setups.Count() >= 4) setups.Remove(1);
             setups.Add(QStringLiteral("Soak%1").arg(++setupNumber)).GetFromInstrument();
         }},
        {"setup send", 2,
         [&] {
             SetupsTavrelScope& setups = control.Setups();
             if (setups.Count() > 0) setups.Item(1 + rng.bounded(setups.Count())).SendToInstrument();
         }},
        {"Output/Enter", 8,
         [&] {
             QVariant reply;
             switch (rng.bounded(4)) {
             case 0:
                 control.Output(QStringLiteral("*IDN?"));
                 control.Enter(reply);
                 checkIdentity(reply.toString());
                 break;
             case 1:
                 control.Output(QStringLiteral(":MEASure:VPP? CHANnel%1").arg(1 + rng.bounded(4)));
                 control.Enter(reply, QStringLiteral("F"));
                 break;
             case 2:
                 // A command the scope does not know, and its error read back.
                 control.Output(QStringLiteral(":NOSuch:COMMand 1"));
                 control.Output(QStringLiteral(":SYSTem:ERRor?"));
                 control.Enter(reply);
                 break;
             default:
                 control.Output(QStringLiteral(":TIMebase:SCALe %1").arg(1e-6 * (1 + rng.bounded(1000))));
                 break;
             }
         }},
    };
    int totalWeight = 0;
    for (const Operation& o : operations)
        totalWeight += o.weight;

    QMap<QString, Tally> tallies;
    QMap<QString, ErrorCount> errors;
    qint64 operationsDone = 0, unexpected = 0;
    QString unexpectedExample;
    // Resident memory: settled once the first minute is over (a quarter of a shorter run), then each
    // minute, and at the end.
    const qint64 baselineMs = std::min<qint64>(60000, runMs / 4);
    qint64 baselineKiB = -1, nextSampleMs = baselineMs;
    std::vector<qint64> samplesKiB;

    const bool row = cli.isSet(rowOption);
    if (!row)
        std::printf("soak: %d s, seed %u, %s, tavrel-sim restarted every 2 to %lld s, hang after %d s\n",
                    seconds, seed, qPrintable(address), static_cast<long long>(longestPhaseMs / 1000),
                    hangSeconds);
    std::fflush(stdout);
    while (watchdog.elapsedMs() < runMs) {
        if (watchdog.elapsedMs() >= phaseEndMs) nextPhase();
        QCoreApplication::processEvents();
        sim.noteEndIfFinished();

        // A host that lost its instrument mostly connects again before it goes on.
        int pick = !control.InstrumentConnected() && rng.bounded(10) < 7 ? 0 : rng.bounded(totalWeight);
        const Operation* operation = &operations.front();
        for (const Operation& o : operations) {
            if (pick < o.weight) {
                operation = &o;
                break;
            }
            pick -= o.weight;
        }
        Tally& tally = tallies[QLatin1String(operation->name)];
        QElapsedTimer took;
        took.start();
        watchdog.begin(operation->name, operationsDone + 1);
        try {
            operation->body();
        } catch (const TavrelError& e) {
            ++tally.failed;
            ErrorCount& count = errors[errorKind(e)];
            if (count.count++ == 0) count.example = firstLine(e.description());
        } catch (const std::exception& e) {
            ++tally.failed;
            ++unexpected;
            if (unexpectedExample.isEmpty())
                unexpectedExample = QStringLiteral("%1: %2").arg(QLatin1String(operation->name),
                                                                 QString::fromLocal8Bit(e.what()));
        } catch (...) {
            ++tally.failed;
            ++unexpected;
            if (unexpectedExample.isEmpty())
                unexpectedExample =
                    QStringLiteral("%1: not a std::exception").arg(QLatin1String(operation->name));
        }
        watchdog.end();
        ++tally.done;
        ++operationsDone;
        tally.longestMs = std::max(tally.longestMs, took.elapsed());

        if (watchdog.elapsedMs() >= nextSampleMs) {
            samplesKiB.push_back(settledRssKiB());
            if (baselineKiB < 0) baselineKiB = samplesKiB.back();
            nextSampleMs += 60000;
        }
    }
    const qint64 endKiB = settledRssKiB();
    const qint64 peakKiB = statusKiB("VmHWM");
    control.CloseConnection();
    sim.stop();

    // A leak shows as growth past the allocator's noise: a few MiB, or 5 % of what was in use.
    if (baselineKiB < 0) baselineKiB = endKiB;
    const qint64 allowedKiB = std::max<qint64>(8 * 1024, baselineKiB / 20);
#ifdef SOAK_UNDER_ASAN
    const bool judged = false; // the sanitizer's quarantine holds freed memory on purpose
#else
    const bool judged = true;
#endif
    const bool grew = judged && endKiB - baselineKiB > allowedKiB;
    const bool passed = !grew && unexpected == 0 && wrongAnswers == 0;
    const qint64 failed = std::accumulate(tallies.cbegin(), tallies.cend(), qint64(0),
                                          [](qint64 n, const Tally& t) { return n + t.failed; });
    QString longest;
    qint64 longestMs = -1;
    for (auto it = tallies.cbegin(); it != tallies.cend(); ++it)
        if (it->longestMs > longestMs) {
            longestMs = it->longestMs;
            longest = it.key();
        }
    const QString memory = QStringLiteral("%1 \u2192 %2 MiB").arg(mib(baselineKiB), mib(endKiB));
    const char* memoryVerdict = !judged ? "not judged under AddressSanitizer" : grew ? "GREW" : "flat";
    if (row) {
        std::printf("| soak against tavrel-sim whose faults come and go, %d s: operations, crashes, hangs, "
                    "resident memory after %lld s \u2192 at the end | %lld (%lld failed), 0, 0, %s, %s | "
                    "no crash or hang, flat | %s |\n",
                    seconds, static_cast<long long>(baselineMs / 1000),
                    static_cast<long long>(operationsDone), static_cast<long long>(failed),
                    qPrintable(memory), memoryVerdict, passed ? "met" : "NOT met");
        return 0; // the verdict is in the row, as with the table's other figures
    }

    std::printf("\n| operation | done | failed | longest (s) |\n|---|---:|---:|---:|\n");
    for (auto it = tallies.cbegin(); it != tallies.cend(); ++it)
        std::printf("| %s | %lld | %lld | %.1f |\n", qPrintable(it.key()), static_cast<long long>(it->done),
                    static_cast<long long>(it->failed), double(it->longestMs) / 1000);
    std::printf("\n| error | count | for example |\n|---|---:|---|\n");
    for (auto it = errors.cbegin(); it != errors.cend(); ++it)
        std::printf("| %s | %lld | %s |\n", qPrintable(it.key()), static_cast<long long>(it->count),
                    qPrintable(it->example));
    QStringList phaseList;
    for (auto it = phases.cbegin(); it != phases.cend(); ++it)
        phaseList << QStringLiteral("%1 %2").arg(it.key()).arg(it.value());
    QStringList sampleList;
    for (qint64 kib : samplesKiB)
        sampleList << mib(kib);

    std::printf("\n| figure | value |\n|---|---|\n");
    std::printf("| seconds, seed, address | %d, %u, %s |\n", seconds, seed, qPrintable(address));
    std::printf("| operations | %lld |\n", static_cast<long long>(operationsDone));
    std::printf(
        "| failed operations | %lld |\n",
        static_cast<long long>(std::accumulate(tallies.cbegin(), tallies.cend(), qint64(0),
                                               [](qint64 n, const Tally& t) { return n + t.failed; })));
    std::printf("| diagnostics reports | %lld |\n", static_cast<long long>(reports));
    std::printf("| simulator phases | %s |\n", qPrintable(phaseList.join(QStringLiteral(", "))));
    std::printf("| simulator starts; its own exits (crashes) | %d; %d |\n", sim.starts, sim.unexpectedExits);
    std::printf("| wrong answers while healthy | %lld%s |\n", static_cast<long long>(wrongAnswers),
                wrongExample.isEmpty() ? "" : qPrintable(QStringLiteral(" (\"%1\")").arg(wrongExample)));
    std::printf("| errors other than the component's | %lld%s |\n", static_cast<long long>(unexpected),
                unexpectedExample.isEmpty() ? ""
                                            : qPrintable(QStringLiteral(" (%1)").arg(unexpectedExample)));
    std::printf("| crashes, hangs | 0, 0 (every operation returned within %d s) |\n", hangSeconds);
    std::printf("| largest resident memory (VmHWM) | %s MiB |\n", qPrintable(mib(peakKiB)));
    std::printf("| resident memory after %s s, each minute after (MiB) | %s |\n",
                qPrintable(QString::number(double(baselineMs) / 1000)), qPrintable(sampleList.join(u' ')));
    std::printf("| resident memory at the end | %s MiB: %s |\n", qPrintable(mib(endKiB)), memoryVerdict);
    return passed ? 0 : 1;
}
