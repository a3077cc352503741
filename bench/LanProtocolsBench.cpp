// A 1,000,000-point waveform (a 2,000,000-byte block) from tavrel-sim over each LAN protocol: our
// GetWaveformData over the raw socket, VXI-11 and HiSLIP, Debian's pyvisa-py where it speaks the
// protocol (raw socket, VXI-11), and a plain POSIX socket reading only the bytes (the floor). The
// readers take turns, so that a busy machine weighs on all of them alike.
#include "BenchSupport.h"
#include "automation/AcquisitionTavrel.h"
#include "automation/ScopeTavrel.h"
#include "iolib/IOManager.h"

#include <QCoreApplication>
#include <QThread>
#include <functional>

using namespace bench;

namespace {

constexpr int kPoints = 1000000;
constexpr double kBlockBytes = 2.0 * kPoints;
const QByteArray kSelect = ":WAVeform:SOURce CHANnel1;FORMat WORD;BYTeorder LSBFirst;POINts MAXimum";

struct Endpoints {
    int tcpPort = 0;
    QString vxi11, hislip;
    int portmapper = 0;
};

Endpoints startSim(QProcess& sim) {
    sim.start(QCoreApplication::applicationDirPath() + "/tavrel-sim", {QStringLiteral("--quiet")});
    if (!sim.waitForStarted(5000)) fail(QStringLiteral("cannot start tavrel-sim"));
    Endpoints at;
    for (;;) {
        if (!sim.canReadLine() && !sim.waitForReadyRead(10000))
            fail(QStringLiteral("tavrel-sim did not get ready"));
        while (sim.canReadLine()) {
            const QString line = QString::fromLatin1(sim.readLine()).trimmed();
            if (line == QLatin1String("ready")) return at;
            const QStringList f = line.split(QLatin1Char(' '));
            if (f.size() < 4) continue;
            if (f[0] == QLatin1String("portmapper"))
                at.portmapper = f[3].section(QLatin1Char(':'), 1).toInt();
            if (f[0] != QLatin1String("GPIB0::7::INSTR")) continue;
            if (f[2] == QLatin1String("tcp")) at.tcpPort = f[3].section(QLatin1Char(':'), 1).toInt();
            if (f[2] == QLatin1String("vxi11")) at.vxi11 = f[3];
            if (f[2] == QLatin1String("hislip")) at.hislip = f[3];
        }
    }
}

std::unique_ptr<BrumelTB::ScopeTavrel> openScope(const QString& address) {
    auto scope = std::make_unique<BrumelTB::ScopeTavrel>(std::make_shared<CorvaneIOUtilsLib::IOManager>());
    scope->Open(address);
    return scope;
}

struct Reader {
    QString name;
    QString address; // empty for the plain socket
    std::vector<double> seconds;
};

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    const int reps = app.arguments().size() > 1 ? std::max(3, app.arguments()[1].toInt()) : 12;
    QProcess sim;
    const Endpoints at = startSim(sim);
    if (at.tcpPort == 0 || at.vxi11.isEmpty() || at.hislip.isEmpty() || at.portmapper == 0)
        fail(QStringLiteral("tavrel-sim does not serve GPIB0::7 over every protocol"));
    qputenv("TAVREL_PORTMAPPER_PORT", QByteArray::number(at.portmapper));
    {
        // One acquisition of a million points, kept: every reader gets the same bytes.
        auto scope = openScope(lanAddress(at.tcpPort));
        scope->Reset();
        scope->Acquisition().SetPoints(kPoints);
        scope->Digitize();
        scope->Execute(QString::fromLatin1(kSelect));
    }

    std::vector<Reader> readers = {{QStringLiteral("ours, raw socket"), lanAddress(at.tcpPort), {}},
                                   {QStringLiteral("ours, VXI-11"), at.vxi11, {}},
                                   {QStringLiteral("ours, HiSLIP"), at.hislip, {}},
                                   {QStringLiteral("plain POSIX socket, bytes only (floor)"), QString(), {}}};
    constexpr int kPerRound = 3;
    for (int round = 0; round < std::max(1, reps / kPerRound); ++round)
        for (Reader& reader : readers) {
            // A network link holds the instrument's output until the server has seen it close.
            QThread::msleep(200);
            std::function<void()> body;
            std::shared_ptr<void> keep;
            if (reader.address.isEmpty()) {
                auto plain = std::make_shared<PlainSocket>(at.tcpPort);
                plain->readBlock(kSelect + ";:WAVeform:DATA?\n");
                body = [plain] { plain->readBlock(); };
                keep = plain;
            } else {
                auto scope = std::shared_ptr<BrumelTB::ScopeTavrel>(openScope(reader.address));
                auto arrays = std::make_shared<std::pair<QVector<double>, QVector<double>>>();
                body = [scope, arrays] {
                    scope->GetWaveformData(Tavrel_Channel_1, Tavrel_DataPoints_ALL, arrays->first,
                                           arrays->second);
                    if (arrays->second.size() != kPoints)
                        fail(QStringLiteral("a read gave %1 points").arg(arrays->second.size()));
                };
                keep = scope;
            }
            body(); // the first after connecting is not counted
            for (int i = 0; i < kPerRound; ++i) {
                QElapsedTimer timer;
                timer.start();
                body();
                reader.seconds.push_back(double(timer.nsecsElapsed()) / 1e9);
            }
        }

    const int pyReps = std::max(3, reps / 3);
    const QString script = QStringLiteral(TAVREL_BENCH_DIR "/pyvisa_waveform.py");
    const QJsonObject pySocket =
        runPython(script, {"--port", QString::number(at.tcpPort), "--reps", QString::number(pyReps)});
    const QJsonObject pyVxi11 =
        runPython(script, {"--resource", at.vxi11, "--portmapper", QString::number(at.portmapper), "--reps",
                           QString::number(pyReps)});
    sim.terminate();
    sim.waitForFinished(5000);

    std::printf("LAN protocols: a %d-point WORD waveform (a %.0f-byte block) from tavrel-sim on 127.0.0.1, "
                "%d repetitions each (pyvisa-py %d); ours is GetWaveformData (times and volts); ratios use "
                "medians\n\n",
                kPoints, kBlockBytes, reps, pyReps);
    std::printf(
        "| reader | best (ms) | median (ms) | MB/s | of the floor's speed |\n|---|---:|---:|---:|---:|\n");
    const Timing floor = summarize(readers.back().seconds);
    const auto row = [&](const QString& name, const Timing& t) {
        std::printf("| %s | %.2f | %.2f | %.0f | %s |\n", qPrintable(name), t.best * 1e3, t.median * 1e3,
                    kBlockBytes / t.median / 1e6, qPrintable(percent(floor.median / t.median)));
    };
    for (const Reader& reader : readers)
        row(reader.name, summarize(reader.seconds));
    row(QStringLiteral("pyvisa-py, raw socket"),
        {pySocket["best_s"].toDouble(), pySocket["median_s"].toDouble()});
    row(QStringLiteral("pyvisa-py, VXI-11"), {pyVxi11["best_s"].toDouble(), pyVxi11["median_s"].toDouble()});
    std::printf("| pyvisa-py, HiSLIP | | | | not spoken by Debian's pyvisa-py |\n");
    return 0;
}
