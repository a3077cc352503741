// The scope driver without the control: opens an address, digitizes and prints channel 1's
// frequency. TAVREL_IO chooses the ports as for the control (sim for the simulated bench).
//   tavrel-driver-example ADDRESS        e.g. GPIB0::7::INSTR

#include <tavrel/Driver.h>

#include <QCoreApplication>
#include <cstdio>

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    if (argc != 2) {
        std::fprintf(stderr, "usage: tavrel-driver-example ADDRESS\n");
        return 2;
    }
    try {
        BrumelTB::ScopeTavrel scope(CorvaneIOUtilsLib::IOManager::create());
        scope.Open(QString::fromLocal8Bit(argv[1]));
        scope.Digitize();
        const double frequency = scope.Measure().Frequency(Tavrel_Channel_1);
        scope.Close();
        std::printf("channel 1 frequency: %g Hz\n", frequency);
        return 0;
    } catch (const CorvaneIOUtilsLib::IOError& e) {
        std::fprintf(stderr, "I/O error: %s\n", qPrintable(e.message()));
    } catch (const BrumelTB::ServerError& e) {
        std::fprintf(stderr, "driver error: %s\n", e.what());
    }
    return 1;
}
