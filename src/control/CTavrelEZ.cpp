#include "control/CTavrelEZ.h"

#include "automation/AcquisitionTavrel.h"
#include "automation/AnalogChannelsTavrel.h"
#include "automation/LogicChannelTavrel.h"
#include "automation/MeasureTavrel.h"
#include "automation/ScopeTavrel.h"
#include "automation/TimebaseTavrel.h"
#include "automation/TraceTavrel.h"
#include "automation/TriggerTavrel.h"
#include "automation/UtilitiesTavrel.h"
#include "base/Diagnostics.h"
#include "base/Localization.h"
#include "base/PropertyBag.h"
#include "base/PropertySteps.h"
#include "discovery/CQueryInstrument.h"
#include "iolib/IOManager.h"
#include "iolib/SerialSession.h"

namespace {

const char* const kClass = "CTavrelEZ";
const QString kHandshakeKeyword = QStringLiteral("Handshake=");
const QString kLineBreak = QStringLiteral("\r\n");
constexpr int kDefaultTXDelay = 50;

bool isComAddress(const QString& address) {
    return address.startsWith(QStringLiteral("COM"), Qt::CaseInsensitive);
}

} // namespace

CTavrelEZ::CTavrelEZ(QObject* parent) : QObject(parent), m_strHelpFile(kComponentHelpFile) {}

CTavrelEZ::~CTavrelEZ() {
    CloseConnection();
}

void CTavrelEZ::SetAutomationServerAddress(const QString& address) {
    Reported(kClass, "AutomationServerAddress", [&] {
        if (address == m_strAutomationServerAddress) return;
        if (m_bInstrumentConnected) CloseConnection();
        // The server cannot assume a serial port's handshake, so a COM address must name it.
        if (isComAddress(address))
            ReportAssertion(
                address.contains(kHandshakeKeyword, Qt::CaseInsensitive),
                QStringLiteral("(InStr(1, strAddress, HANDSHAKE_ADDRESS_KEYWORD, vbTextCompare) > 0)"),
                QString::fromLatin1(kClass), QStringLiteral("AutomationServerAddress"));
        m_strAutomationServerAddress = address;
        emit PropertyChanged(QStringLiteral("AutomationServerAddress"));
    });
}

void CTavrelEZ::SetTXDelay(int delay) {
    Reported(kClass, "Let TXDelay", [&] {
        if (delay < 0) {
            ReportAssertion(false, QStringLiteral("false"), QString::fromLatin1(kClass),
                            QStringLiteral("Let TXDelay"), QStringLiteral("Else"));
            throw InvalidPropertyValueError();
        }
        if (delay == m_lTXDelay) return;
        m_lTXDelay = delay;
        emit PropertyChanged(QStringLiteral("TXDelay"));
    });
}

void CTavrelEZ::SetResetOnInitialize(bool reset) {
    if (reset == m_bResetOnInitialize) return;
    m_bResetOnInitialize = reset;
    emit PropertyChanged(QStringLiteral("ResetOnInitialize"));
}

void CTavrelEZ::SetCheckIDOnInitialize(bool check) {
    if (check == m_bCheckIDOnInitialize) return;
    m_bCheckIDOnInitialize = check;
    emit PropertyChanged(QStringLiteral("CheckIDOnInitialize"));
}

void CTavrelEZ::Initialize() {
    // Only a failed identity check raises the identity error; a port that is not there, a reset that
    // times out or an address the library refuses reaches the host as itself, with its own text.
    Reported(kClass, "Initialize", [&] {
        try {
            open();
        } catch (const TavrelError&) {
            CloseConnection();
            throw;
        }
    });
}

