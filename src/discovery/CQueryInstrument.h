#pragma once

#include "discovery/IdentificationResult.h"
#include "ioconfig/CIOconfiguration.h"

#include <QString>
#include <array>
#include <functional>
#include <memory>

namespace CorvaneIOUtilsLib {
class IOManager;
class IOSession;
} // namespace CorvaneIOUtilsLib

// What the instrument test showed: headless hosts get the text that the message box would hold.
struct TestOutcome {
    qint16 code = IdentificationResult::NotFound;
    QString title;
    QString message;
};

// Asks one address for its "*IDN?" identity over GPIB or a COM port and judges the reply. Every
// query opens and closes its own session; none is kept.
class CQueryInstrument {
public:
    // A millisecond counter that wraps at 2^32, like the system tick count the waits were written for.
    using TickSource = std::function<quint32()>;

    static constexpr qint32 kDefaultDelayMs = 50;
    static constexpr int kQueryTimeoutMs = 2500;
    static constexpr int kFlushTimeoutMs = 250;
    static constexpr int kHandshakeSettleMs = 10;
    static constexpr int kModelCount = 24;
    static constexpr int kTestMessageStyle = 65600; // information icon, brought to the foreground

    CQueryInstrument();

    // Holds a copy of the configuration, taken here: call again whenever the owner's one changes.
    void IOConfigurationChanged(qint32 delayMs, const CIOconfiguration& configuration,
                                std::shared_ptr<CorvaneIOUtilsLib::IOManager> manager);

    // Identifies the instrument at the address, shows the outcome through the message box seam and
    // hands back the raw reply. owner is the window the box belongs to (0 for none). Codes outside
    // 0..5 raise the invalid-value error (109/110 with the address) and show nothing.
    TestOutcome Test(quintptr owner, const QString& address, QString& reply);

    // 0 (through ModelCompatibility) for a reply with a comma; 4 for an empty one; 3 otherwise.
    static qint16 IsValidInstrument(const QString& reply);
    // Looks for the series prefix but accepts every model on purpose: every comma-separated reply is a
    // supported instrument, and the model table is never consulted.
    static qint16 ModelCompatibility(const QString& text);
    static const std::array<QString, kModelCount>& ModelTable();

    // AppendAddressAt with the configuration deciding whether the address is a GPIB one.
    QString AppendAddressAt(const QString& text, const QString& address) const;

    // The queries: result codes of IdentificationResult, never an I/O exception. The reply is empty
    // unless something answered.
    qint16 GPIBIDNQuery(const QString& address, QString& reply);
    qint16 RS232IDNQuery(const QString& address, QString& reply);

    // Empties a serial session's receive buffer: single bytes until a read times out.
    void FlushRXBuffer(CorvaneIOUtilsLib::IOSession& session);
    // Drops handshake, DTR and RTS for the delay; with raise set, raises both lines again and
    // restores the handshake.
    void DropHandshake(CorvaneIOUtilsLib::IOSession& session, qint32 delayMs, bool raise);
    // Waits until the tick count is past entry + ms. A counter that runs backwards (it wrapped)
    // reports the assertion and raises the invalid-value error.
    void Wait(qint32 ms);

    qint32 Delay() const { return m_delayMs; }
    const CIOconfiguration& Configuration() const { return m_configuration; }

    // The counter behind Wait; tests give one that wraps.
    void SetTickSource(TickSource ticks);
    // Milliseconds since the first call in this process, cut to 32 bits.
    static quint32 SystemTickCount();

private:
    qint16 exchangeRS232(CorvaneIOUtilsLib::IOSession& session, const QString& port, QString& reply);
    std::unique_ptr<CorvaneIOUtilsLib::IOSession> open(const QString& address) const;

    std::shared_ptr<CorvaneIOUtilsLib::IOManager> m_manager;
    CIOconfiguration m_configuration;
    qint32 m_delayMs = kDefaultDelayMs;
    TickSource m_ticks;
};
