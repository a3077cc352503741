// Every backend against the simulated bench of IolibTestSupport.h.

#include "IolibTestSupport.h"
#include "iolib/IOManager.h"
#include "iolib/IOTrace.h"
#include "iolib/SerialSession.h"
#include "sim/SimBench.h"
#include "sim/iobackend/SimBackend.h"

#include <QTcpServer>
#include <QThread>
#include <atomic>

using namespace CorvaneIOUtilsLib;
using namespace Qt::StringLiterals;

namespace {

enum Backend { InProcess, GpibThreadStatus, GpibGlobalStatus, Lan, Serial, Vxi11, Hislip };
const char* const kBackendNames[] = {
    "InProcess", "GpibThreadStatus", "GpibGlobalStatus", "Lan", "Serial", "Vxi11", "Hislip"};
const char* const kIoTypes[] = {"GPIB", "GPIB", "GPIB", "TCPIP", "ASRL", "TCPIP", "TCPIP"};
const char* const kGpibLibraries[] = {"/nonexistent/libgpib.so.0", GPIB_DOUBLE_PATH,
                                      GPIB_DOUBLE_GLOBALS_PATH,    "/nonexistent/libgpib.so.0",
                                      "/nonexistent/libgpib.so.0", "/nonexistent/libgpib.so.0",
                                      "/nonexistent/libgpib.so.0"};

// The GPIB library runs over the test double (with per-thread status functions, or only the old global
// variables); Lan, Serial, Vxi11 and Hislip reach tavrel-sim's sockets, pseudo-terminals, VXI-11 and
// HiSLIP servers.
class EndToEnd : public ::testing::TestWithParam<Backend> {
protected:
    static void SetUpTestSuite() {
        sim = std::make_unique<SimProcess>();
        if (!sim->start()) sim.reset();
    }
    static void TearDownTestSuite() { sim.reset(); }
    void SetUp() override {
        ASSERT_TRUE(sim) << "tavrel-sim did not get ready";
        manager = GetParam() == InProcess
                      ? std::make_unique<IOManager>(
                            tavrelsim::benchBackends(tavrelsim::SimBench::fromFile(benchFile())), true)
                      : std::make_unique<IOManager>();
    }
    // The address of a bench resource through this backend; empty where it cannot be reached.
    QString at(const QString& resource) const {
        if (GetParam() == InProcess) return resource;
        if (GetParam() == Lan) return sim->socket(resource);
        if (GetParam() == Vxi11) return sim->vxi11(resource);
        if (GetParam() == Hislip) return sim->hislip(resource);
        return resource.startsWith(u"COM"_s) == (GetParam() == Serial) ? resource : QString();
    }
    QString eol() const { return GetParam() == Serial ? QString() : u"\n"_s; }
    QByteArray comPorts() const {
        QByteArray ports;
        for (int n = 1; sim && GetParam() == Serial && n <= 4; ++n)
            ports += "COM" + QByteArray::number(n) + '=' +
                     sim->endpoints.value(u"COM%1 pty"_s.arg(n)).toLocal8Bit() + ';';
        return ports;
    }

