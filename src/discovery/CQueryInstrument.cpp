#include "discovery/CQueryInstrument.h"

#include "base/Diagnostics.h"
#include "base/Localization.h"
#include "base/MessageBoxSeam.h"
#include "discovery/IdentificationMessage.h"
#include "iolib/IOError.h"
#include "iolib/IOManager.h"
#include "iolib/IOUtilsEnums.h"
#include "iolib/SerialSession.h"

#include <QElapsedTimer>
#include <chrono>
#include <thread>

using namespace CorvaneIOUtilsLib;

namespace {

const QString kClassName = QStringLiteral("CQueryInstrument");
const QString kQuery = QStringLiteral("*IDN?");
// An identification line is well under a hundred characters; a longer reply is not one.
constexpr qsizetype kIdentityReplyLimit = 4096;
const QString kSerialType = QStringLiteral("ASRL");
const QString kReadFormat = QStringLiteral("K");
const QString kSerialTypeCondition = QStringLiteral("(iioInstrument.IOType = 'ASRL')");
const QString kHandshakeCondition =
    QStringLiteral("(m_cioconfiguration.Handshake(iPortIndex) = CorvaneIOUtilsLib.RS232_HandShake_DTR_DSR Or "
                   "m_cioconfiguration.Handshake(iPortIndex) = CorvaneIOUtilsLib.RS232_HandShake_XON_XOFF)");
constexpr qsizetype kRS232PortLength = 4; // "COM" and one digit
constexpr int kDataBits = 8;
constexpr int kStopBits = 1;

// Closes the session whatever happens; a failing close must not hide the result.
void CloseQuietly(IOSession& session) {
    try {
        session.Close();
    } catch (const IOError&) {
    }
}

} // namespace

CQueryInstrument::CQueryInstrument() : m_ticks(&CQueryInstrument::SystemTickCount) {}

const std::array<QString, CQueryInstrument::kModelCount>& CQueryInstrument::ModelTable() {
    // The series' model list; TV340D stands twice (slots 17 and 22), as it always has.
    static const std::array<QString, kModelCount> models = {
        QStringLiteral("TV100A"), QStringLiteral("TV100B"), QStringLiteral("TV110A"),
        QStringLiteral("TV120A"), QStringLiteral("TV200A"), QStringLiteral("TV200B"),
        QStringLiteral("TV210A"), QStringLiteral("TV220A"), QStringLiteral("TV220B"),
        QStringLiteral("TV300A"), QStringLiteral("TV300B"), QStringLiteral("TV310A"),
        QStringLiteral("TV310B"), QStringLiteral("TV320A"), QStringLiteral("TV320B"),
        QStringLiteral("TV330A"), QStringLiteral("TV340D"), QStringLiteral("TV400A"),
        QStringLiteral("TV400B"), QStringLiteral("TV410A"), QStringLiteral("TV420A"),
        QStringLiteral("TV340D"), QStringLiteral("TV500A"), QStringLiteral("TV500B"),
    };
    return models;
}

void CQueryInstrument::IOConfigurationChanged(qint32 delayMs, const CIOconfiguration& configuration,
                                              std::shared_ptr<IOManager> manager) {
    m_delayMs = delayMs;
    m_configuration = configuration;
    m_manager = std::move(manager);
}

qint16 CQueryInstrument::IsValidInstrument(const QString& reply) {
    const qsizetype comma = reply.indexOf(u',');
    if (comma >= 0) return ModelCompatibility(reply.mid(comma + 1));
    return reply.isEmpty() ? IdentificationResult::NotFound : IdentificationResult::NotIEEE488;
}

qint16 CQueryInstrument::ModelCompatibility(const QString& text) {
    // Deliberately lenient: where the series prefix stands does not matter, and neither does the table.
    [[maybe_unused]] const qsizetype position = text.indexOf(ModelTable().front().left(2));
    return IdentificationResult::Supported;
}

QString CQueryInstrument::AppendAddressAt(const QString& text, const QString& address) const {
    return ::AppendAddressAt(text, address, m_configuration.IsStringGPIB(address));
}

std::unique_ptr<IOSession> CQueryInstrument::open(const QString& address) const {
    if (!m_manager) return nullptr;
    try {
        return m_manager->Open(address);
    } catch (const std::exception&) {
        // Whatever the library says, an address that cannot be opened is a port that is not there.
        return nullptr;
    }
}

qint16 CQueryInstrument::GPIBIDNQuery(const QString& address, QString& reply) {
    reply.clear();
    bool isGPIB;
    { isGPIB = m_configuration.IsStringGPIB(address); }
    if (!isGPIB) return IdentificationResult::WrongAddressKind;

    const std::unique_ptr<IOSession> session = open(address);
    if (!session) return IdentificationResult::PortNotFound;
    try {
        session->SetTimeout(kQueryTimeoutMs);
        session->SetReadLimit(kIdentityReplyLimit);
        session->Clear();
        session->WriteString(kQuery);
        Wait(m_delayMs);
        reply = session->ReadString(kReadFormat);
    } catch (const IOError&) {
        CloseQuietly(*session);
        reply.clear();
        return IdentificationResult::NotFound;
    }
    CloseQuietly(*session);
    return IsValidInstrument(reply);
}

qint16 CQueryInstrument::RS232IDNQuery(const QString& address, QString& reply) {
    reply.clear();
    bool isGPIB;
    { isGPIB = m_configuration.IsStringGPIB(address); }
    if (isGPIB) return IdentificationResult::WrongAddressKind;

    // Keywords of the address play no part: the serial settings come from the configuration.
    const QString port = address.left(kRS232PortLength);
    const std::unique_ptr<IOSession> session = open(port);
    if (!session) return IdentificationResult::PortNotFound;
    try {
        return exchangeRS232(*session, port, reply);
    } catch (const IOError&) {
        CloseQuietly(*session);
        reply.clear();
        return IdentificationResult::NotFound;
    }
}

