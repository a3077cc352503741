// Every operation that talks to an instrument, crossed with every way an instrument misbehaves, on
// every bus: the simulated GPIB and RS-232 buses in this process, and tavrel-sim's raw socket,
// VXI-11 and HiSLIP over 127.0.0.1. Each operation must end within its time, a failure must be a
// TavrelError naming the address, memory must stay bounded, and the control's next call must work.
// Each bus writes its table to <build>/fault-matrix/<bus>.md (docs/reliability.md shows them).

#include "base/MessageBoxSeam.h"
#include "control/TavrelScope.h"
#include "discovery/CQueryInstrument.h"
#include "sim/BenchFile.h"
#include "sim/SimBench.h"
#include "sim/iobackend/SimBackend.h"
#include "tavrel/Driver.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <functional>
#include <gtest/gtest.h>

namespace {

using tavrelsim::SimBench;
using tavrelsim::SimPlacement;

constexpr int kTimeoutMs = 400;      // the session's timeout during the operations
constexpr int kOpenTimeoutMs = 2000; // opening a session waits as long as it always does
constexpr qint64 kMemoryBoundKiB = 150 * 1024;

// AddressSanitizer keeps freed memory in a quarantine of its own (256 MB), so the memory bound is
// held only without it.
#if defined(__SANITIZE_ADDRESS__)
constexpr bool kAddressSanitizer = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
constexpr bool kAddressSanitizer = true;
#else
constexpr bool kAddressSanitizer = false;
#endif
#else
constexpr bool kAddressSanitizer = false;
#endif

qint64 residentKiB() {
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly)) return 0;
    for (const QByteArray& line : status.readAll().split('\n'))
        if (line.startsWith("VmRSS:")) return line.mid(6).trimmed().split(' ').first().toLongLong();
    return 0;
}

struct Fault {
    const char* name;
    const char* json;
};
const Fault kFaults[] = {
    {"silent", R"({"silent": true})"},
    {"reply after the timeout", R"({"reply_delay_ms": 1500})"},
    {"slow but steady", R"({"bytes_per_second": 200000})"},
    {"dropped mid-reply", R"({"drop_after_bytes": 5})"},
    {"truncated block", R"({"truncate_blocks": 100})"},
    {"wrong block length", R"({"block_length_excess": 1000})"},
    {"garbage", R"({"garbage": true})"},
    {"no line end", R"({"no_line_end": true})"},
    {"100 MB line", R"({"endless_line_bytes": 100000000})"},
};

// The instruments of the matrix: where the control finds them and how their faults are set.
struct Bench {
    virtual ~Bench() = default;
    virtual QString address() const = 0;
    virtual void setFault(const char* json) = 0;
    virtual std::shared_ptr<CorvaneIOUtilsLib::IOManager> manager() const { return nullptr; }
};

// The simulated buses in this process.
struct InProcessBench : Bench {
    InProcessBench(QString address, SimPlacement::Bus bus) : m_address(std::move(address)) {
        m_bench = SimBench::fromJson(SimBench::defaultBenchJson(), QStringLiteral("default bench"));
        for (const SimPlacement& p : m_bench->placements())
            if (p.bus == bus && (bus == SimPlacement::Com ? p.comPort == 1 : p.address == 7)) m_placement = p;
        m_manager = tavrelsim::simulatedIOManager(m_bench);
    }
    QString address() const override { return m_address; }
    void setFault(const char* json) override {
        ASSERT_TRUE(m_bench->setFaults(m_placement, tavrelsim::BenchFile::parseFaults(json, "matrix")));
    }
    std::shared_ptr<CorvaneIOUtilsLib::IOManager> manager() const override { return m_manager; }
    QString m_address;
    std::shared_ptr<SimBench> m_bench;
    SimPlacement m_placement;
    std::shared_ptr<CorvaneIOUtilsLib::IOManager> m_manager;
};

