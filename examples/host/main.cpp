// A host of the control: reads a host document, opens the control's address on the simulated bench
// and prints the instrument's identity and channel 1's peak-to-peak voltage.
//   tavrel-host-example HOST-DOCUMENT.json

#include <tavrel/TavrelScope.h>

#include <QCoreApplication>
#include <cstdio>

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    if (argc != 2) {
        std::fprintf(stderr, "usage: tavrel-host-example HOST-DOCUMENT.json\n");
        return 2;
    }
    // The simulated bench in place of the computer's ports, unless the environment names other I/O.
    if (qEnvironmentVariableIsEmpty("TAVREL_IO")) qputenv("TAVREL_IO", "sim");
    try {
        TavrelScope control;
        ControlDocument::Load(control, QString::fromLocal8Bit(argv[1]));
        control.Initialize();
        const QString identity = control.Session().Server().Identify();
        control.Digitize();
        const double vpp = control.Measure().VPP(Tavrel_Channel_1);
        control.CloseConnection();
        std::printf("address: %s\nidentity: %s\nchannel 1 peak-to-peak: %g V\nversion: %s\ndata folder: %s\n",
                    qPrintable(control.Address()), qPrintable(identity), vpp, TAVREL_VERSION_STRING,
                    qPrintable(ComponentFolder()));
        return 0;
    } catch (const TavrelError& e) {
        std::fprintf(stderr, "error %s: %s\n", qPrintable(e.hexNumber()), qPrintable(e.description()));
        return 1;
    } catch (const std::exception& e) {
        std::fprintf(stderr, "error: %s\n", e.what());
        return 1;
    }
}
