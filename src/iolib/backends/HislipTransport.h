#pragma once

#include "iolib/IOError.h"
#include "iolib/RawTransport.h"
#include "iolib/ResourceAddress.h"
#include "iolib/backends/HislipMessage.h"

#include <QDeadlineTimer>
#include <QString>
#include <memory>

namespace CorvaneIOUtilsLib {

class TcpStream;

// A HiSLIP session ("TCPIP0::host::hislip0[,port]::INSTR"): the synchronous channel carries the
// messages (Data, DataEnd), the asynchronous one the device clear and the size negotiation. A
// message's payload is passed on as it arrives, so a huge one costs no memory; DataEnd is the END
// that marks where a response stops. The server's Error and FatalError messages become IOErrors with
// the server's text.
class HislipTransport : public RawTransport {
public:
    // What we take in one message: a larger announcement is out of step or hostile.
    static constexpr quint64 kMaxPayload = quint64(1) << 40;
    // The most of a server's error text we read.
    static constexpr qsizetype kMaxErrorText = 64 * 1024;

    // Opens both channels within timeoutMs; throws IOError (NotFound when nothing accepts the
    // connection or the server refuses the sub-address, Timeout, Protocol for a server that does not
    // speak HiSLIP).
    HislipTransport(const ResourceAddress& address, int timeoutMs);
    ~HislipTransport() override;

    void write(const QByteArray& bytes, int timeoutMs) override;
    ReadChunk read(qsizetype maxBytes, int timeoutMs) override;
    ReadCount readInto(char* out, qsizetype maxBytes, int timeoutMs) override;
    bool hasEnd() const override { return true; }
    void clear(int timeoutMs) override;
    void close() override;

    quint16 sessionId() const { return m_sessionId; }
    quint64 serverMaximumMessageSize() const { return m_serverMaximum; }

private:
    // Reads exactly count bytes; false when nothing came within the timeout and mayTimeOut, IOError
    // Timeout when part came (the stream is then out of step and closed).
    bool receiveExact(TcpStream& stream, char* out, qsizetype count, int timeoutMs, bool mayTimeOut);
    bool receiveHeader(TcpStream& stream, Hislip::Header& header, int timeoutMs, bool mayTimeOut);
    // The header of the reply to a request on stream, whatever else comes first is refused.
    Hislip::Header expect(TcpStream& stream, quint8 type, const QString& request, int timeoutMs);
    QByteArray receivePayload(TcpStream& stream, quint64 length, qsizetype limit, int timeoutMs);
    void skipPayload(TcpStream& stream, quint64 length, int timeoutMs);
    [[noreturn]] void serverError(TcpStream& stream, const Hislip::Header& header, int timeoutMs,
                                  IOError::Kind kind);
    [[noreturn]] void outOfStep(const QString& what);

    QString m_resource;
    std::unique_ptr<TcpStream> m_sync;
    std::unique_ptr<TcpStream> m_async;
    quint16 m_sessionId = 0;
    quint64 m_serverMaximum = 0;
    quint32 m_messageId = Hislip::kFirstMessageId;
    quint64 m_pending = 0; // payload bytes of the current message not yet read
    bool m_endAfterPending = false;
    bool m_responseDelivered = false; // a whole response was read since the last write (RMT)
};

} // namespace CorvaneIOUtilsLib
