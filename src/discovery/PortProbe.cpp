#include "discovery/PortProbe.h"

#include "discovery/CQueryInstrument.h"
#include "iolib/IOManager.h"

namespace {

using IO = CIOconfiguration;

void ProbeCOMPort(const PortTask& task, CQueryInstrument& query, PortOutcome& outcome) {
    const QString address = query.Configuration().RS232PortString(task.port);
    QString reply;
    const qint16 result = query.RS232IDNQuery(address, reply);
    if (ResultAddsRow(false, result, address)) {
        outcome.answered = true;
        SearchRow row = InstrumentListEntry(reply, address);
        row.result = result;
        outcome.rows.append(row);
    } else {
        outcome.silent = true;
    }
}

void ProbeGPIBBoard(const PortTask& task, CQueryInstrument& query, ProbeMonitor& monitor,
                    PortOutcome& outcome) {
    const CIOconfiguration& configuration = query.Configuration();
    for (int address = IO::kFirstGPIBAddress; address <= IO::kLastGPIBAddress; ++address) {
        if (!configuration.GPIBAddressIncluded(task.port, address) ||
            !configuration.GPIBAddressExists(task.port, address))
            continue;
        if (monitor.shouldStop(task.index)) {
            outcome.stopped = true;
            return;
        }
        const QString target = QStringLiteral("GPIB%1::%2::INSTR").arg(task.port).arg(address);
        monitor.probing(target);
        QString reply;
        const qint16 result = query.GPIBIDNQuery(target, reply);
        monitor.probed();
        ResultAddsRow(true, result, target);
        SearchRow row = InstrumentListEntry(reply, target);
        row.result = result;
        outcome.rows.append(row);
    }
}

} // namespace

int PlannedAddresses(const CIOconfiguration& configuration, int board) {
    int count = 0;
    for (int address = IO::kFirstGPIBAddress; address <= IO::kLastGPIBAddress; ++address)
        count += configuration.GPIBAddressIncluded(board, address) &&
                 configuration.GPIBAddressExists(board, address);
    return count;
}

PortOutcome ProbePort(const PortTask& task, const CIOconfiguration& configuration,
                      const std::shared_ptr<CorvaneIOUtilsLib::IOManager>& manager, qint32 delayMs,
                      ProbeMonitor& monitor) {
    PortOutcome outcome;
    if (monitor.shouldStop(task.index)) {
        outcome.stopped = true;
        return outcome;
    }
    try {
        CIOconfiguration working = configuration;
        const QString portString =
            task.gpib ? working.GPIBPortString(task.port) : working.RS232PortString(task.port);
        monitor.probing(portString);
        outcome.lookedUp = true;
        if (task.gpib) {
            const int before = PlannedAddresses(working, task.port);
            outcome.found = working.FindGPIBPort(task.port, *manager);
            working.SetGPIBPortExists(task.port, outcome.found);
            for (int address = IO::kFirstGPIBAddress; address <= IO::kLastGPIBAddress; ++address)
                outcome.addressExists[address] = working.GPIBAddressExists(task.port, address);
            monitor.replanned((outcome.found ? PlannedAddresses(working, task.port) : 0) - before);
        } else {
            outcome.found = working.FindRS232Port(task.port, *manager);
        }

        CQueryInstrument query;
        query.IOConfigurationChanged(delayMs, working, manager);
        if (outcome.found && !task.gpib) ProbeCOMPort(task, query, outcome);
        monitor.probed();
        if (outcome.found && task.gpib) ProbeGPIBBoard(task, query, monitor, outcome);
    } catch (...) {
        outcome.error = std::current_exception();
        monitor.failed(task.index);
    }
    return outcome;
}
