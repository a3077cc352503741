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
// off as long as it makes progress.
class BufferedReader {
public:
    // Junk tolerated before a block's "#" (a stray line end, an echo); more means we are out of step.
    static constexpr qsizetype kJunkLimit = 64;
    // How long to wait for the line end that usually follows a definite-length block.
    static constexpr int kTrailerWaitMs = 100;

    BufferedReader(RawTransport& transport, QString resource);

    // One reply line without its "\n" and a "\r" before it; on a bus with END the line also ends there.
    QByteArray readLine(int timeoutMs);
    // Exactly count bytes; fewer is an error (Timeout when nothing came, Truncated otherwise).
    QByteArray readBytes(qsizetype count, int timeoutMs);
    // The same into the caller's memory, with the same errors; what is not yet buffered goes from the
    // bus straight to out. On an error out holds an unspecified part of what arrived.
    void readInto(char* out, qsizetype count, int timeoutMs);
    // An IEEE 488.2 block: "#" N digits, an N-digit length and the data; "#0" data up to END.
    // The header as it arrived ("#3123", "#0") goes to *header when asked for.
    QByteArray readBlock(int timeoutMs, QByteArray* header = nullptr);
    // Waits for the next reply and tells whether it is a block (it begins with "#"); nothing of the
    // reply is consumed.
    bool nextIsBlock(int timeoutMs);
    // Forgets everything buffered (after a clear).
    void discard();
    qsizetype buffered() const { return m_buffer.size() - m_pos; }

private:
    enum class Need { Ready, Ended, Timeout, Dropped };

    ReadChunk::Status fill(qsizetype maxBytes, QDeadlineTimer& deadline, int slideMs);
    Need ensure(qsizetype count, qsizetype chunk, QDeadlineTimer& deadline, int timeoutMs);
    QByteArray readIndefiniteBlock(int timeoutMs);
    QByteArray readDefiniteData(qint64 length, QDeadlineTimer& deadline, int timeoutMs);
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
};

} // namespace CorvaneIOUtilsLib
