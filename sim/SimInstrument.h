#pragma once

#include "sim/ScpiFramer.h"
#include "sim/SimDevice.h"
#include "sim/SimEndpoint.h"
#include "sim/SimFaults.h"

#include <QByteArray>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>

namespace tavrelsim {

// One instrument of the bench as the bus sees it: its input buffer and output queue, the faults it
// was given and, on a serial line, its own line settings. It owns the device behind it and is
// locked as a whole, so that connections to different instruments never wait for each other.
class SimInstrument {
public:
    using Clock = std::chrono::steady_clock;

    SimInstrument(std::unique_ptr<SimDevice> device, SimFaults faults = {},
                  std::optional<SimSerialSettings> line = std::nullopt);

    QString model() const; // empty for anything but a Tavrel scope
    const std::optional<SimSerialSettings>& lineSettings() const { return m_line; }

    // Bytes from the host. end: the last one carried END. host: the settings the host's port had
    // (serial only); on a mismatch the instrument hears garbage and drops it.
    void receive(const QByteArray& bytes, bool end, const SimSerialSettings* host = nullptr);

    struct Chunk {
        QByteArray data;
        bool end = false;     // the last byte ended a complete response message
        bool dropped = false; // the connection went away after these bytes
        bool timedOut = false;
        quint64 clears = 0; // see clears()
    };
    // Waits up to timeoutMs for readable output. toMessageEnd: stop at the end of a response
    // message (GPIB reads end at END). The host settings rule applies as for receive.
    // gone: the connection was closed meanwhile; the wait ends at once, empty-handed.
    // talker: the reader is a network link holding the output (see claimOutput).
    Chunk send(qsizetype maxBytes, int timeoutMs, bool toMessageEnd, const SimSerialSettings* host = nullptr,
               const std::atomic<bool>* gone = nullptr, bool talker = false);
    // A network link takes (true) or gives back (false) the output: while any holds it, only
    // talkers' reads get the output, and the others wait as if there were none.
    void claimOutput(bool claim);
    // Wakes every waiting send() so that it looks at its connection again.
    void wake();
    // Device clear: pending input and output are gone.
    void clear();
    // How many device clears there have been: output taken before the last one is stale.
    quint64 clears() const;
    // Changes the instrument's faults while it runs; responses queued from now on have them.
    void setFaults(const SimFaults& faults);

private:
    struct Output {
        QByteArray bytes;
        qsizetype sent = 0;
        bool complete = true;
        bool dropAfter = false;
        int bytesPerSecond = 0; // 0: all at once at readyAt
        qint64 endless = 0;     // made as it goes out: this many bytes of one endless line
        qsizetype size() const { return endless > 0 ? qsizetype(endless) : bytes.size(); }
        Clock::time_point readyAt;
        // How much of the response can have left by now, and when the next byte can.
        qsizetype released(Clock::time_point now) const;
        bool ready(Clock::time_point now) const;
        Clock::time_point nextByteAt() const;
    };
    bool hears(const SimSerialSettings* host) const { return !host || !m_line || *host == *m_line; }
    void queue(SimResponse response);

    mutable std::mutex m_mutex;
    std::condition_variable m_outputChanged;
    std::unique_ptr<SimDevice> m_device;
    SimFaults m_faults;
    const std::optional<SimSerialSettings> m_line;
    ScpiFramer m_input;
    std::deque<Output> m_output;
    int m_claims = 0;
    quint64 m_clears = 0;
};

} // namespace tavrelsim
