#pragma once

#include "iolib/RawTransport.h"

#include <QString>
#include <memory>

class QTcpSocket;

namespace CorvaneIOUtilsLib {

// A raw SCPI socket ("TCPIP0::host::5025::SOCKET") through QTcpSocket, driven by its waitFor calls
// so that no event loop is needed. A socket has no END.
class LanTransport : public RawTransport {
public:
    // Connects within connectTimeoutMs; throws IOError (NotFound when nothing accepts the connection).
    LanTransport(const QString& host, quint16 port, QString resource, int connectTimeoutMs);
    ~LanTransport() override;

    void write(const QByteArray& bytes, int timeoutMs) override;
    ReadChunk read(qsizetype maxBytes, int timeoutMs) override;
    ReadCount readInto(char* out, qsizetype maxBytes, int timeoutMs) override;
    bool hasEnd() const override { return false; }
    // A raw socket has no device clear: bytes of an abandoned reply may still be on their way. The
    // connection is made anew, which also tells the instrument to drop what it had for the old one.
    void clear(int timeoutMs) override;
    void close() override;

private:
    void connectTo(int timeoutMs);
    enum class Direct { Ready, Timeout, Unavailable };
    Direct waitDirect(int timeoutMs, qsizetype& available);
    qsizetype receive(char* out, qsizetype maxBytes);
    ReadChunk readBuffered(qsizetype maxBytes, int timeoutMs);

    std::unique_ptr<QTcpSocket> m_socket;
    QString m_host;
    quint16 m_port = 0;
    QString m_resource;
};

} // namespace CorvaneIOUtilsLib