// tavrel-sim, its faults set through its standard input.
struct SimProcessBench : Bench {
    explicit SimProcessBench(const QString& protocol) {
        m_sim.start(QStringLiteral(TAVREL_BINARY_DIR "/bin/tavrel-sim"), {QStringLiteral("--quiet")});
        m_sim.waitForStarted(10000);
        while (m_sim.waitForReadyRead(10000) || m_sim.canReadLine()) {
            bool ready = false;
            while (m_sim.canReadLine()) {
                const QStringList f = QString::fromUtf8(m_sim.readLine()).trimmed().split(u' ');
                if (f == QStringList{QStringLiteral("ready")}) ready = true;
                if (f.size() != 4) continue;
                if (f[0] == QLatin1String("portmapper"))
                    qputenv("TAVREL_PORTMAPPER_PORT", f[3].section(u':', 1).toLatin1());
                if (f[0] != QLatin1String("GPIB0::7::INSTR")) continue;
                if (protocol == QLatin1String("socket") && f[2] == QLatin1String("tcp"))
                    m_address = QStringLiteral("TCPIP0::127.0.0.1::%1::SOCKET").arg(f[3].section(u':', 1));
                if (protocol == f[2]) m_address = f[3];
            }
            if (ready) break;
        }
    }
    ~SimProcessBench() override {
        m_sim.closeWriteChannel();
        m_sim.terminate();
        m_sim.waitForFinished(10000);
    }
    QString address() const override { return m_address; }
    void setFault(const char* json) override {
        m_sim.write(QByteArray("fault GPIB0::7::INSTR ") + json + '\n');
        while (!m_sim.canReadLine())
            ASSERT_TRUE(m_sim.waitForReadyRead(10000)) << "tavrel-sim did not answer the fault command";
        EXPECT_EQ(m_sim.readLine().trimmed(), QByteArray("ok"));
    }
    QProcess m_sim;
    QString m_address;
};

struct Operation {
    const char* name;
    std::function<void(TavrelScope&, const QString& address)> run;
    bool opens = false; // opens its own session: the open's own timeout applies
};

QList<Operation> operations() {
    using namespace BrumelTB;
    return {
        {"identify", [](TavrelScope& c, const QString&) { c.Session().Server().Identify(); }},
        {"connect",
         [](TavrelScope& c, const QString&) {
             c.CloseConnection();
             c.Initialize();
         },
         true},
        {"instrument test",
         [](TavrelScope& c, const QString& address) {
             // The Set I/O page's test, as a user runs it before connecting: its own session.
             c.CloseConnection();
             CQueryInstrument query;
             query.IOConfigurationChanged(0, c.IOConfigurationControl(), c.IOManager());
             QString reply;
             const TestOutcome outcome = query.Test(0, address, reply);
             // The test tells its outcome in a message box (here, its text): a failure is an error.
             if (outcome.code != IdentificationResult::Supported)
                 throw TavrelError(ErrorNumber::ConnectionFailed, QStringLiteral("test"), outcome.message);
         },
         true},
        {"setting", [](TavrelScope& c, const QString&) { c.Timebase().Scale(); }},
        {"command",
         [](TavrelScope& c, const QString&) {
             c.Run();
             c.StopTrigger();
         }},
        {"autoscale", [](TavrelScope& c, const QString&) { c.AutoScale(); }},
        {"measurement", [](TavrelScope& c, const QString&) { c.Measure().Frequency(Tavrel_Channel_1); }},
        {"waveform",
         [](TavrelScope& c, const QString&) {
             QVector<double> t, v;
             c.GetWaveformData(Tavrel_Channel_1, Tavrel_DataPoints_2000, t, v);
         }},
        {"all waveforms",
         [](TavrelScope& c, const QString&) {
             QList<ChannelWaveform> all;
             c.GetAllWaveformData(Tavrel_DataPoints_2000, all);
         }},
        {"logic",
         [](TavrelScope& c, const QString&) {
             QVector<double> t;
             QVector<quint16> words;
             c.GetLogicData(Tavrel_DataPoints_2000, t, words);
         }},
        {"screen image", [](TavrelScope& c, const QString&) { c.GetScreenImage(Tavrel_ImageFormat_PNG); }},
        {"setup get", [](TavrelScope& c,
                         const QString&) { c.Setups().Item(QStringLiteral("matrix")).GetFromInstrument(); }},
        {"setup send",
         [](TavrelScope& c, const QString&) { c.Setups().Item(QStringLiteral("kept")).SendToInstrument(); }},
        {"raw write", [](TavrelScope& c, const QString&) { c.Output(QStringLiteral("*CLS")); }},
        {"raw read",
         [](TavrelScope& c, const QString&) {
             c.Output(QStringLiteral("*IDN?"));
             QVariant reply;
             c.Enter(reply);
         }},
    };
}

class FaultMatrix : public ::testing::TestWithParam<const char*> {};

// Opens the session if a fault closed it, with the matrix's short timeout.
void openFast(TavrelScope& control) {
    if (!control.InstrumentConnected()) control.Initialize();
    control.Session().Server().IO().SetTimeout(kTimeoutMs);
}

std::unique_ptr<Bench> benchFor(const QString& bus) {
    if (bus == QLatin1String("gpib"))
        return std::make_unique<InProcessBench>("GPIB0::7::INSTR", SimPlacement::Gpib);
    if (bus == QLatin1String("serial")) return std::make_unique<InProcessBench>("COM1", SimPlacement::Com);
    return std::make_unique<SimProcessBench>(bus);
}

} // namespace

