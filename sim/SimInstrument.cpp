#include "sim/SimInstrument.h"

namespace tavrelsim {

SimInstrument::SimInstrument(std::unique_ptr<SimDevice> device, SimFaults faults,
                             std::optional<SimSerialSettings> line)
    : m_device(std::move(device)), m_faults(faults), m_line(line) {}

QString SimInstrument::model() const {
    return m_device->model();
}

void SimInstrument::receive(const QByteArray& bytes, bool end, const SimSerialSettings* host) {
    std::lock_guard lock(m_mutex);
    if (!hears(host)) return; // framing and parity errors: nothing the parser could use
    for (const QByteArray& message : m_input.feed(bytes, end))
        queue(m_device->execute(message, !m_output.empty()));
    for (int dropped = m_input.takeOverflows(); dropped > 0; --dropped)
        m_device->overflowed();
}

void SimInstrument::queue(SimResponse response) {
    if (response.bytes.isEmpty() || m_faults.silent) return;
    Output out;
    out.bytes = response.bytes;
    out.complete = response.complete;
    if (m_faults.dropAfterBytes >= 0 && out.bytes.size() > m_faults.dropAfterBytes) {
        out.bytes.truncate(m_faults.dropAfterBytes);
        out.complete = false;
        out.dropAfter = true;
    }
    out.readyAt = Clock::now() + std::chrono::milliseconds(m_faults.replyDelayMs);
    if (!m_output.empty()) out.readyAt = std::max(out.readyAt, m_output.back().readyAt);
    m_output.push_back(out);
    m_outputChanged.notify_all();
}

SimInstrument::Chunk SimInstrument::send(qsizetype maxBytes, int timeoutMs, bool toMessageEnd,
                                         const SimSerialSettings* host, const std::atomic<bool>* gone,
                                         bool talker) {
    std::unique_lock lock(m_mutex);
    const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(std::max(timeoutMs, 0));
    Chunk chunk;
    while (true) {
        if (gone && *gone) {
            chunk.timedOut = true;
            return chunk;
        }
        const Clock::time_point now = Clock::now();
        Clock::time_point wake = deadline;
        if (hears(host) && (talker || m_claims == 0) && !m_output.empty()) {
            if (m_output.front().readyAt <= now) break;
            wake = std::min(wake, m_output.front().readyAt);
        }
        if (now >= deadline) {
            chunk.timedOut = true;
            return chunk;
        }
        m_outputChanged.wait_until(lock, wake);
    }
    const Clock::time_point now = Clock::now();
    while (!m_output.empty() && chunk.data.size() < maxBytes && m_output.front().readyAt <= now) {
        Output& out = m_output.front();
        const qsizetype take = std::min(maxBytes - chunk.data.size(), out.bytes.size() - out.sent);
        if (chunk.data.isEmpty() && out.sent == 0 && take == out.bytes.size())
            chunk.data = out.bytes; // a whole response goes out shared, not copied (a 2 MB block)
        else
            chunk.data.append(out.bytes.constData() + out.sent, take);
        out.sent += take;
        if (out.sent < out.bytes.size()) break;
        const bool complete = out.complete;
        if (out.dropAfter) {
            // The line is gone: whatever else was under way with it is lost too.
            chunk.dropped = true;
            m_output.clear();
            m_input.reset();
            break;
        }
        m_output.pop_front();
        if (toMessageEnd) {
            chunk.end = complete;
            break;
        }
    }
    return chunk;
}

void SimInstrument::claimOutput(bool claim) {
    std::lock_guard lock(m_mutex);
    m_claims += claim ? 1 : -1;
    m_outputChanged.notify_all();
}

void SimInstrument::wake() {
    std::lock_guard lock(m_mutex);
    m_outputChanged.notify_all();
}

void SimInstrument::clear() {
    std::lock_guard lock(m_mutex);
    m_input.reset();
    m_output.clear();
    m_outputChanged.notify_all();
}

} // namespace tavrelsim
