#pragma once

#include <QByteArray>
#include <algorithm>
#include <cstring>

namespace CorvaneIOUtilsLib {

// What one raw read returns. A chunk with data is progress even when the bus also reported a timeout.
struct ReadChunk {
    enum Status { Ok, Timeout, Dropped };
    QByteArray data;
    bool end = false; // the last byte of data carried the bus's END
    Status status = Ok;
};

// What a read into the caller's memory did: as ReadChunk, with the byte count in place of the data.
struct ReadCount {
    qsizetype count = 0;
    bool end = false;
    ReadChunk::Status status = ReadChunk::Ok;
};

// The few operations a bus must offer; the session's formatted reads are built on them once, in
// BufferedReader, for every bus. Failures of write and clear are thrown as IOError.
class RawTransport {
public:
    virtual ~RawTransport() = default;

    virtual void write(const QByteArray& bytes, int timeoutMs) = 0;
    // Waits up to timeoutMs for at least one byte, then returns what is there, at most maxBytes.
    virtual ReadChunk read(qsizetype maxBytes, int timeoutMs) = 0;
    // The same, straight into out: a bus that can skips the copy through a chunk on large transfers.
    virtual ReadCount readInto(char* out, qsizetype maxBytes, int timeoutMs) {
        const ReadChunk chunk = read(maxBytes, timeoutMs);
        const qsizetype count = std::min(chunk.data.size(), maxBytes);
        std::memcpy(out, chunk.data.constData(), static_cast<size_t>(count));
        return {count, chunk.end, chunk.status};
    }
    // True where the bus marks the end of a message (GPIB EOI); reads then report it in ReadChunk::end.
    virtual bool hasEnd() const = 0;
    // Discards pending input, and on buses that have one sends a device clear.
    virtual void clear(int timeoutMs) = 0;
    // Releases the bus; must be safe to call twice.
    virtual void close() = 0;
};

} // namespace CorvaneIOUtilsLib
