#pragma once

#include <QString>
#include <memory>

namespace CorvaneIOUtilsLib {
class IOManager;
class IOSession;
} // namespace CorvaneIOUtilsLib

namespace BrumelTB {

class UtilitiesTavrel;

// The automation server's main object: one connection to a Tavrel-series scope, opened on an
// address in the server's form ("GPIB0::7::INSTR", "COM1::Handshake=XON_XOFF"). The operation
// objects of the scope's subsystems hang off it and share its session.
class ScopeTavrel {
public:
    explicit ScopeTavrel(std::shared_ptr<CorvaneIOUtilsLib::IOManager> manager);
    ~ScopeTavrel();
    ScopeTavrel(const ScopeTavrel&) = delete;
    ScopeTavrel& operator=(const ScopeTavrel&) = delete;

    // Opens the connection; an open one is closed first. Throws the I/O library's IOError.
    void Open(const QString& address);
    void Close();
    bool IsOpen() const { return static_cast<bool>(m_session); }

    // The open I/O session; throws ServerError when nothing is open.
    CorvaneIOUtilsLib::IOSession& IO();
    // The name of the I/O connection: the resource the session was opened on.
    QString ConnectionName() const { return m_connectionName; }

    // The instrument's reset ("*RST"), waited for with "*OPC?".
    void Reset();
    // The instrument's "*IDN?" reply.
    QString Identify();
    // Whether the instrument's identity names a Tavrel-series model.
    bool IsCompatible();
    static bool IsTavrelIdentity(const QString& idnReply);
    // Reads the instrument's error queue and raises the first error it holds.
    void CheckInstrumentErrors();

    UtilitiesTavrel& Utilities();

private:
    std::shared_ptr<CorvaneIOUtilsLib::IOManager> m_manager;
    std::unique_ptr<CorvaneIOUtilsLib::IOSession> m_session;
    QString m_connectionName;
    std::unique_ptr<UtilitiesTavrel> m_utilities;
};

} // namespace BrumelTB
