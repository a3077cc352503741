#pragma once

#include "iolib/IOError.h"
#include "iolib/RawTransport.h"

#include <QByteArray>
#include <QDeadlineTimer>
#include <QString>
#include <vector>

namespace CorvaneIOUtilsLib {

// The session's formatted reads, written once for every bus: reply lines, counted reads and IEEE 488.2
// blocks over a RawTransport. Bytes read past a reply stay buffered for the next read. Every wait uses
// a deadline that moves forward while bytes keep arriving, so a long transfer at a low rate is not cut
// off as long as it makes progress; and every read has a total bound as well, so that a reply that
// trickles forever still ends: kTotalTimeFactor times the timeout, plus one millisecond for every
// kMinBytesPerMs bytes a block announces. Sizes are bounded before memory is taken: a block or
// counted read by the limit the caller passes, a reply line by kLineLimit as well.
class BufferedReader {
public:
    // Junk tolerated before a block's "#" (a stray line end, an echo); more means we are out of step.
    static constexpr qsizetype kJunkLimit = 64;
    // How long to wait for the line end that usually follows a definite-length block.
    static constexpr int kTrailerWaitMs = 100;
    // No instrument answers a query with a line this long; long data comes as blocks.
    static constexpr qsizetype kLineLimit = 1024 * 1024;
    static constexpr int kTotalTimeFactor = 10;
    // The slowest steady rate a large block may arrive at (1 MB/s) before its total bound ends it.
    static constexpr qint64 kMinBytesPerMs = 1000;

    BufferedReader(RawTransport& transport, QString resource);

    // One reply line without its "\n" and a "\r" before it; on a bus with END the line also ends there.
    QByteArray readLine(int timeoutMs, qsizetype limit = kLineLimit);
    // Exactly count bytes; fewer is an error (Timeout when nothing came, Truncated otherwise).
    QByteArray readBytes(qsizetype count, int timeoutMs, qsizetype limit);
    // The same into the caller's memory, with the same errors; what is not yet buffered goes from the
    // bus straight to out. On an error out holds an unspecified part of what arrived.
    void readInto(char* out, qsizetype count, int timeoutMs);
    // An IEEE 488.2 block: "#" N digits, an N-digit length and the data; "#0" data up to END.
    // The header as it arrived ("#3123", "#0") goes to *header when asked for.
    QByteArray readBlock(int timeoutMs, qsizetype limit, QByteArray* header = nullptr);
    // Waits for the next reply and tells whether it is a block (it begins with "#"); nothing of the
    // reply is consumed.
    bool nextIsBlock(int timeoutMs);
    // Forgets everything buffered (after a clear).
    void discard();
    qsizetype buffered() const { return m_buffer.size() - m_pos; }
    // Whether the last read ended at a size or total-time bound: the rest of that reply may still be
    // on its way, so the session clears the bus.
    bool overran() const { return m_overran; }

private:
    enum class Need { Ready, Ended, Timeout, Dropped };

    ReadChunk::Status fill(qsizetype maxBytes, QDeadlineTimer& deadline, int slideMs);
    Need ensure(qsizetype count, qsizetype chunk, QDeadlineTimer& deadline, int timeoutMs);
    QByteArray readIndefiniteBlock(int timeoutMs, qsizetype limit);
    QByteArray readDefiniteData(qint64 length, QDeadlineTimer& deadline, int timeoutMs);
    // Starts the total bound of one read; extend() adds the time an announced length deserves.
    void startTotal(int timeoutMs);
    void extendTotal(qint64 bytes);
    // Past a size bound the rest of the reply is of no use: it is dropped with what is buffered.
    [[noreturn]] void failTooLarge(const QString& text);
    [[noreturn]] void failTotal();
    void consumeTrailer(int timeoutMs);
    // Offset from the read position of the first byte that carried END, or -1.
    qsizetype endOffset() const;
    void consume(qsizetype count);
    QByteArray take(qsizetype count);
    [[noreturn]] void fail(IOError::Kind kind, const QString& text) const;

    RawTransport& m_transport;
    QString m_resource;
    QByteArray m_buffer;
    qsizetype m_pos = 0;
    std::vector<qsizetype> m_ends; // indices into m_buffer of bytes that carried END
    bool m_dropped = false;
    QDeadlineTimer m_total;
    qint64 m_totalMs = 0;
    bool m_overran = false;
};

} // namespace CorvaneIOUtilsLib
