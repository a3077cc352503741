#pragma once

#include "iolib/backends/TcpStream.h"

#include <QByteArray>
#include <QString>
#include <functional>

struct __rpc_xdr;

namespace CorvaneIOUtilsLib {

// One ONC RPC connection over TCP (record marking on a plain socket), with libtirpc's XDR codec for
// the messages. Every call waits at most its own timeout, while bytes keep arriving, and never takes
// more memory for a reply than the caller's bound: a broken or hostile server costs an IOError, not
// a hang or an allocation of what it announces. Not for use from two threads at once.
class Vxi11Client {
public:
    using Codec = std::function<bool(__rpc_xdr*)>;

    // Connects within timeoutMs; throws IOError (NotFound when nothing accepts the connection).
    // what names the server in messages ("the portmapper", "the VXI-11 server").
    Vxi11Client(const QString& host, quint16 port, QString resource, QString what, int timeoutMs);
    ~Vxi11Client();
    Vxi11Client(const Vxi11Client&) = delete;
    Vxi11Client& operator=(const Vxi11Client&) = delete;

    // Sends one call and decodes its results from the reply. argsBytes bounds the encoded arguments,
    // replyLimit the reply's results. Throws IOError: Timeout when no reply came within timeoutMs
    // (the connection stays usable: a late reply is recognised and skipped), Dropped when the
    // connection went away, Protocol for a reply that is not a well-formed success, TooLarge for one
    // past replyLimit (the connection is then closed).
    void call(quint32 program, quint32 version, quint32 procedure, const Codec& args, qsizetype argsBytes,
              const Codec& results, qsizetype replyLimit, int timeoutMs);

    bool connected() const;
    void close();

    // The TCP port the portmapper at host:portmapperPort gives for a program; throws IOError
    // (NotFound when there is no portmapper or the program is not registered).
    static quint16 lookupPort(const QString& host, quint16 portmapperPort, quint32 program, quint32 version,
                              const QString& resource, int timeoutMs);

    // What the server's bytes are made into, apart from the socket they come from.

    // Fills exactly count bytes and returns true, or returns false when nothing came; once part of a
    // record is in, it throws rather than return false.
    using Receive = std::function<bool(char* out, qsizetype count)>;
    enum class Record { Whole, Nothing, TooLarge };
    // Reads one record of record marking (fragments, each after a 4-byte mark whose top bit says it
    // is the last) through receive. TooLarge, with announced set, as soon as a mark would take the
    // record past limit, before anything is taken for it.
    static Record readRecord(const Receive& receive, QByteArray& record, qsizetype limit,
                             qsizetype& announced);

    enum class Reply {
        Success,   // accepted and successful, and results took the rest
        Stale,     // a reply to another call
        Malformed, // not a reply, cut short, or results refused what followed the header
        Refused,   // the server denied the call (rejected: RPC version or authentication)
        Failed,    // accepted with an error: acceptStatus says which
    };
    // Decodes the record of a reply to the call xid, then its results.
    static Reply decodeReply(const QByteArray& record, quint32 xid, const Codec& results,
                             quint32& acceptStatus);

private:
    // Reads one whole record; false when the deadline passed first.
    bool receiveRecord(QByteArray& record, qsizetype limit, int timeoutMs);

    TcpStream m_stream;
    quint32 m_nextXid;
};

} // namespace CorvaneIOUtilsLib
