#pragma once

#include <QByteArray>
#include <QString>
#include <cstring>

namespace CorvaneIOUtilsLib {

// An open connection to one instrument, as callers see it whatever the bus. Opened by IOManager;
// one session is used from one thread at a time. Failures are thrown as IOError.
class IOSession {
public:
    static constexpr int kDefaultTimeoutMs = 2000;
    // The largest reply one read takes unless the caller says otherwise: a block, a counted read or a
    // reply line. Reply lines are bounded further by BufferedReader::kLineLimit.
    static constexpr qsizetype kDefaultReadLimit = 64 * 1024 * 1024;

    virtual ~IOSession() = default;

    // "GPIB", "ASRL" (serial) or "TCPIP".
    virtual QString IOType() const = 0;
    // The resource opened: "GPIB0::7::INSTR", "COM1", "TCPIP0::host::5025::SOCKET".
    virtual QString ResourceName() const = 0;

    // The longest wait for a reply (or for output to leave) with no progress, in milliseconds.
    virtual int Timeout() const = 0;
    virtual void SetTimeout(int ms) = 0;
    // The read limit in bytes. A reply announced or growing past it ends with a TooLarge error before
    // memory is taken for it, and the session is cleared so that the next command starts afresh.
    virtual qsizetype ReadLimit() const { return m_readLimit; }
    virtual void SetReadLimit(qsizetype bytes) { m_readLimit = bytes > 0 ? bytes : kDefaultReadLimit; }

    // Device clear where the bus has one; pending input is discarded on every bus.
    virtual void Clear() = 0;

    // Text goes out as Latin-1, exactly as written; only a serial session's EndOut adds a line end.
    virtual void WriteString(const QString& text) = 0;
    virtual void WriteBytes(const QByteArray& bytes) = 0;

    // Format "K": one reply line without its line end.
    virtual QString ReadString(const QString& format = QStringLiteral("K")) = 0;
    // Exactly count bytes.
    virtual QByteArray ReadBytes(qsizetype count) = 0;
    // The same into the caller's memory (count bytes at out), for transfers too large to copy twice.
    virtual void ReadBytesInto(char* out, qsizetype count) {
        const QByteArray bytes = ReadBytes(count);
        std::memcpy(out, bytes.constData(), static_cast<size_t>(bytes.size()));
    }
    // An IEEE 488.2 definite-length block ("#3123...") or, on GPIB, an indefinite one ("#0...").
    virtual QByteArray ReadIEEEBlock() = 0;
    // The same block exactly as it arrived: its header followed by the data.
    virtual QByteArray ReadIEEEBlockAsReceived() = 0;

    // Whichever reply comes next: a block exactly as received (isBlock set) or one reply line.
    virtual QByteArray ReadResponse(bool& isBlock) = 0;

    // Writes the command, with a line end if it has none, and reads one reply line.
    virtual QString Query(const QString& command) = 0;

    // Releases the bus; the session cannot be used afterwards. Closing twice is harmless.
    virtual void Close() = 0;

private:
    qsizetype m_readLimit = kDefaultReadLimit;
};

// Sets a session's read limit for one read and puts the previous one back afterwards.
class ReadLimitScope {
public:
    ReadLimitScope(IOSession& session, qsizetype bytes)
        : m_session(session), m_previous(session.ReadLimit()) {
        session.SetReadLimit(bytes);
    }
    ~ReadLimitScope() { m_session.SetReadLimit(m_previous); }
    ReadLimitScope(const ReadLimitScope&) = delete;
    ReadLimitScope& operator=(const ReadLimitScope&) = delete;

private:
    IOSession& m_session;
    qsizetype m_previous;
};

} // namespace CorvaneIOUtilsLib