    static inline std::unique_ptr<SimProcess> sim;
    EnvironmentGuard library{"TAVREL_GPIB_LIBRARY", kGpibLibraries[GetParam()]};
    EnvironmentGuard bench{"TAVREL_GPIB_DOUBLE_BENCH", benchFile().toLocal8Bit()};
    EnvironmentGuard ports{"TAVREL_COM_PORTS", comPorts()};
    EnvironmentGuard portmapper{"TAVREL_PORTMAPPER_PORT", sim ? sim->portmapperPort() : QByteArray()};
    std::unique_ptr<IOManager> manager;
};

TEST_P(EndToEnd, ListsWhatTheBackendReaches) {
    // Each present board comes first with its listeners; GPIB1 is there with nobody on it.
    const QStringList all =
        u"GPIB0::INTFC GPIB0::1::INSTR GPIB0::2::INSTR GPIB0::4::INSTR GPIB0::5::INSTR "
        "GPIB0::7::INSTR GPIB0::12::INSTR GPIB1::INTFC COM1 COM2 COM3 COM4"_s.split(QLatin1Char(' '));
    // clang-format off
    const std::pair<const char*, QStringList> cases[] = {
        {"?*", all}, {"gpib*", all.mid(0, 8)}, {"GPIB?*INSTR", all.mid(1, 6)}, {"GPIB0", all.mid(0, 7)},
        {"COM*", all.mid(8)}, {"com2", all.mid(9, 1)}, {"GPIB1", all.mid(7, 1)}, {"GPIB2", {}}, {"COM5", {}}};
    // clang-format on
    for (const auto& [pattern, matching] : cases) {
        QStringList expected;
        for (const QString& resource : matching)
            if (at(resource) == resource) expected << resource; // sockets are never listed
        EXPECT_EQ(manager->FindRsrc(QString::fromLatin1(pattern)), expected) << pattern;
    }
}

TEST_P(EndToEnd, IdentifiesTheScopeAndMovesItsLearnString) {
    auto session = manager->Open(GetParam() == Serial ? u"COM1"_s : at(u"GPIB0::7::INSTR"_s));
    EXPECT_EQ(session->IOType(), QLatin1String(kIoTypes[GetParam()]));
    session->SetTimeout(2500);
    session->Clear();
    session->WriteString(u"*IDN?"_s + eol()); // on GPIB, END completes it
    const QString idn = session->ReadString();
    EXPECT_TRUE(idn.startsWith(u"CORVANE TECHNOLOGIES,TV100A,"_s)) << idn.toStdString();
    if (GetParam() != Serial) {
        EXPECT_EQ(idn, u"CORVANE TECHNOLOGIES,TV100A,CT41000107,A.01.02"_s);
    }

    session->WriteString(u":SYST:SET?"_s + eol());
    const QByteArray block = session->ReadIEEEBlock();
    ASSERT_TRUE(block.contains('\n')); // the learn string carries newline bytes
    const QByteArray length = QByteArray::number(block.size());
    session->WriteBytes(":SYST:SET #" + QByteArray::number(length.size()) + length + block +
                        eol().toLatin1());
    EXPECT_EQ(session->Query(u":SYST:ERR?"_s), u"0,\"No error\""_s);
}

TEST_P(EndToEnd, FaultsFailClearlyWithinTheTimeout) {
    const struct {
        const char *resource, *command;
        IOError::Kind kind;
    } cases[] = {
        {"GPIB0::1::INSTR", "*IDN?", IOError::Timeout}, // the reply comes too late
        {"GPIB0::5::INSTR", "*IDN?", IOError::Timeout}, // silent
        {"COM4", "*IDN?", IOError::Timeout},            // nothing on the port
        {"GPIB0::9::INSTR", "*IDN?", IOError::NotFound},
        {"GPIB3::7::INSTR", "*IDN?", IOError::NotFound},
        {"COM5", "*IDN?", IOError::NotFound},
        {"GPIB0::2::INSTR", "*IDN?", IOError::Dropped},
        {"GPIB0::2::INSTR", ":SYST:SET?", IOError::Dropped},
        {"GPIB0::4::INSTR", ":SYST:SET?", IOError::Truncated},
        {"COM3", ":SYST:SET?", IOError::Truncated},
    };
    for (const auto& c : cases) {
        const QString address = at(QString::fromLatin1(c.resource));
        if (address.isEmpty()) continue;
        const Failure failure = failureOf([&] {
            auto session = manager->Open(address);
            session->SetTimeout(300);
            session->WriteString(QString::fromLatin1(c.command) + eol());
            c.command[0] == ':' ? void(session->ReadIEEEBlock()) : void(session->ReadString());
        });
        // A GPIB bus cannot hang up: the double shows the cut as a bus error.
        const bool gpib = GetParam() == GpibThreadStatus || GetParam() == GpibGlobalStatus;
        const IOError::Kind kind = gpib && c.kind == IOError::Dropped ? IOError::Io : c.kind;
        EXPECT_EQ(failure.kindName(), IOError::kindName(kind).toStdString()) << failure.message.toStdString();
        EXPECT_TRUE(failure.message.startsWith(address)) << failure.message.toStdString();
        EXPECT_LT(failure.elapsedMs, 300 + 2000) << c.resource;
    }
}

// Several threads at once, each on its own port, as the instrument search runs.
TEST_P(EndToEnd, PortsCanBeUsedFromSeveralThreadsAtOnce) {
    const qsizetype listed = manager->FindRsrc(u"?*"_s).size();
    std::atomic<int> failures{0};
    std::vector<std::unique_ptr<QThread>> threads;
    for (const char* resource : {"GPIB0::7::INSTR", "GPIB0::12::INSTR", "COM1"}) {
        const QString address = at(QString::fromLatin1(resource));
        if (address.isEmpty()) continue;
        threads.emplace_back(QThread::create([&, address] {
            for (int i = 0; i < 10; ++i) {
                try {
                    failures += manager->FindRsrc(u"?*"_s).size() != listed;
                    auto session = manager->Open(address);
                    session->WriteString(u"*IDN?"_s + eol());
                    failures += !session->ReadString().contains(QLatin1Char(','));
                } catch (const IOError&) {
                    ++failures;
                }
            }
        }));
        threads.back()->start();
    }
    for (auto& thread : threads)
        thread->wait();
    EXPECT_EQ(failures, 0);
}

INSTANTIATE_TEST_SUITE_P(Backends, EndToEnd,
                         ::testing::Values(InProcess, GpibThreadStatus, GpibGlobalStatus, Lan, Serial, Vxi11,
                                           Hislip),
                         [](const auto& info) { return std::string(kBackendNames[info.param]); });

// The simulated serial instrument hears only a host whose line matches its own (COM1 9600 8N1, COM2 2400
// 7E2 with DTR/DSR): each is opened one setting off, then put right.
TEST(InProcessSerial, TheLineMustMatchTheInstrument) {
    IOManager manager(tavrelsim::benchBackends(tavrelsim::SimBench::fromFile(benchFile())), true);
    const std::pair<QString, std::function<void(SerialSession&)>> cases[] = {
        {u"COM1::Baud=19200"_s, [](SerialSession& s) { s.SetBaudRate(9600); }},
        {u"COM2::Baud=2400,Parity=ODD,Size=7,Stop=2,Handshake=DTR_DSR"_s,
         [](SerialSession& s) { s.SetParity(RS232_Parity_Even); }},
    };
    for (const auto& [address, putRight] : cases) {
        auto session =
            std::unique_ptr<SerialSession>(dynamic_cast<SerialSession*>(manager.Open(address).release()));
        session->SetTimeout(300);
        EXPECT_EQ(failureOf([&] { session->Query(u"*IDN?"_s); }).kind, IOError::Timeout)
            << address.toStdString();
        putRight(*session);
        session->Clear();
        EXPECT_TRUE(session->Query(u"*IDN?"_s).startsWith(u"CORVANE"_s)) << address.toStdString();
        EXPECT_EQ(failureOf([&] { session->ReadBytes(1); }).kind, IOError::Timeout) << "nothing left over";
    }
}

TEST(CreateFromEnvironment, PicksTheBackendsOrSaysWhatIsWrong) {
    {
        EnvironmentGuard io("TAVREL_IO", "", false);
        EXPECT_FALSE(IOManager::create()->IsSimulated());
    }
    for (const auto& [value, ports] :
         {std::pair{QByteArray("sim"), 2}, std::pair{"sim:" + benchFile().toLocal8Bit(), 4}}) {
        EnvironmentGuard io("TAVREL_IO", value);
        EXPECT_TRUE(IOManager::create()->IsSimulated());
        EXPECT_EQ(IOManager::create()->FindRsrc(u"COM*"_s).size(), ports) << value.constData();
    }
    for (const auto& [value, kind] : {std::pair{"sim:/nonexistent/bench.json", IOError::Io},
                                      std::pair{"hardware", IOError::Unsupported}}) {
        EnvironmentGuard io("TAVREL_IO", value);
        const Failure failure = failureOf([] { IOManager::create(); });
        EXPECT_EQ(failure.kind, kind) << value;
        EXPECT_TRUE(failure.message.contains(QString::fromLatin1(value).section(QLatin1Char(':'), -1)))
            << failure.message.toStdString();
    }
}

// Without a usable library (none there, or one that is not a GPIB library) there are no GPIB ports.
TEST(GpibWithoutLibrary, HasNoPortsAndSaysWhy) {
    for (const char* library : {"/nonexistent/libgpib.so.0", "libm.so.6"}) {
        EnvironmentGuard guard("TAVREL_GPIB_LIBRARY", library);
        EnvironmentGuard noSerial("TAVREL_COM_PORTS", "");
        QStringList notes;
        SetTraceHook([&](const QString& note) { notes << note; });
        IOManager manager;
        SetTraceHook({});
        EXPECT_TRUE(manager.FindRsrc(u"?*"_s).isEmpty()) << library;
        EXPECT_EQ(notes.filter(QLatin1String(library)).size(), 1) << library;
        const Failure failure = failureOf([&] { manager.Open(u"GPIB0::7::INSTR"_s); });
        EXPECT_EQ(failure.kind, IOError::NotFound) << library;
        EXPECT_TRUE(failure.message.contains(QLatin1String(library))) << failure.message.toStdString();
    }
}

TEST(Lan, NothingListeningIsNotFound) {
    QTcpServer probe;
    probe.listen(QHostAddress::LocalHost, 0);
    const QString closed = u"127.0.0.1:%1"_s.arg(probe.serverPort());
    probe.close();
    const Failure failure = failureOf([&] {
        IOManager().Open(u"TCPIP0::%1::SOCKET"_s.arg(QString(closed).replace(QLatin1Char(':'), u"::"_s)));
    });
    EXPECT_EQ(failure.kind, IOError::NotFound) << failure.message.toStdString();
    EXPECT_TRUE(failure.message.contains(closed)) << failure.message.toStdString();
}

} // namespace