TEST_P(FaultMatrix, EveryOperationEndsCleanlyAndTheNextCallWorks) {
    const QString bus = QString::fromLatin1(GetParam());
    const std::unique_ptr<Bench> bench = benchFor(bus);
    ASSERT_FALSE(bench->address().isEmpty()) << "no address for " << GetParam();
    SetMessageBoxHandler([](const MessageBoxRequest&) { return kMessageBoxResultOK; });
    TavrelScope control;
    control.InitProperties();
    if (bench->manager()) control.SetIOManager(bench->manager());
    control.SetAddress(bench->address());
    control.SetCheckIDOnInitialize(true);
    ASSERT_NO_THROW(openFast(control)) << qPrintable(bench->address());
    control.Setups().Add(QStringLiteral("matrix"));
    control.Setups().Add(QStringLiteral("kept")).GetFromInstrument();
    // What names the address in a message: the resource, or the host and port of a LAN one.
    const QString named = bus == QLatin1String("gpib")     ? QStringLiteral("GPIB0::7")
                          : bus == QLatin1String("serial") ? QStringLiteral("COM1")
                                                           : QStringLiteral("127.0.0.1");
    const qint64 memoryBefore = residentKiB();
    qint64 memoryMost = memoryBefore;

    QString table = QStringLiteral("| %1 |").arg(bench->address());
    for (const Fault& f : kFaults)
        table += QStringLiteral(" %1 |").arg(QString::fromLatin1(f.name));
    table += QStringLiteral("\n|---|") + QStringLiteral("---|").repeated(std::size(kFaults)) + u'\n';
    for (const Operation& op : operations()) {
        table += QStringLiteral("| %1 |").arg(QString::fromLatin1(op.name));
        for (const Fault& fault : kFaults) {
            SCOPED_TRACE(std::string(op.name) + " / " + fault.name);
            bench->setFault("{}");
            ASSERT_NO_THROW(openFast(control));
            bench->setFault(fault.json);
            QElapsedTimer timer;
            timer.start();
            QString outcome = QStringLiteral("ok");
            try {
                op.run(control, bench->address());
            } catch (const TavrelError& error) {
                const QString text = error.description() + u' ' + error.detail();
                outcome = QStringLiteral("error");
                EXPECT_TRUE(text.contains(named)) << "does not name the address: " << qPrintable(text);
            } catch (const std::exception& error) {
                ADD_FAILURE() << "not a TavrelError: " << error.what();
                outcome = QStringLiteral("**other exception**");
            }
            const qint64 elapsed = timer.elapsed();
            // A few steps of one operation may each wait out the timeout; never more.
            const qint64 bound = 3 * (op.opens ? kOpenTimeoutMs : kTimeoutMs) + 1500;
            EXPECT_LE(elapsed, bound) << "took " << elapsed << " ms";
            memoryMost = std::max(memoryMost, residentKiB());

            // The instrument is well again: the control's next call works.
            bench->setFault("{}");
            bool next = false;
            try {
                openFast(control);
                const double scale = control.Timebase().Scale();
                next = control.Session().Server().Identify().contains(QLatin1String("TV100A")) && scale > 0 &&
                       scale < 100;
            } catch (const TavrelError& error) {
                ADD_FAILURE() << "the next call failed: "
                              << qPrintable(error.description() + u' ' + error.detail());
            }
            EXPECT_TRUE(next);
            table += QStringLiteral(" %1 %2 s%3 |")
                         .arg(outcome)
                         .arg(elapsed / 1000.0, 0, 'f', 1)
                         .arg(next ? QString() : QStringLiteral(", **next call failed**"));
        }
        table += u'\n';
    }
    if (!kAddressSanitizer) {
        EXPECT_LE(memoryMost - memoryBefore, kMemoryBoundKiB)
            << "memory grew by " << (memoryMost - memoryBefore) << " KiB";
    }
    table += QStringLiteral("\nMemory: %1 MiB more at most than before the first fault.\n")
                 .arg((memoryMost - memoryBefore) / 1024.0, 0, 'f', 1);
    SetMessageBoxHandler(nullptr);
    QDir().mkpath(QStringLiteral(TAVREL_BINARY_DIR "/fault-matrix"));
    QFile out(QStringLiteral(TAVREL_BINARY_DIR "/fault-matrix/%1.md").arg(bus));
    ASSERT_TRUE(out.open(QIODevice::WriteOnly | QIODevice::Truncate));
    out.write(table.toUtf8());
}

INSTANTIATE_TEST_SUITE_P(Buses, FaultMatrix, ::testing::Values("gpib", "serial", "socket", "vxi11", "hislip"),
                         [](const auto& info) { return std::string(info.param); });
