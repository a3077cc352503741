#pragma once

#include <QByteArray>
#include <QString>

struct addrinfo;

namespace CorvaneIOUtilsLib {

// A plain TCP connection driven by poll, for protocols that frame their own messages on it (VXI-11's
// records, HiSLIP's headers): every wait has a timeout, the host name is looked up within it too, and
// a peer that hangs up costs an IOError, never a SIGPIPE. Not for use from two threads at once.
class TcpStream {
public:
    enum class Wait { Ready, Timeout, Failed };

    // Connects within timeoutMs; throws IOError (NotFound when nothing accepts the connection, Timeout
    // when nothing answers). what names the server in messages ("the portmapper").
    TcpStream(const QString& host, quint16 port, QString resource, QString what, int timeoutMs);
    ~TcpStream();
    TcpStream(const TcpStream&) = delete;
    TcpStream& operator=(const TcpStream&) = delete;

    bool connected() const { return m_fd >= 0; }
    void close();
    const QString& resource() const { return m_resource; }
    const QString& what() const { return m_what; }
    const QString& where() const { return m_where; } // "host:port"

    // Waits for events on the socket for at most remainingMs.
    Wait waitFor(short events, qint64 remainingMs);
    // Sends every byte, the deadline sliding while bytes go out; throws IOError Timeout (closing the
    // connection, since part of a message is out) or Dropped.
    void sendAll(const QByteArray& bytes, int timeoutMs);
    // What has arrived, at most count bytes, without waiting: 0 when nothing is there. Throws IOError
    // Dropped, saying when, if the peer closed the connection or it failed.
    qsizetype receiveNow(char* out, qsizetype count, const QString& when);
    // Closes the connection and throws IOError Dropped, saying when it went away.
    [[noreturn]] void failDropped(const QString& when);

private:
    // The addresses of host, looked up within timeoutMs; throws IOError.
    addrinfo* resolve(const QString& host, quint16 port, int timeoutMs) const;

    int m_fd = -1;
    QString m_resource;
    QString m_what;
    QString m_where;
};

} // namespace CorvaneIOUtilsLib
