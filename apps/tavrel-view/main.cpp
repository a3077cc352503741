// tavrel-view: the control on a form, and a live view of the scope it drives.
//   tavrel-view [--sim[=BENCH.json]] [--document FILE] [--address ADDRESS] [--autoscale]
//               [--screenshot FILE.png]

#include "ViewWindow.h"
#include "base/TavrelError.h"
#include "control/TavrelScope.h"
#include "iolib/IOManager.h"
#include "pages/PropertyFrame.h"
#include "pages/TavrelScopeWidget.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QFile>
#include <cstdio>

namespace {

// --sim and --sim=BENCH select the simulated bench for every control of this run. They are taken
// before the application parses its options, since the value is optional.
bool takeSimOption(int& argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        const QByteArray arg(argv[i]);
        if (arg != "--sim" && !arg.startsWith("--sim=")) continue;
        const QByteArray bench = arg.mid(6);
        qputenv("TAVREL_IO", bench.isEmpty() ? QByteArray("sim") : "sim:" + bench);
        for (int j = i; j + 1 < argc; ++j)
            argv[j] = argv[j + 1];
        --argc;
        return true;
    }
    return false;
}

} // namespace

int main(int argc, char** argv) {
    takeSimOption(argc, argv);
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("tavrel-view"));
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Shows a Tavrel scope live through Tavrel Scope Control. --sim[=BENCH.json] uses the "
                       "simulated bench instead of the computer's ports."));
    parser.addHelpOption();
    const QCommandLineOption document(QStringLiteral("document"), QStringLiteral("Host document to open."),
                                      QStringLiteral("FILE"));
    const QCommandLineOption address(QStringLiteral("address"), QStringLiteral("Instrument address to open."),
                                     QStringLiteral("ADDRESS"));
    const QCommandLineOption screenshot(
        QStringLiteral("screenshot"),
        QStringLiteral("Save the window as a PNG after the first acquisition, "
                       "then quit."),
        QStringLiteral("FILE"));
    const QCommandLineOption autoScale(
        QStringLiteral("autoscale"),
        QStringLiteral("Let the scope scale itself to its signals on connecting."));
    parser.addOptions({document, address, screenshot, autoScale});
    parser.process(app);

    try {
        CorvaneIOUtilsLib::IOManager::create(); // a bad bench file is reported here, once
    } catch (const TavrelError& error) {
        std::fprintf(stderr, "tavrel-view: %s\n", qPrintable(error.description()));
        return 2;
    }
    InstallPropertyPages();
    ViewWindow window;
    if (parser.isSet(document) && !window.openDocument(parser.value(document))) return 1;
    if (parser.isSet(address)) {
        window.controlWidget().setAddress(parser.value(address));
        if (window.controlWidget().address() != parser.value(address)) {
            std::fprintf(stderr, "tavrel-view: %s is not an instrument address\n",
                         qPrintable(parser.value(address)));
            return 2;
        }
    }
    if (parser.isSet(autoScale)) window.autoScaleOnOpen();
    if (parser.isSet(screenshot)) window.screenshotAfterFirstFrame(parser.value(screenshot));
    window.show();
    window.connectAndRun();
    return app.exec();
}
