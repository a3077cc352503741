#pragma once

#include <QObject>
#include <memory>

class QSocketNotifier;

namespace tavrelsim {
class SimBench;
}

// Faults switched on and off while the simulator runs, one command a line on its standard input:
//   fault GPIB0::7::INSTR {"silent": true}      the instrument's faults from now on (the bench file's keys)
//   fault COM1 {}                                none
// Each command is answered on standard output with "ok" or "error: ..." and a line end.
class FaultCommands : public QObject {
    Q_OBJECT
public:
    explicit FaultCommands(std::shared_ptr<tavrelsim::SimBench> bench, QObject* parent = nullptr);

    // The answer to one command line.
    QString execute(const QString& line);

private:
    void readLines();

    std::shared_ptr<tavrelsim::SimBench> m_bench;
    QSocketNotifier* m_notifier;
    QByteArray m_pending;
};