void CTavrelEZ::open() {
    CloseConnection();
    if (!m_ioManager)
        throw TavrelError(ErrorNumber::ConnectionFailed, Localized(104), Localized(130), m_strHelpFile);
    prepareInstrument();

    m_server = std::make_unique<BrumelTB::ScopeTavrel>(m_ioManager);
    m_server->SetReadLimit(m_readLimit);
    m_server->Open(m_strAutomationServerAddress);
    m_strConnectionName = m_server->ConnectionName();
    emit ConnectionNameChanged(m_strConnectionName);
    if (m_bResetOnInitialize) m_server->Reset();
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

bool CTavrelEZ::InstrumentConnected() const {
    return m_bInstrumentConnected && m_server && m_server->IsOpen();
}

BrumelTB::ScopeTavrel& CTavrelEZ::Server() {
    if (!InstrumentConnected()) raiseConnectionError();
    return *m_server;
}

void CTavrelEZ::raiseConnectionError() const {
    const QString description = Localized(113) + kLineBreak + m_strAutomationServerAddress + kLineBreak +
                                Localized(114) + kLineBreak + Localized(115);
    throw TavrelError(ErrorNumber::ConnectionFailed, Localized(104), description, m_strHelpFile);
}

void CTavrelEZ::ReadProperties(PropertyBag& bag) {
    PropertySteps steps(bag, QString::fromLatin1(kClass), QStringLiteral("ReadProperties"));
    PropertyBag& store = steps.store();
    steps([&] { SetTXDelay(store.read(QStringLiteral("TXDelay"), kDefaultTXDelay).toInt()); });
    // These two keys have always been spelled this way; existing documents depend on it.
    steps([&] { SetResetOnInitialize(store.read(QStringLiteral("ResetOnIntialize"), false).toBool()); });
    steps([&] { SetCheckIDOnInitialize(store.read(QStringLiteral("CheckIDOnIntialize"), false).toBool()); });
    steps.finish();
}

void CTavrelEZ::WriteProperties(PropertyBag& bag) const {
    Reported(kClass, "WriteProperties", [&] {
        bag.write(QStringLiteral("TXDelay"), m_lTXDelay, kDefaultTXDelay);
        bag.write(QStringLiteral("ResetOnIntialize"), m_bResetOnInitialize, false);
        bag.write(QStringLiteral("CheckIDOnIntialize"), m_bCheckIDOnInitialize, false);
    });
}

// Scope operations.

template <typename Body> decltype(auto) CTavrelEZ::callServer(Body&& body) {
    return std::forward<Body>(body)(Server());
}

BrumelTB::AcquisitionTavrel& CTavrelEZ::Acquisition() {
    return callServer([](BrumelTB::ScopeTavrel & s) -> auto& { return s.Acquisition(); });
}

BrumelTB::AnalogChannelsTavrel& CTavrelEZ::AnalogChannels() {
    return callServer([](BrumelTB::ScopeTavrel & s) -> auto& { return s.AnalogChannels(); });
}

BrumelTB::LogicChannelTavrel& CTavrelEZ::LogicChannel() {
    return callServer([](BrumelTB::ScopeTavrel & s) -> auto& { return s.LogicChannel(); });
}

BrumelTB::MeasureTavrel& CTavrelEZ::Measure() {
    return callServer([](BrumelTB::ScopeTavrel & s) -> auto& { return s.Measure(); });
}

BrumelTB::TimebaseTavrel& CTavrelEZ::Timebase() {
    return callServer([](BrumelTB::ScopeTavrel & s) -> auto& { return s.Timebase(); });
}

BrumelTB::TriggerTavrel& CTavrelEZ::Trigger() {
    return callServer([](BrumelTB::ScopeTavrel & s) -> auto& { return s.Trigger(); });
}

BrumelTB::TraceTavrel& CTavrelEZ::Trace() {
    return callServer([](BrumelTB::ScopeTavrel & s) -> auto& { return s.Trace(); });
}

BrumelTB::UtilitiesTavrel& CTavrelEZ::Utilities() {
    return callServer([](BrumelTB::ScopeTavrel & s) -> auto& { return s.Utilities(); });
}

void CTavrelEZ::AutoScale() {
    callServer([](BrumelTB::ScopeTavrel& s) { s.AutoScale(); });
}

void CTavrelEZ::Digitize() {
    callServer([](BrumelTB::ScopeTavrel& s) { s.Digitize(); });
}

void CTavrelEZ::Run() {
    callServer([](BrumelTB::ScopeTavrel& s) { s.Run(); });
}

void CTavrelEZ::SingleTrigger() {
    callServer([](BrumelTB::ScopeTavrel& s) { s.Single(); });
}

void CTavrelEZ::StopTrigger() {
    callServer([](BrumelTB::ScopeTavrel& s) { s.Stop(); });
}

void CTavrelEZ::Enter(QVariant& inputBuffer, const QVariant& format) {
    const QString text = format.isValid() && !format.isNull() ? format.toString() : QStringLiteral("K");
    inputBuffer = callServer([&](BrumelTB::ScopeTavrel& s) { return s.Enter(text); });
}

void CTavrelEZ::Output(const QVariant& outputBuffer) {
    callServer([&](BrumelTB::ScopeTavrel& s) { s.Output(outputBuffer.toString()); });
}

void CTavrelEZ::SetReadLimit(qint64 bytes) {
    if (bytes <= 0) throw InvalidPropertyValueError();
    m_readLimit = bytes;
    if (m_server) m_server->SetReadLimit(bytes);
}

void CTavrelEZ::ReadBytes(qint32& count, QByteArray& buffer) {
    buffer = callServer([&](BrumelTB::ScopeTavrel& s) { return s.ReadBytes(count); });
    count = static_cast<qint32>(buffer.size());
}

void CTavrelEZ::WriteBytes(qint32 count, const QByteArray& buffer) {
    callServer([&](BrumelTB::ScopeTavrel& s) { s.WriteBytes(count, buffer); });
}

void CTavrelEZ::GetWaveformData(Tavrel_AnalogChannels channel, Tavrel_WaveformPoints points,
                                QVector<double>& time, QVector<double>& data) {
    callServer([&](BrumelTB::ScopeTavrel& s) { s.GetWaveformData(channel, points, time, data); });
}

void CTavrelEZ::GetAllWaveformData(Tavrel_WaveformPoints points, QList<BrumelTB::ChannelWaveform>& data) {
    data = callServer([&](BrumelTB::ScopeTavrel& s) { return s.GetAllWaveformData(points); });
}

void CTavrelEZ::GetLogicData(Tavrel_WaveformPoints points, QVector<double>& time, QVector<quint16>& data) {
    callServer([&](BrumelTB::ScopeTavrel& s) { s.GetLogicData(points, time, data); });
}

QImage CTavrelEZ::GetScreenImage(Tavrel_ImageFormat format) {
    return callServer([&](BrumelTB::ScopeTavrel& s) { return s.GetScreenImage(format); });
}

void CTavrelEZ::SaveScreenImage(const QString& fileName, Tavrel_ImageFormat format) {
    callServer([&](BrumelTB::ScopeTavrel& s) { s.SaveScreenImage(fileName, format); });
}

// Fetched afresh for every call: the session may have been reopened in between.
QVariant CTavrelEZ::ReadLearnString() {
    return Server().Utilities().ReadStateData();
}

void CTavrelEZ::WriteLearnString(const QVariant& learnString) {
    Server().Utilities().WriteStateData(learnString);
}

QString CTavrelEZ::InstrumentModel() {
    return Server().Utilities().InstrumentModel();
}

QString CTavrelEZ::InstrumentFirmwareVersion() {
    return Server().Utilities().InstrumentFirmwareVersion();
}
