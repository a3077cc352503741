#pragma once

#include "iolib/IOSession.h"

#include <QStringList>
#include <memory>
#include <mutex>
#include <vector>

namespace CorvaneIOUtilsLib {

class IOBackend;

// Lists the instrument ports of this computer (or of a simulated bench) and opens sessions on
// address strings. Listing and opening may run in several threads at once, for different ports.
class IOManager {
public:
    // The backends the environment asks for: TAVREL_IO unset or empty for the computer's serial, GPIB
    // and LAN ports; "NAME" or "NAME:ARGUMENT" for backends added to IOBackendRegistry ("sim" for the
    // built-in simulated bench, "sim:PATH" for a bench file, when the simulator is linked in). Throws
    // IOError when the backends refuse the argument or TAVREL_IO names none of the registered ones.
    static std::shared_ptr<IOManager> create();

    // The computer's ports: serial (TAVREL_COM_PORTS), GPIB (linux-gpib, TAVREL_GPIB_LIBRARY) and LAN.
    IOManager();
    // Any set of backends, tried in order.
    IOManager(std::vector<std::unique_ptr<IOBackend>> backends, bool simulated);
    ~IOManager();
    IOManager(const IOManager&) = delete;
    IOManager& operator=(const IOManager&) = delete;

    // Resource strings matching a pattern: "GPIB*" (every listener on every board, "GPIB0::7::INSTR"),
    // "COM*" (every COM port, "COM1"), "TCPIP*" (LAN instruments announced over DNS-SD, then the
    // listed ones below), "USB*" (attached USBTMC instruments), a port ("GPIB0", "COM3": that port's
    // entries), "?*" (all). '*' and '?' are wildcards; matching ignores case. GPIB entries come first.
    QStringList FindRsrc(const QString& pattern) const;

    // LAN instruments a network cannot announce: resource strings that FindRsrc("TCPIP*") lists as
    // well (the control hands over its LAN list).
    void SetListedLanInstruments(const QStringList& resources);
    QStringList ListedLanInstruments() const;

    // Opens "GPIB<b>::<addr>::INSTR", "COM<n>[::Baud=..,Handshake=..,Parity=..,Size=..,Stop=..]",
    // "TCPIP<n>::<host>::<port>::SOCKET", "TCPIP<n>::<host>[::<device>]::INSTR" or
    // "USB<n>::<vendor>::<product>::<serial>[::<interface>]::INSTR". Throws IOError: BadAddress,
    // Unsupported (other address forms), NotFound (a port that is not there) or what the bus reports.
    std::unique_ptr<IOSession> Open(const QString& address) const;

    bool IsSimulated() const { return m_simulated; }

private:
    std::vector<std::unique_ptr<IOBackend>> m_backends;
    bool m_simulated = false;
    mutable std::mutex m_listedMutex;
    QStringList m_listedLan;
};

} // namespace CorvaneIOUtilsLib
