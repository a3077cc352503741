#pragma once

#include "sim/SimEndpoint.h"

#include <atomic>
#include <memory>
#include <mutex>

namespace tavrelsim {

class SimInstrument;

// A connection to a bench instrument as one kind of bus carries it.
//   Gpib:   every write ends with END; a read stops at the end of a response message and flags it.
//   Serial: a byte stream; the host's port settings must match the instrument's.
//   Socket: a byte stream (a LAN socket), commands end at "\n".
//   Link:   as Gpib, for a network link (VXI-11); while it is open the instrument's output goes to it
//           alone, as to the one addressed talker, and other connections' reads wait.
// Unlike the SimEndpoint minimum, reads and writes may come from two threads at once.
class SimConnection : public SimEndpoint {
public:
    enum Bus { Gpib, Serial, Socket, Link };
    SimConnection(std::shared_ptr<SimInstrument> instrument, Bus bus);
    ~SimConnection() override;

    void write(const QByteArray& bytes) override;
    SimReadResult read(qsizetype maxBytes, int timeoutMs) override;
    void clear() override;
    // The instrument's count of device clears (see SimReadResult::clears).
    quint64 clears() const;
    void setSerialSettings(const SimSerialSettings& settings) override;
    SimSerialSettings serialSettings() const;
    // Ends the connection from our side: a read blocked in another thread returns at once, and
    // every later read reports Dropped. Output stays with the instrument for the next connection.
    void close();

private:
    bool endsMessages() const { return m_bus == Gpib || m_bus == Link; }

    std::shared_ptr<SimInstrument> m_instrument;
    const Bus m_bus;
    mutable std::mutex m_settingsMutex;
    SimSerialSettings m_settings;
    std::atomic<bool> m_dropped{false};
    std::atomic<bool> m_talking{false}; // a Link holding the instrument's output
};

} // namespace tavrelsim
