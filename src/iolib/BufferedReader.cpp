#include "iolib/BufferedReader.h"

#include <algorithm>
#include <cstring>

namespace CorvaneIOUtilsLib {

namespace {
constexpr qsizetype kLineChunk = 4096;
constexpr qsizetype kIndefiniteChunk = 64 * 1024;
// A header may announce up to 999,999,999 bytes; reserve no more than this up front so that a
// corrupt header does not allocate a gigabyte before the data fails to come.
constexpr qsizetype kMaxReserve = 64 * 1024 * 1024;

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

QString printable(const QByteArray& bytes) {
    QString out;
    for (char c : bytes) {
        const auto u = static_cast<unsigned char>(c);
        out +=
            (u >= 0x20 && u < 0x7f) ? QString(QChar(u)) : QStringLiteral("\\x%1").arg(u, 2, 16, QChar('0'));
    }
    return out;
}
} // namespace

BufferedReader::BufferedReader(RawTransport& transport, QString resource)
    : m_transport(transport), m_resource(std::move(resource)) {}

void BufferedReader::discard() {
    m_buffer.clear();
    m_pos = 0;
    m_ends.clear();
    m_dropped = false;
}

qsizetype BufferedReader::endOffset() const {
    for (qsizetype index : m_ends)
        if (index >= m_pos) return index - m_pos;
    return -1;
}

void BufferedReader::consume(qsizetype count) {
    m_pos += count;
    std::erase_if(m_ends, [this](qsizetype index) { return index < m_pos; });
    if (m_pos >= m_buffer.size()) {
        m_buffer.clear();
        m_pos = 0;
    } else if (m_pos > kLineChunk * 16 && m_pos > m_buffer.size() / 2) {
        m_buffer.remove(0, m_pos);
        for (qsizetype& index : m_ends)
            index -= m_pos;
        m_pos = 0;
    }
}

QByteArray BufferedReader::take(qsizetype count) {
    QByteArray out = (m_pos == 0 && count == m_buffer.size()) ? m_buffer : m_buffer.mid(m_pos, count);
    consume(count);
    return out;
}

void BufferedReader::fail(IOError::Kind kind, const QString& text) const {
    throw IOError(kind, m_resource + QStringLiteral(": ") + text);
}

void BufferedReader::startTotal(int timeoutMs) {
    m_overran = false;
    m_totalMs = static_cast<qint64>(std::max(timeoutMs, 0)) * kTotalTimeFactor;
    m_total = QDeadlineTimer(m_totalMs);
}

void BufferedReader::extendTotal(qint64 bytes) {
    const qint64 extra = bytes / kMinBytesPerMs;
    m_totalMs += extra;
    m_total = QDeadlineTimer(std::max<qint64>(0, m_total.remainingTime()) + extra);
}

void BufferedReader::failTooLarge(const QString& text) {
    m_buffer.clear();
    m_pos = 0;
    m_ends.clear();
    m_overran = true;
    fail(IOError::TooLarge, text);
}

void BufferedReader::failTotal() {
    const qsizetype got = buffered();
    m_buffer.clear();
    m_pos = 0;
    m_ends.clear();
    m_overran = true;
    fail(IOError::Timeout,
         QStringLiteral("the reply did not complete within %1 ms, the bound for the whole read (%2 bytes "
                        "were buffered)")
             .arg(m_totalMs)
             .arg(got));
}

ReadChunk::Status BufferedReader::fill(qsizetype maxBytes, QDeadlineTimer& deadline, int slideMs) {
    if (m_dropped) return ReadChunk::Dropped;
    for (;;) {
        // The sliding deadline never runs past the bound for the whole read.
        if (m_total.hasExpired()) failTotal();
        if (m_total.deadline() < deadline.deadline()) deadline = m_total;
        const int remaining = static_cast<int>(std::max<qint64>(0, deadline.remainingTime()));
        ReadChunk chunk = m_transport.read(std::max<qsizetype>(1, maxBytes), remaining);
        if (!chunk.data.isEmpty()) {
            m_buffer.append(chunk.data);
            if (chunk.end) m_ends.push_back(m_buffer.size() - 1);
            if (chunk.status == ReadChunk::Dropped) m_dropped = true;
            deadline.setRemainingTime(slideMs);
            return ReadChunk::Ok;
        }
        if (chunk.status == ReadChunk::Timeout || deadline.hasExpired()) {
            if (m_total.hasExpired()) failTotal();
            return ReadChunk::Timeout;
        }
        if (chunk.status != ReadChunk::Ok) return chunk.status;
    }
}

BufferedReader::Need BufferedReader::ensure(qsizetype count, qsizetype chunk, QDeadlineTimer& deadline,
                                            int timeoutMs) {
    for (;;) {
        const qsizetype end = endOffset();
        if (end >= 0 && end < count - 1) return Need::Ended;
        if (buffered() >= count) return Need::Ready;
        switch (fill(std::max(chunk, count - buffered()), deadline, timeoutMs)) {
        case ReadChunk::Ok:
            break;
        case ReadChunk::Timeout:
            return Need::Timeout;
        case ReadChunk::Dropped:
            return Need::Dropped;
        }
    }
}

bool BufferedReader::nextIsBlock(int timeoutMs) {
    startTotal(timeoutMs);
    QDeadlineTimer deadline(timeoutMs);
    // Leading white space (a stray line end) says nothing yet; the first other byte decides.
    for (;;) {
        while (buffered() > 0 && (m_buffer.at(m_pos) == '\r' || m_buffer.at(m_pos) == '\n') &&
               endOffset() != 0)
            consume(1);
        if (buffered() > 0) return m_buffer.at(m_pos) == '#';
        switch (ensure(1, kLineChunk, deadline, timeoutMs)) {
        case Need::Ready:
        case Need::Ended:
            break;
        case Need::Timeout:
            fail(IOError::Timeout, QStringLiteral("no reply within %1 ms").arg(timeoutMs));
        case Need::Dropped:
            fail(IOError::Dropped, QStringLiteral("the connection went away"));
        }
    }
}

QByteArray BufferedReader::readLine(int timeoutMs, qsizetype limit) {
    limit = std::min(limit, kLineLimit);
    startTotal(timeoutMs);
    QDeadlineTimer deadline(timeoutMs);
    qsizetype scanned = 0;
    for (;;) {
        qsizetype stop = m_buffer.indexOf('\n', m_pos + scanned);
        if (stop >= 0) stop -= m_pos;
        const qsizetype end = endOffset();
        if (end >= 0 && (stop < 0 || end < stop)) stop = end;
        if (stop > limit || (stop < 0 && buffered() > limit))
            failTooLarge(
                QStringLiteral("a reply line grew past %1 bytes, the most this read takes").arg(limit));
        if (stop >= 0) {
            QByteArray line = take(stop + 1);
            if (line.endsWith('\n')) {
                line.chop(1);
                if (line.endsWith('\r')) line.chop(1);
            }
            return line;
        }
        scanned = buffered();
        switch (fill(kLineChunk, deadline, timeoutMs)) {
        case ReadChunk::Ok:
            break;
        case ReadChunk::Timeout:
            // The unfinished line stays buffered: its end may still come with the next read.
            if (scanned > 0)
                fail(IOError::Timeout, QStringLiteral("a reply line of %1 bytes did not end within %2 ms")
                                           .arg(scanned)
                                           .arg(timeoutMs));
            fail(IOError::Timeout, QStringLiteral("no reply within %1 ms").arg(timeoutMs));
        case ReadChunk::Dropped:
            fail(IOError::Dropped, QStringLiteral("the connection went away"));
        }
    }
}

QByteArray BufferedReader::readBytes(qsizetype count, int timeoutMs, qsizetype limit) {
    if (count < 0) fail(IOError::Unsupported, QStringLiteral("cannot read %1 bytes").arg(count));
    if (count > limit)
        fail(IOError::TooLarge, QStringLiteral("a read of %1 bytes is more than the %2 bytes a read takes")
                                    .arg(count)
                                    .arg(limit));
    if (count == 0) return {};
    startTotal(timeoutMs);
    extendTotal(count);
    QDeadlineTimer deadline(timeoutMs);
    switch (ensure(count, 0, deadline, timeoutMs)) {
    case Need::Ready:
        return take(count);
    case Need::Ended: {
        const qsizetype got = endOffset() + 1;
        consume(got);
        fail(IOError::Truncated,
             QStringLiteral("the message ended after %1 of %2 bytes").arg(got).arg(count));
    }
    case Need::Timeout: {
        const qsizetype got = buffered();
        if (got == 0) fail(IOError::Timeout, QStringLiteral("no reply within %1 ms").arg(timeoutMs));
        consume(got);
        fail(IOError::Truncated, QStringLiteral("only %1 of %2 bytes arrived, then nothing for %3 ms")
                                     .arg(got)
                                     .arg(count)
                                     .arg(timeoutMs));
    }
    case Need::Dropped:
        break;
    }
    fail(IOError::Dropped, QStringLiteral("the connection went away during a read of %1 bytes").arg(count));
}

void BufferedReader::readInto(char* out, qsizetype count, int timeoutMs) {
    if (count < 0) fail(IOError::Unsupported, QStringLiteral("cannot read %1 bytes").arg(count));
    if (count == 0) return;
    qsizetype got = std::min(buffered(), count);
    const qsizetype end = endOffset();
    if (end >= 0 && end < count - 1) {
        consume(end + 1);
        fail(IOError::Truncated,
             QStringLiteral("the message ended after %1 of %2 bytes").arg(end + 1).arg(count));
    }
    std::memcpy(out, m_buffer.constData() + m_pos, static_cast<size_t>(got));
    consume(got);
    startTotal(timeoutMs);
    extendTotal(count);
    QDeadlineTimer deadline(timeoutMs);
    while (got < count) {
        if (m_dropped) break;
        if (m_total.hasExpired()) failTotal();
        if (m_total.deadline() < deadline.deadline()) deadline = m_total;
        const int remaining = static_cast<int>(std::max<qint64>(0, deadline.remainingTime()));
        const ReadCount read = m_transport.readInto(out + got, count - got, remaining);
        got += read.count;
        if (read.count > 0) {
            if (read.end && got < count)
                fail(IOError::Truncated,
                     QStringLiteral("the message ended after %1 of %2 bytes").arg(got).arg(count));
            m_dropped = read.status == ReadChunk::Dropped;
            deadline.setRemainingTime(timeoutMs);
            continue;
        }
        if (read.status == ReadChunk::Dropped) break;
        if (read.status == ReadChunk::Timeout || deadline.hasExpired()) {
            if (m_total.hasExpired()) failTotal();
            if (got == 0) fail(IOError::Timeout, QStringLiteral("no reply within %1 ms").arg(timeoutMs));
            fail(IOError::Truncated, QStringLiteral("only %1 of %2 bytes arrived, then nothing for %3 ms")
                                         .arg(got)
                                         .arg(count)
                                         .arg(timeoutMs));
        }
    }
    if (got < count)
        fail(IOError::Dropped,
             QStringLiteral("the connection went away during a read of %1 bytes").arg(count));
}

QByteArray BufferedReader::readBlock(int timeoutMs, qsizetype limit, QByteArray* header) {
    startTotal(timeoutMs);
    QDeadlineTimer deadline(timeoutMs);

    qsizetype skipped = 0;
    for (;;) {
        while (buffered() > 0 && m_buffer.at(m_pos) != '#') {
            if (skipped == kJunkLimit)
                fail(IOError::Protocol,
                     QStringLiteral("no block: more than %1 bytes arrived before a '#'").arg(kJunkLimit));
            consume(1);
            ++skipped;
        }
        if (buffered() > 0) break;
        switch (fill(kLineChunk, deadline, timeoutMs)) {
        case ReadChunk::Ok:
            break;
        case ReadChunk::Timeout:
            if (skipped > 0)
                fail(IOError::Timeout,
                     QStringLiteral("no block within %1 ms (%2 bytes that are not a block arrived)")
                         .arg(timeoutMs)
                         .arg(skipped));
            fail(IOError::Timeout, QStringLiteral("no reply within %1 ms").arg(timeoutMs));
        case ReadChunk::Dropped:
            fail(IOError::Dropped, QStringLiteral("the connection went away"));
        }
    }

    auto headerCutShort = [&](Need need) {
        if (need == Need::Dropped)
            fail(IOError::Dropped, QStringLiteral("the connection went away in a block header"));
        const QByteArray got = take(need == Need::Ended ? endOffset() + 1 : buffered());
        fail(IOError::Truncated, QStringLiteral("the block header stops after \"%1\"").arg(printable(got)));
    };

    if (const Need need = ensure(2, kLineChunk, deadline, timeoutMs); need != Need::Ready)
        headerCutShort(need);
    const char digitCount = m_buffer.at(m_pos + 1);
    if (!isDigit(digitCount)) {
        const QByteArray header = take(2);
        fail(IOError::Protocol,
             QStringLiteral("bad block header \"%1\": a digit must follow '#'").arg(printable(header)));
    }

    if (digitCount == '0') {
        const bool endsAtOnce = endOffset() == 1;
        if (header) *header = m_buffer.mid(m_pos, 2);
        consume(2);
        if (endsAtOnce) return {};
        return readIndefiniteBlock(timeoutMs, limit);
    }

    const int digits = digitCount - '0';
    if (const Need need = ensure(2 + digits, kLineChunk, deadline, timeoutMs); need != Need::Ready)
        headerCutShort(need);
    const QByteArray lengthText = m_buffer.mid(m_pos + 2, digits);
    if (!std::all_of(lengthText.begin(), lengthText.end(), isDigit)) {
        const QByteArray header = take(2 + digits);
        fail(IOError::Protocol, QStringLiteral("bad block header \"%1\": %2 length digits expected")
                                    .arg(printable(header))
                                    .arg(digits));
    }
    const bool endsAtOnce = endOffset() == 1 + digits;
    if (header) *header = m_buffer.mid(m_pos, 2 + digits);
    consume(2 + digits);
    const qint64 length = lengthText.toLongLong();
    if (length > limit)
        failTooLarge(QStringLiteral("a block of %1 bytes is announced; this read takes at most %2 bytes")
                         .arg(length)
                         .arg(limit));
    extendTotal(length);
    if (length == 0) {
        if (!endsAtOnce) consumeTrailer(timeoutMs);
        return {};
    }
    if (endsAtOnce)
        fail(IOError::Truncated,
             QStringLiteral("the message ended after the header of a %1-byte block").arg(length));
    return readDefiniteData(length, deadline, timeoutMs);
}

QByteArray BufferedReader::readDefiniteData(qint64 length, QDeadlineTimer& deadline, int timeoutMs) {
    QByteArray data;
    data.reserve(static_cast<qsizetype>(std::min<qint64>(length, kMaxReserve)));
    bool endOnLast = false;
    for (;;) {
        const qsizetype wanted = static_cast<qsizetype>(length - data.size());
        const qsizetype count = std::min(buffered(), wanted);
        if (count > 0) {
            const qsizetype end = endOffset();
            if (end >= 0 && end < count - 1 + (count < wanted ? 1 : 0)) {
                data.append(take(end + 1));
                fail(IOError::Truncated,
                     QStringLiteral("a block of %1 bytes ended after %2 bytes").arg(length).arg(data.size()));
            }
            endOnLast = end == count - 1;
            data.append(take(count));
        }
        if (data.size() == length) break;
        // Ask for everything still missing in one read: large transfers need few system calls.
        switch (fill(static_cast<qsizetype>(length - data.size()), deadline, timeoutMs)) {
        case ReadChunk::Ok:
            break;
        case ReadChunk::Timeout:
            fail(IOError::Truncated,
                 QStringLiteral("a block of %1 bytes stopped after %2 bytes: nothing more for %3 ms")
                     .arg(length)
                     .arg(data.size())
                     .arg(timeoutMs));
        case ReadChunk::Dropped:
            fail(IOError::Dropped, QStringLiteral("the connection went away after %1 of %2 bytes of a block")
                                       .arg(data.size())
                                       .arg(length));
        }
    }
    if (!endOnLast) consumeTrailer(timeoutMs);
    return data;
}

QByteArray BufferedReader::readIndefiniteBlock(int timeoutMs, qsizetype limit) {
    if (!m_transport.hasEnd())
        fail(IOError::Unsupported,
             QStringLiteral("an indefinite-length block (\"#0\") cannot be read on this bus: "
                            "it has no END to mark where the block stops"));
    QDeadlineTimer deadline(timeoutMs);
    for (;;) {
        if (const qsizetype end = endOffset(); end >= 0) {
            QByteArray data = take(end + 1);
            // IEEE 488.2 ends such a block with a line feed carrying END; it is not data.
            if (data.endsWith('\n')) data.chop(1);
            return data;
        }
        if (buffered() > limit)
            failTooLarge(
                QStringLiteral("an indefinite-length block grew past %1 bytes, the most this read takes")
                    .arg(limit));
        switch (fill(kIndefiniteChunk, deadline, timeoutMs)) {
        case ReadChunk::Ok:
            break;
        case ReadChunk::Timeout: {
            const qsizetype got = buffered();
            consume(got);
            fail(IOError::Truncated,
                 QStringLiteral(
                     "an indefinite-length block stopped after %1 bytes without END: nothing more for %2 ms")
                     .arg(got)
                     .arg(timeoutMs));
        }
        case ReadChunk::Dropped:
            fail(IOError::Dropped,
                 QStringLiteral("the connection went away during an indefinite-length block"));
        }
    }
}

void BufferedReader::consumeTrailer(int timeoutMs) {
    // The reply itself is complete: its short trailer wait is not held to the read's total bound.
    m_total = QDeadlineTimer(QDeadlineTimer::Forever);
    const int waitMs = std::min(timeoutMs, kTrailerWaitMs);
    QDeadlineTimer deadline(waitMs);
    if (buffered() == 0 && fill(2, deadline, waitMs) != ReadChunk::Ok) return;
    if (m_buffer.at(m_pos) == '\n') {
        consume(1);
        return;
    }
    if (m_buffer.at(m_pos) != '\r' || endOffset() == 0) return;
    if (buffered() < 2 && fill(1, deadline, waitMs) != ReadChunk::Ok) return;
    if (m_buffer.at(m_pos + 1) == '\n') consume(2);
}

} // namespace CorvaneIOUtilsLib
