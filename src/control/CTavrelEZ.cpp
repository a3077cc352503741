#include "control/CTavrelEZ.h"

#include "automation/ScopeTavrel.h"
#include "automation/ServerError.h"
#include "control/Diagnostics.h"
#include "control/Localization.h"
#include "discovery/CQueryInstrument.h"
#include "hosting/PropertyBag.h"
#include "iolib/IOError.h"
#include "iolib/IOManager.h"
#include "iolib/SerialSession.h"

namespace {

const char* const kClass = "CTavrelEZ";
const QString kHandshakeKeyword = QStringLiteral("Handshake=");
const QString kLineBreak = QStringLiteral("\r\n");
constexpr int kDefaultTXDelay = 50;

bool isComAddress(const QString& address) { return address.startsWith(QStringLiteral("COM"), Qt::CaseInsensitive); }

} // namespace

CTavrelEZ::CTavrelEZ(QObject* parent) : QObject(parent), m_strHelpFile(kComponentHelpFile) {}

CTavrelEZ::~CTavrelEZ() { CloseConnection(); }

void CTavrelEZ::SetAutomationServerAddress(const QString& address) {
    Reported(kClass, "AutomationServerAddress", [&] {
        if (address == m_strAutomationServerAddress)
            return;
        if (m_bInstrumentConnected)
            CloseConnection();
        // The server cannot assume a serial port's handshake, so a COM address must name it.
        if (isComAddress(address))
            ReportAssertion(address.contains(kHandshakeKeyword, Qt::CaseInsensitive),
                            QStringLiteral("(InStr(1, strAddress, HANDSHAKE_ADDRESS_KEYWORD, vbTextCompare) > 0)"),
                            QString::fromLatin1(kClass), QStringLiteral("AutomationServerAddress"));
        m_strAutomationServerAddress = address;
        emit PropertyChanged(QStringLiteral("AutomationServerAddress"));
    });
}

void CTavrelEZ::SetTXDelay(int delay) {
    Reported(kClass, "Let TXDelay", [&] {
        if (delay < 0) {
            ReportAssertion(false, QStringLiteral("false"), QString::fromLatin1(kClass), QStringLiteral("Let TXDelay"),
                            QStringLiteral("Else"));
            throw InvalidPropertyValueError();
        }
        if (delay == m_lTXDelay)
            return;
        m_lTXDelay = delay;
        emit PropertyChanged(QStringLiteral("TXDelay"));
    });
}

void CTavrelEZ::SetResetOnInitialize(bool reset) {
    if (reset == m_bResetOnInitialize)
        return;
    m_bResetOnInitialize = reset;
    emit PropertyChanged(QStringLiteral("ResetOnInitialize"));
}

void CTavrelEZ::SetCheckIDOnInitialize(bool check) {
    if (check == m_bCheckIDOnInitialize)
        return;
    m_bCheckIDOnInitialize = check;
    emit PropertyChanged(QStringLiteral("CheckIDOnInitialize"));
}

void CTavrelEZ::Initialize() {
    Reported(kClass, "Initialize", [&] {
        try {
            open();
        } catch (const CorvaneIOUtilsLib::IOError& e) {
            CloseConnection();
            raiseConnectionError(e.message());
        } catch (const BrumelTB::ServerError& e) {
            CloseConnection();
            raiseConnectionError(e.message());
        }
    });
}

void CTavrelEZ::open() {
    CloseConnection();
    if (!m_ioManager)
        raiseConnectionError(Localized(130));
    prepareInstrument();

    m_server = std::make_unique<BrumelTB::ScopeTavrel>(m_ioManager);
    m_server->Open(m_strAutomationServerAddress);
    m_strConnectionName = m_server->ConnectionName();
    emit ConnectionNameChanged(m_strConnectionName);
    if (m_bResetOnInitialize)
        m_server->Reset();
    if (m_bCheckIDOnInitialize && !m_server->IsCompatible()) {
        CloseConnection();
        raiseConnectionError();
    }
    m_bInstrumentConnected = true;
}

void CTavrelEZ::prepareInstrument() {
    // A raw session clears the instrument before the server opens it afresh. On a serial port it
    // also cycles the handshake lines and ends any partial command in the instrument's input with a
    // bare line end.
    auto session = m_ioManager->Open(m_strAutomationServerAddress);
    auto* serial = dynamic_cast<CorvaneIOUtilsLib::SerialSession*>(session.get());
    if (isComAddress(m_strAutomationServerAddress) && serial) {
        CQueryInstrument query;
        query.DropHandshake(*session, m_lTXDelay, true);
        const int endOut = serial->EndOut();
        serial->SetEndOut(CorvaneIOUtilsLib::RS232_EndOut_None);
        serial->WriteString(kLineBreak);
        serial->SetEndOut(endOut);
    }
    session->Clear();
    session->Close();
}

void CTavrelEZ::CloseConnection() {
    if (m_server) {
        try {
            m_bIsSerial = m_server->IsOpen() && m_server->IO().IOType() == QStringLiteral("ASRL");
            if (m_bIsSerial) {
                CQueryInstrument query;
                query.DropHandshake(m_server->IO(), m_lTXDelay, true);
            }
        } catch (...) {
            // Closing always succeeds; a port that went away is closed all the same.
        }
        m_server->Close();
        m_server.reset();
    }
    m_bInstrumentConnected = false;
}

BrumelTB::ScopeTavrel& CTavrelEZ::Server() {
    if (!m_server || !m_bInstrumentConnected)
        raiseConnectionError();
    return *m_server;
}

void CTavrelEZ::raiseConnectionError(const QString& detail) const {
    QString description = Localized(113) + kLineBreak + m_strAutomationServerAddress + kLineBreak + Localized(114) +
                          kLineBreak + Localized(115);
    if (!detail.isEmpty())
        description += kLineBreak + detail;
    throw TavrelError(ErrorNumber::ConnectionFailed, Localized(104), description, m_strHelpFile);
}

void CTavrelEZ::ReadProperties(PropertyBag& bag) {
    Reported(kClass, "ReadProperties", [&] {
        SetTXDelay(bag.read(QStringLiteral("TXDelay"), kDefaultTXDelay).toInt());
        // These two keys have always been spelled this way; existing documents depend on it.
        SetResetOnInitialize(bag.read(QStringLiteral("ResetOnIntialize"), false).toBool());
        SetCheckIDOnInitialize(bag.read(QStringLiteral("CheckIDOnIntialize"), false).toBool());
    });
}

void CTavrelEZ::WriteProperties(PropertyBag& bag) const {
    Reported(kClass, "WriteProperties", [&] {
        bag.write(QStringLiteral("TXDelay"), m_lTXDelay, kDefaultTXDelay);
        bag.write(QStringLiteral("ResetOnIntialize"), m_bResetOnInitialize, false);
        bag.write(QStringLiteral("CheckIDOnIntialize"), m_bCheckIDOnInitialize, false);
    });
}
