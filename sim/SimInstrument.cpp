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

namespace {

// A definite-length block's header ("#3123") claiming excess bytes more than follow; anything else
// as it is.
QByteArray overstated(const QByteArray& bytes, int excess) {
    if (bytes.size() < 2 || bytes[0] != '#' || bytes[1] < '1' || bytes[1] > '9') return bytes;
    const int digits = bytes[1] - '0';
    if (bytes.size() < 2 + digits) return bytes;
    const qint64 length = bytes.mid(2, digits).toLongLong() + excess;
    const QByteArray claimed = QByteArray::number(length).rightJustified(digits, '0');
    if (claimed.size() != digits) return bytes;
    return bytes.left(2) + claimed + bytes.mid(2 + digits);
}

QByteArray noise(qsizetype size) {
    QByteArray bytes(size, Qt::Uninitialized);
    quint32 state = 0x2545F491u ^ quint32(size);
    for (char& c : bytes) {
        state = state * 1664525u + 1013904223u;
        c = char(state >> 24);
        if (c == '\n') c = '~';
    }
    return bytes;
}

} // namespace

void SimInstrument::setFaults(const SimFaults& faults) {
    std::lock_guard lock(m_mutex);
    m_faults = faults;
    m_outputChanged.notify_all();
}

qsizetype SimInstrument::Output::released(Clock::time_point now) const {
    if (now < readyAt) return 0;
    if (bytesPerSecond <= 0) return size();
    const double seconds = std::chrono::duration<double>(now - readyAt).count();
    return std::min<qsizetype>(size(), 1 + qsizetype(seconds * bytesPerSecond));
}

bool SimInstrument::Output::ready(Clock::time_point now) const {
    // An empty response (a drop at its first byte) is ready too: what it carries is the drop.
    return now >= readyAt && (released(now) > sent || sent >= size());
}

SimInstrument::Clock::time_point SimInstrument::Output::nextByteAt() const {
    if (bytesPerSecond <= 0) return readyAt;
    return readyAt + std::chrono::duration_cast<Clock::duration>(
                         std::chrono::duration<double>(double(sent) / bytesPerSecond));
}

void SimInstrument::queue(SimResponse response) {
    if (response.bytes.isEmpty() || m_faults.silent) return;
    Output out;
    out.bytes = response.bytes;
    out.complete = response.complete;
    if (m_faults.blockLengthExcess > 0) out.bytes = overstated(out.bytes, m_faults.blockLengthExcess);
    if (m_faults.truncateBlocks > 0 && out.bytes.startsWith('#')) {
        out.bytes.chop(std::min<qsizetype>(m_faults.truncateBlocks, out.bytes.size() - 1));
        out.complete = false;
    }
    if (m_faults.garbage) out.bytes = noise(out.bytes.size()) + '\n';
    if (m_faults.noLineEnd && out.bytes.endsWith('\n')) {
        out.bytes.chop(1);
        out.complete = false;
    }
    if (m_faults.endlessLineBytes > 0) {
        // Made as it goes out: a hundred megabytes need not sit in memory here.
        out.bytes.clear();
        out.endless = m_faults.endlessLineBytes;
        out.complete = false;
    }
    out.bytesPerSecond = m_faults.bytesPerSecond;
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
    chunk.clears = m_clears;
    while (true) {
        if (gone && *gone) {
            chunk.timedOut = true;
            return chunk;
        }
        const Clock::time_point now = Clock::now();
        Clock::time_point wake = deadline;
        if (hears(host) && (talker || m_claims == 0) && !m_output.empty()) {
            const Output& front = m_output.front();
            if (front.ready(now)) break;
            wake = std::min(wake, std::max(front.nextByteAt(), now + std::chrono::milliseconds(1)));
        }
        if (now >= deadline) {
            chunk.timedOut = true;
            return chunk;
        }
        m_outputChanged.wait_until(lock, wake);
    }
    const Clock::time_point now = Clock::now();
    chunk.clears = m_clears;
    while (!m_output.empty() && chunk.data.size() < maxBytes && m_output.front().ready(now)) {
        Output& out = m_output.front();
        const qsizetype take = std::min(maxBytes - chunk.data.size(), out.released(now) - out.sent);
        if (out.endless > 0)
            chunk.data.append(QByteArray(take, 'A'));
        else if (chunk.data.isEmpty() && out.sent == 0 && take == out.bytes.size())
            chunk.data = out.bytes; // a whole response goes out shared, not copied (a 2 MB block)
        else
            chunk.data.append(out.bytes.constData() + out.sent, take);
        out.sent += take;
        if (out.sent < out.size()) break;
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

quint64 SimInstrument::clears() const {
    std::lock_guard lock(m_mutex);
    return m_clears;
}

void SimInstrument::clear() {
    std::lock_guard lock(m_mutex);
    ++m_clears;
    m_input.reset();
    m_output.clear();
    m_outputChanged.notify_all();
}

} // namespace tavrelsim
