#pragma once

#include "iolib/RawTransport.h"
#include "iolib/ResourceAddress.h"

#include <QString>
#include <functional>
#include <memory>

struct __rpc_xdr;

namespace CorvaneIOUtilsLib {

class Vxi11Client;

// A VXI-11 link ("TCPIP0::host::inst0::INSTR"): the core channel's device_write and device_read with
// END, device_clear, destroy_link on close. The timeout of each operation goes to the instrument as
// its I/O and lock timeouts; the RPC call itself waits that long plus kReplyMarginMs.
class Vxi11Transport : public RawTransport {
public:
    static constexpr quint32 kCoreProgram = 0x0607AF;
    static constexpr quint32 kCoreVersion = 1;
    // What a server may take beyond the instrument's own timeout to answer a call.
    static constexpr int kReplyMarginMs = 1000;
    // The largest device_read asked for; a larger read takes several.
    static constexpr qsizetype kMaxRead = 4 * 1024 * 1024;

    // Asks the portmapper at host:portmapperPort for the core channel, connects and creates the
    // link, each within timeoutMs; throws IOError naming the address.
    Vxi11Transport(const ResourceAddress& address, quint16 portmapperPort, int timeoutMs);
    ~Vxi11Transport() override;

    void write(const QByteArray& bytes, int timeoutMs) override;
    ReadChunk read(qsizetype maxBytes, int timeoutMs) override;
    ReadCount readInto(char* out, qsizetype maxBytes, int timeoutMs) override;
    bool hasEnd() const override { return true; }
    void clear(int timeoutMs) override;
    void close() override;

    // The text of a VXI-11 device error code ("I/O timeout").
    static QString errorName(quint32 code);

    // The results of device_read as the server sends them after the reply's header: the error, the
    // reason and the data. The data's length is checked against requested before target(length)
    // gives where it goes (nullptr: nowhere it fits); false for results that do not decode.
    struct ReadResults {
        quint32 error = 0;
        quint32 reason = 0;
        quint32 length = 0;
    };
    static bool decodeReadResults(__rpc_xdr* x, quint32 requested, ReadResults& results,
                                  const std::function<char*(qsizetype)>& target);

private:
    // One device_read; target(n) gives where the n bytes of data go (nullptr: too many).
    ReadCount readCall(qsizetype maxBytes, int timeoutMs, const std::function<char*(qsizetype)>& target);
    [[noreturn]] void fail(quint32 code, const QString& what) const;

    std::unique_ptr<Vxi11Client> m_client;
    QString m_resource;
    QString m_device;
    quint32 m_link = 0;
    qsizetype m_maxWrite = 0;
    bool m_linked = false;
};

} // namespace CorvaneIOUtilsLib
