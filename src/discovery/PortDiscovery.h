#pragma once

class CIOconfiguration;

namespace CorvaneIOUtilsLib {
class IOManager;
}

// Refreshing a configuration's exists flags from the I/O manager's resource listing. Nothing here
// opens a session. Errors of the listing itself propagate; flags cleared before them stay cleared.

// Every COM and GPIB exists flag, GPIB addresses included.
void RefreshPorts(CIOconfiguration& configuration, const CorvaneIOUtilsLib::IOManager& manager);

// Whether the manager lists GPIB interface port (0..3). Refreshes the interface's address exists
// flags; the caller stores the result in GPIBPortExists.
bool FindGPIBPort(int port, CIOconfiguration& configuration, const CorvaneIOUtilsLib::IOManager& manager);

// Whether the manager lists COM port (1..4). Changes nothing; the caller stores the result.
bool FindRS232Port(int port, const CIOconfiguration& configuration,
                   const CorvaneIOUtilsLib::IOManager& manager);
