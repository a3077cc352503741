#pragma once

#include "iolib/BufferedReader.h"
#include "iolib/IOError.h"
#include "iolib/IOSession.h"
#include "iolib/RawTransport.h"

#include <memory>

namespace CorvaneIOUtilsLib {

// The session calls every bus shares, implemented once over a RawTransport and the buffered reader.
// Interface is IOSession or one of its extensions (SerialSession), which adds its own calls on top.
template <typename Interface> class TransportSession : public Interface {
public:
    TransportSession(QString ioType, QString resource, std::unique_ptr<RawTransport> transport)
        : m_ioType(std::move(ioType)), m_resource(std::move(resource)), m_transport(std::move(transport)),
          m_reader(*m_transport, m_resource) {}
    ~TransportSession() override { Close(); }

    QString IOType() const override { return m_ioType; }
    QString ResourceName() const override { return m_resource; }

    int Timeout() const override { return m_timeoutMs; }
    void SetTimeout(int ms) override {
        if (ms < 0)
            throw IOError(IOError::Unsupported, m_resource + QStringLiteral(": a timeout of %1 ms").arg(ms));
        m_timeoutMs = ms;
    }

    void Clear() override {
        m_reader.discard();
        transport().clear(m_timeoutMs);
    }

    void WriteString(const QString& text) override { WriteBytes(text.toLatin1()); }
    void WriteBytes(const QByteArray& bytes) override { send(bytes); }

    QString ReadString(const QString& format) override {
        if (format.compare(QStringLiteral("K"), Qt::CaseInsensitive) != 0)
            throw IOError(
                IOError::Unsupported,
                m_resource + QStringLiteral(": read format \"%1\" is not supported (use \"K\")").arg(format));
        transport();
        return guarded(
            [&] { return QString::fromLatin1(m_reader.readLine(m_timeoutMs, this->ReadLimit())); });
    }
    QByteArray ReadBytes(qsizetype count) override {
        transport();
        return guarded([&] { return m_reader.readBytes(count, m_timeoutMs, this->ReadLimit()); });
    }
    void ReadBytesInto(char* out, qsizetype count) override {
        transport();
        guarded([&] { m_reader.readInto(out, count, m_timeoutMs); });
    }
    QByteArray ReadIEEEBlock() override {
        transport();
        return guarded([&] { return m_reader.readBlock(m_timeoutMs, this->ReadLimit()); });
    }

    QByteArray ReadIEEEBlockAsReceived() override {
        transport();
        QByteArray header;
        const QByteArray data =
            guarded([&] { return m_reader.readBlock(m_timeoutMs, this->ReadLimit(), &header); });
        return header + data;
    }

    QByteArray ReadResponse(bool& isBlock) override {
        transport();
        isBlock = guarded([&] { return m_reader.nextIsBlock(m_timeoutMs); });
        return isBlock ? ReadIEEEBlockAsReceived() : ReadString(QStringLiteral("K")).toLatin1();
    }

    QString Query(const QString& command) override {
        WriteString(command.endsWith(QLatin1Char('\n')) ? command : command + QLatin1Char('\n'));
        return ReadString(QStringLiteral("K"));
    }

    void Close() override {
        if (!m_open) return;
        m_open = false;
        m_transport->close();
    }

protected:
    // Where the bytes of every write go; a serial session adds its end-of-line handling here.
    virtual void send(const QByteArray& bytes) { transport().write(bytes, m_timeoutMs); }

    RawTransport& transport() {
        if (!m_open) throw IOError(IOError::Io, m_resource + QStringLiteral(": the session is closed"));
        return *m_transport;
    }

private:
    // A read that ended at a size or time bound leaves the rest of its reply on the way: the bus is
    // cleared so that the next command gets its own reply.
    template <typename Read> decltype(auto) guarded(Read&& read) {
        try {
            return std::forward<Read>(read)();
        } catch (const IOError&) {
            if (m_reader.overran()) {
                try {
                    m_transport->clear(m_timeoutMs);
                } catch (const IOError&) {
                    // The read's own error says more than a failed clear.
                }
            }
            throw;
        }
    }

    QString m_ioType;
    QString m_resource;
    std::unique_ptr<RawTransport> m_transport;
    BufferedReader m_reader;
    int m_timeoutMs = IOSession::kDefaultTimeoutMs;
    bool m_open = true;
};

// A session on a bus whose instruments take a command only at its line end (LAN sockets, USBTMC):
// every write ends with one, so that "*IDN?" is a complete command on every bus.
class LineEndSession : public TransportSession<IOSession> {
public:
    using TransportSession<IOSession>::TransportSession;

protected:
    void send(const QByteArray& bytes) override {
        TransportSession<IOSession>::send(bytes.endsWith('\n') ? bytes : bytes + '\n');
    }
};

} // namespace CorvaneIOUtilsLib
