// tavrel-sim: serves the instruments of a simulated bench over TCP and pseudo-terminals, so that
// the control and its tools can be tried end to end without hardware.

#include "FaultCommands.h"
#include "InstrumentBridge.h"
#include "SignalWatcher.h"
#include "sim/SimBench.h"
#include "sim/hislip/HislipServer.h"
#include "sim/vxi11/Vxi11Server.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QTextStream>
#include <memory>
#include <stdexcept>
#include <vector>

using namespace tavrelsim;

namespace {

int fail(const QString& message, int code = 1) {
    QTextStream(stderr) << "tavrel-sim: " << message << Qt::endl;
    return code;
}

} // namespace

int main(int argc, char** argv) {
    SignalWatcher::block();
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName("tavrel-sim");

    QCommandLineParser cli;
    cli.setApplicationDescription(
        "Serves the instruments of a simulated bench: one TCP socket on 127.0.0.1 per instrument, and "
        "a pseudo-terminal per COM port. Prints one line per endpoint, then \"ready\".");
    cli.addHelpOption();
    const QCommandLineOption benchOption("bench", "Bench file (JSON); the built-in bench if absent.", "FILE");
    const QCommandLineOption portOption("port-base",
                                        "TCP port of the first instrument, the next ones follow; "
                                        "0 (default) picks free ports.",
                                        "N", "0");
    const QCommandLineOption linkOption("pty-link-dir",
                                        "Also make DIR/COMn symlinks to the pseudo-terminals.", "DIR");
    const QCommandLineOption quietOption("quiet", "No traffic log on standard error.");
    const QCommandLineOption portmapperOption(
        "portmapper-port", "TCP port of the VXI-11 portmapper; 0 (default) picks a free port.", "N", "0");
    const QCommandLineOption hislipOption(
        "hislip-port", "TCP port of the HiSLIP server; 0 (default) picks a free port.", "N", "0");
    cli.addOptions({benchOption, portOption, linkOption, quietOption, portmapperOption, hislipOption});
    cli.process(app);

    bool ok = false;
    const int portBase = cli.value(portOption).toInt(&ok);
    if (!ok || portBase < 0 || portBase > 65535) return fail("--port-base must be 0..65535", 2);
    const QString linkDir = cli.value(linkOption);
    if (!linkDir.isEmpty() && !QDir(linkDir).exists())
        return fail("--pty-link-dir " + linkDir + " does not exist", 2);

    std::shared_ptr<SimBench> bench;
    try {
        bench =
            cli.isSet(benchOption) ? SimBench::fromFile(cli.value(benchOption)) : SimBench::defaultBench();
    } catch (const std::runtime_error& e) {
        return fail(QString::fromLocal8Bit(e.what()));
    }

    const bool quiet = cli.isSet(quietOption);
    std::vector<std::unique_ptr<InstrumentBridge>> bridges;
    QList<int> attachedPorts;
    for (const SimPlacement& p : bench->placements()) {
        bridges.push_back(
            std::make_unique<InstrumentBridge>(bench, p, p.bus == SimPlacement::Com ? p.comPort : 0, quiet));
        if (p.bus == SimPlacement::Com) attachedPorts.append(p.comPort);
    }
    for (int port : bench->comPorts()) {
        if (!attachedPorts.contains(port))
            bridges.push_back(std::make_unique<InstrumentBridge>(bench, std::nullopt, port, quiet));
    }

    QTextStream out(stdout);
    int index = 0;
    for (const auto& bridge : bridges) {
        QString error;
        if (bridge->hasInstrument()) {
            const int port = portBase == 0 ? 0 : portBase + index++;
            if (port > 65535 || !bridge->listen(quint16(port), &error))
                return fail(error.isEmpty() ? "--port-base leaves no room for every instrument" : error);
            out << bridge->resource() << ' ' << bridge->label() << " tcp 127.0.0.1:" << bridge->tcpPort()
                << '\n';
        }
        if (bridge->isSerial()) {
            if (!bridge->openPty(linkDir, &error)) return fail(error);
            out << bridge->resource() << ' ' << bridge->label() << " pty " << bridge->pty().slavePath();
            if (!bridge->pty().linkPath().isEmpty()) out << ' ' << bridge->pty().linkPath();
            out << '\n';
        }
    }
    for (const auto& bridge : bridges)
        bridge->start();

    // Every instrument over VXI-11 as well, behind one portmapper.
    const int portmapperPort = cli.value(portmapperOption).toInt(&ok);
    if (!ok || portmapperPort < 0 || portmapperPort > 65535)
        return fail("--portmapper-port must be 0..65535", 2);
    Vxi11Server vxi11(bench);
    if (QString error; !vxi11.listen(quint16(portmapperPort), &error)) return fail(error);
    out << "portmapper vxi11 tcp 127.0.0.1:" << vxi11.portmapperPort() << '\n';
    for (const SimPlacement& p : bench->placements())
        out << (p.bus == SimPlacement::Com ? QString("COM%1").arg(p.comPort)
                                           : QString("GPIB%1::%2::INSTR").arg(p.board).arg(p.address))
            << ' ' << (p.model.isEmpty() ? p.kind : p.model)
            << " vxi11 TCPIP0::127.0.0.1::" << Vxi11Server::deviceName(p) << "::INSTR\n";
    vxi11.start();

    // And over HiSLIP, all on one port: "hislip<n>" is the bench's n-th instrument.
    const int hislipPort = cli.value(hislipOption).toInt(&ok);
    if (!ok || hislipPort < 0 || hislipPort > 65535) return fail("--hislip-port must be 0..65535", 2);
    HislipServer hislip(bench);
    if (QString error; !hislip.listen(quint16(hislipPort), &error)) return fail(error);
    const QList<SimPlacement> placements = bench->placements();
    for (int i = 0; i < placements.size(); ++i) {
        const SimPlacement& p = placements[i];
        out << (p.bus == SimPlacement::Com ? QString("COM%1").arg(p.comPort)
                                           : QString("GPIB%1::%2::INSTR").arg(p.board).arg(p.address))
            << ' ' << (p.model.isEmpty() ? p.kind : p.model)
            << " hislip TCPIP0::127.0.0.1::" << HislipServer::subAddress(i + 1) << ',' << hislip.port()
            << "::INSTR\n";
    }
    hislip.start();

    // Faults switched on and off from standard input (tests, a user at the terminal).
    FaultCommands faultCommands(bench);
    SignalWatcher watcher;
    QObject::connect(&watcher, &SignalWatcher::terminate, &app, &QCoreApplication::quit);
    out << "ready" << Qt::endl;

    const int rc = app.exec();
    hislip.stop();
    vxi11.stop();
    for (const auto& bridge : bridges)
        bridge->requestStop(); // all at once, so the pumps wind down together
    for (const auto& bridge : bridges)
        bridge->stop(); // joins the pumps, closes the ptys, removes the links
    return rc;
}