qint16 CQueryInstrument::exchangeRS232(IOSession& session, const QString& port, QString& reply) {
    DropHandshake(session, m_delayMs, true);
    ReportAssertion(session.IOType() == kSerialType, kSerialTypeCondition, kClassName,
                    QStringLiteral("RS232IDNQuery"));
    auto* serial = dynamic_cast<SerialSession*>(&session);

    int portIndex;
    { portIndex = m_configuration.RS232PortIndex(port); }
    const int handshake = m_configuration.RS232Handshake(portIndex);
    if (serial) {
        serial->SetBaudRate(m_configuration.RS232BaudRate(portIndex));
        serial->SetParity(m_configuration.RS232Parity(portIndex));
        serial->SetHandShake(handshake);
    }
    ReportAssertion(handshake == RS232_HandShake_DTR_DSR || handshake == RS232_HandShake_XON_XOFF,
                    kHandshakeCondition, kClassName, QStringLiteral("RS232IDNQuery"));
    if (serial) {
        serial->SetDataBits(kDataBits);
        serial->SetStopBits(kStopBits);
    }
    session.SetTimeout(kQueryTimeoutMs);
    session.SetReadLimit(kIdentityReplyLimit);
    session.Clear();

    // A bare line end, sent as it is and without flow control, ends any half-received command.
    if (serial) {
        serial->SetHandShake(RS232_HandShake_None);
        const int endOut = serial->EndOut();
        serial->SetEndOut(RS232_EndOut_None);
        serial->WriteString(QStringLiteral("\r\n"));
        serial->SetEndOut(endOut);
        serial->SetHandShake(handshake);
    } else {
        session.WriteString(QStringLiteral("\r\n"));
    }

    Wait(m_delayMs);
    session.WriteString(kQuery);
    Wait(m_delayMs);
    reply = session.ReadString(kReadFormat);

    DropHandshake(session, m_delayMs, true);
    CloseQuietly(session);
    return reply.isEmpty() ? IdentificationResult::NotFound : IsValidInstrument(reply);
}

void CQueryInstrument::FlushRXBuffer(IOSession& session) {
    const int saved = session.Timeout();
    session.SetTimeout(kFlushTimeoutMs);
    // An instrument that never stops sending must not hold the flush forever.
    constexpr int kMaxFlushBytes = 64 * 1024;
    try {
        for (int i = 0; i < kMaxFlushBytes; ++i)
            session.ReadBytes(1);
    } catch (const IOError&) {
        // The timeout is how the loop ends.
    }
    session.SetTimeout(saved);
}

void CQueryInstrument::DropHandshake(IOSession& session, qint32 delayMs, bool raise) {
    ReportAssertion(session.IOType() == kSerialType, kSerialTypeCondition, kClassName,
                    QStringLiteral("DropHandshake"));
    Wait(kHandshakeSettleMs);
    auto* serial = dynamic_cast<SerialSession*>(&session);
    if (!serial) return;
    const int handshake = serial->HandShake();
    serial->SetHandShake(RS232_HandShake_None);
    serial->SetDTR(false);
    serial->SetRTS(false);
    if (delayMs > 0) Wait(delayMs);
    if (raise) {
        serial->SetDTR(true);
        serial->SetRTS(true);
        serial->SetHandShake(handshake);
    }
}

void CQueryInstrument::Wait(qint32 ms) {
    const quint32 entry = m_ticks();
    const qint64 until = qint64(entry) + ms;
    for (;;) {
        const quint32 now = m_ticks();
        if (qint64(now) > until) return;
        if (now < entry) {
            ReportAssertion(false, QStringLiteral("false"), kClassName, QStringLiteral("Wait"),
                            QStringLiteral("ElseIf"));
            throw InvalidPropertyValueError();
        }
        // Sleeping rather than spinning lets the other ports of a search go on meanwhile.
        std::this_thread::sleep_for(std::chrono::milliseconds(until - qint64(now) + 1));
    }
}

void CQueryInstrument::SetTickSource(TickSource ticks) {
    m_ticks = ticks ? std::move(ticks) : TickSource(&CQueryInstrument::SystemTickCount);
}

quint32 CQueryInstrument::SystemTickCount() {
    static const QElapsedTimer started = [] {
        QElapsedTimer timer;
        timer.start();
        return timer;
    }();
    return static_cast<quint32>(started.elapsed());
}

TestOutcome CQueryInstrument::Test(quintptr owner, const QString& address, QString& reply) {
    try {
        bool isGPIB;
        { isGPIB = m_configuration.IsStringGPIB(address); }
        const qint16 code = isGPIB ? GPIBIDNQuery(address, reply) : RS232IDNQuery(address, reply);
        // The caution looks for DTR/DSR only, so XON/XOFF and anything else get it.
        const bool caution =
            code == IdentificationResult::Supported && !isGPIB &&
            m_configuration.RS232Handshake(m_configuration.RS232PortIndex(address.left(kRS232PortLength))) !=
                RS232_HandShake_DTR_DSR;
        TestOutcome outcome{code, Localized(220),
                            IdentificationMessage(code, address, reply, isGPIB, caution)};
        ShowMessageBox({outcome.message, outcome.title, kTestMessageStyle, {}, 0, owner});
        return outcome;
    } catch (const TavrelError& error) {
        ReportFailure(error, kClassName, QStringLiteral("Test"));
        throw;
    }
}
