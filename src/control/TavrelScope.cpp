#include "control/TavrelScope.h"

#include "base/CDebug.h"
#include "base/Diagnostics.h"
#include "base/Languages.h"
#include "base/Localization.h"
#include "base/MessageBoxSeam.h"
#include "base/PropertyBag.h"
#include "base/PropertySteps.h"
#include "control/CTavrelEZ.h"
#include "control/PropertyPagesSeam.h"
#include "iolib/IOError.h"
#include "iolib/IOManager.h"
#include "tavrel/Version.h"

#include <QScopeGuard>

namespace {

const char* const kClass = "TavrelScope";
const QString kDefaultAddress = QStringLiteral("GPIB0::7::INSTR");
const QString kDefaultFontName = QStringLiteral("MS Sans Serif");
constexpr int kDefaultFontSize = 8;
constexpr qint32 kHelpContextInvalidValue = 1004;
// The runtime's own code for a failed file access, used when a help file cannot be copied.
constexpr qint32 kFileAccessError = 75;

const QStringList kAllPages = {QStringLiteral("TavrelPPSrchIO"), QStringLiteral("TavrelPPSrchCri"),
                               QStringLiteral("TavrelPPSetIO"), QStringLiteral("TavrelPPSetup")};
constexpr int kSetIOPagePosition = 2;
constexpr int kSetupsPagePosition = 3;
constexpr int kNoPreselectedPage = -1;

} // namespace

TavrelScope::TavrelScope(QObject* parent) : QObject(parent) {
    m_strHelpFile = kComponentHelpFile;
    // The diagnostics come first so that everything after can report; a new control logs to the
    // file from its first moment, until saved modes replace that.
    m_debug = std::make_unique<CDebug>();
    m_session = std::make_unique<CTavrelEZ>();
    m_setups = std::make_unique<SetupsTavrelScope>();
    connect(m_debug.get(), &CDebug::SupportMessage, this, &TavrelScope::SupportMessage);
    SetComponentDiagnostics(m_debug.get());
    m_debug->SetDebugMode(CDebug::MessageLogBit);
    m_debug->Trace(QStringLiteral("UserControl_Initialize"), QString::fromLatin1(kClass),
                   QStringLiteral("UserControl_Initialize"));
    m_ioconfiguration = std::make_unique<CIOconfiguration>();
    InitProperties();
    try {
        SetIOManager(CorvaneIOUtilsLib::IOManager::create());
    } catch (const CorvaneIOUtilsLib::IOError& e) {
        // The control still works without instrument I/O; calls that need it say so.
        m_debug->ReportError(ErrorNumber::ConnectionFailed, e.message(), QString::fromLatin1(kClass),
                             QStringLiteral("UserControl_Initialize"));
    }
    m_vSearchCriteria = QVariant::fromValue<qint16>(0);
    setFullPageList();
    resetSetups();
}

TavrelScope::~TavrelScope() {
    m_session->CloseConnection();
    if (ComponentDiagnostics() == m_debug.get()) SetComponentDiagnostics(nullptr);
}

void TavrelScope::InitProperties() {
    Reported(kClass, "UserControl_InitProperties", [&] {
        m_iFontSize = kDefaultFontSize;
        m_strFontName = kDefaultFontName;
        SetCountryCode(Tavrel_Language_English);
        m_ioconfiguration->SetActiveAddressString(kDefaultAddress);
        m_ioconfiguration->SetActiveAddressInstrumentID(QString());
        SetDebugEnabled(false);
        m_bDontShowSetupIOConfigurationWarning = false;
        m_strLastIOHandshakeAddress.clear();
        m_bInitialSearchMode = false;
        resetSetups();
        // A new control takes its font from the table without a language offset; with the English
        // table that is size 9, although the stored default of FontSize stays 8.
        m_iFontSize = LoadResString(103).toInt();
        m_strFontName = LoadResString(102);
    });
}

void TavrelScope::ReadProperties(PropertyBag& bag) {
    PropertySteps steps(bag, QString::fromLatin1(kClass), QStringLiteral("UserControl_ReadProperties"));
    PropertyBag& store = steps.store();
    m_debug->Trace(QStringLiteral("UserControl_ReadProperties"), QString::fromLatin1(kClass),
                   QStringLiteral("UserControl_ReadProperties"));
    steps(
        [&] { SetCountryCode(store.read(QStringLiteral("CountryCode"), Tavrel_Language_English).toInt()); });
    steps([&] {
        m_ioconfiguration->SetActiveAddressString(
            store.read(QStringLiteral("Address"), kDefaultAddress).toString());
    });
    steps([&] { m_strFontName = store.read(QStringLiteral("FontName"), kDefaultFontName).toString(); });
    steps([&] { SetFontSize(store.read(QStringLiteral("FontSize"), kDefaultFontSize).toInt()); });
    steps([&] { m_bDebugEnabled = store.read(QStringLiteral("DebugEnabled"), false).toBool(); });
    steps([&] {
        m_bDontShowSetupIOConfigurationWarning =
            store.read(QStringLiteral("DontShowSetupIOConfigurationWarning"), false).toBool();
    });
    steps([&] {
        m_strLastIOHandshakeAddress =
            store.read(QStringLiteral("LastIOHandshakeAddress"), QString()).toString();
    });
    steps([&] { m_bInitialSearchMode = store.read(QStringLiteral("InitialSearchMode"), false).toBool(); });
    steps([&] { m_session->ReadProperties(store); });
    steps([&] {
        m_session->SetAutomationServerAddress(m_ioconfiguration->ActiveAutomationServerAddress());
        m_session->SetDebugEnabled(m_bDebugEnabled);
    });
    steps([&] { m_ioconfiguration->ReadProperties(store); });
    handLanListToManager();
    steps([&] { m_setups->ReadProperties(store); });
    m_setups->SetCTavrelEZPtr(m_session.get());
    steps([&] { m_debug->ReadProperties(store); });
    steps.finish();
}

void TavrelScope::WriteProperties(PropertyBag& bag) {
    PropertySteps steps(bag, QString::fromLatin1(kClass), QStringLiteral("UserControl_WriteProperties"));
    PropertyBag& store = steps.store();
    m_debug->Trace(QStringLiteral("UserControl_WriteProperties"), QString::fromLatin1(kClass),
                   QStringLiteral("UserControl_WriteProperties"));
    steps([&] {
        store.write(QStringLiteral("CountryCode"), m_lCountryCode, Tavrel_Language_English);
        store.write(QStringLiteral("Address"), m_ioconfiguration->ActiveAddressString(), kDefaultAddress);
        store.write(QStringLiteral("FontName"), m_strFontName, kDefaultFontName);
        store.write(QStringLiteral("FontSize"), m_iFontSize, kDefaultFontSize);
        store.write(QStringLiteral("DebugEnabled"), m_bDebugEnabled, false);
        store.write(QStringLiteral("DontShowSetupIOConfigurationWarning"),
                    m_bDontShowSetupIOConfigurationWarning, false);
        store.write(QStringLiteral("LastIOHandshakeAddress"), m_strLastIOHandshakeAddress, QString());
        store.write(QStringLiteral("InitialSearchMode"), m_bInitialSearchMode, false);
    });
    steps([&] { m_session->WriteProperties(store); });
    steps([&] { m_ioconfiguration->WriteProperties(store); });
    steps([&] { m_setups->WriteProperties(store); });
    steps([&] { m_debug->WriteProperties(store); });
    steps.finish();
}

void TavrelScope::SetCountryCode(int countryCode) {
    Reported(kClass, "Let CountryCode", [&] {
        const LanguageInfo* language = FindLanguage(countryCode);
        if (!language) {
            ReportAssertion(false, QStringLiteral("False"), QString::fromLatin1(kClass),
                            QStringLiteral("CountryCode"), QStringLiteral("Case Else"));
            throw InvalidPropertyValueError(106, 0);
        }
        if (language->needsDoubleByte && !IsDoubleByteCodePage()) {
            ReportAssertion(false, QStringLiteral("False"), QString::fromLatin1(kClass),
                            QStringLiteral("CountryCode"), language->caseLabel);
            throw InvalidPropertyValueError(107, kHelpContextInvalidValue);
        }
        m_lCountryCode = countryCode;
        SetStringOffset(language->offset);
        if (!InstallLanguageHelpFiles(language->offset))
            m_debug->ReportError(kFileAccessError, Localized(108), QString::fromLatin1(kClass),
                                 QStringLiteral("CountryCode"));
        applyLanguageFonts();
    });
}

void TavrelScope::resetSetups() {
    // Position 1 each time, so that the last instrument setup stays as it was.
    for (int i = m_setups->Count(); i > 0; --i)
        m_setups->Remove(1);
    m_setups->SetCTavrelEZPtr(m_session.get());
}

void TavrelScope::applyLanguageFonts() {
    m_strFontName = Localized(102);
    m_iFontSize = Localized(103).toInt();
}

void TavrelScope::SetIOManager(std::shared_ptr<CorvaneIOUtilsLib::IOManager> manager) {
    m_ioManager = std::move(manager);
    m_session->SetIOManager(m_ioManager);
    handLanListToManager();
}

QString TavrelScope::LANInstruments() const {
    return m_ioconfiguration->LANInstrumentsText();
}

void TavrelScope::SetLANInstruments(const QString& entries) {
    Reported(kClass, "Let LANInstruments", [&] {
        m_ioconfiguration->SetLANInstrumentsText(entries);
        handLanListToManager();
    });
}

void TavrelScope::handLanListToManager() {
    if (m_ioManager) m_ioManager->SetListedLanInstruments(m_ioconfiguration->LANInstruments());
}

void TavrelScope::Initialize() {
    // Told whether the session opened or not, so that a face showing the state follows it.
    const auto tell = qScopeGuard([this] { emit ConnectionChanged(); });
    Reported(kClass, "Initialize", [&] {
        // The session opens whatever address the I/O configuration holds now.
        m_session->SetAutomationServerAddress(m_ioconfiguration->ActiveAutomationServerAddress());
        m_session->Initialize();
    });
}

void TavrelScope::CloseConnection() {
    m_session->CloseConnection();
    emit ConnectionChanged();
}

bool TavrelScope::InstrumentConnected() const {
    return m_session->InstrumentConnected();
}

QString TavrelScope::ConnectionName() const {
    return m_session->ConnectionName();
}

int TavrelScope::TXDelay() const {
    return m_session->TXDelay();
}

void TavrelScope::SetTXDelay(int delay) {
    Reported(kClass, "Let TXDelay", [&] { m_session->SetTXDelay(delay); });
}

bool TavrelScope::ResetOnInitialize() const {
    return m_session->ResetOnInitialize();
}

void TavrelScope::SetResetOnInitialize(bool reset) {
    m_session->SetResetOnInitialize(reset);
}

bool TavrelScope::CheckIDOnInitialize() const {
    return m_session->CheckIDOnInitialize();
}

void TavrelScope::SetCheckIDOnInitialize(bool check) {
    m_session->SetCheckIDOnInitialize(check);
}

QString TavrelScope::AutomationServerAddress() const {
    return m_session->AutomationServerAddress();
}

QString TavrelScope::Address() const {
    return m_ioconfiguration->ActiveAddressString();
}

void TavrelScope::SetAddress(const QString& address) {
    Reported(kClass, "Let Address", [&] { m_ioconfiguration->SetActiveAddressString(address); });
}

void TavrelScope::SetFontSize(int size) {
    Reported(kClass, "Let FontSize", [&] {
        RequireValid(size >= -32768 && size <= 32767,
                     QStringLiteral("(iFontSize >= -32768 And iFontSize <= 32767)"),
                     QString::fromLatin1(kClass), QStringLiteral("Let FontSize"));
        m_iFontSize = size;
    });
}

bool TavrelScope::DTROnly() const {
    return m_ioconfiguration->DTROnly();
}

void TavrelScope::SetDTROnly(bool dtrOnly) {
    Reported(kClass, "Let DTROnly", [&] { m_ioconfiguration->SetDTROnly(dtrOnly); });
}

qint32 TavrelScope::SupportMessageMode() const {
    return m_debug->DebugMode();
}

void TavrelScope::SetSupportMessageMode(qint32 mode) {
    m_debug->SetDebugMode(mode);
}

void TavrelScope::setFullPageList() {
    for (int i = 0; i < 5; ++i)
        m_astrPropertyPages[i] = i < kAllPages.size() ? kAllPages[i] : QString();
}

QStringList TavrelScope::PropertyPageList() const {
    return QStringList(m_astrPropertyPages.begin(), m_astrPropertyPages.end());
}

void TavrelScope::ShowPropertyPages(int pages) {
    Reported(kClass, "ShowPropertyPages", [&] {
        startPageWorkingCopy();
        const auto shown = [this] {
            QStringList list;
            for (const QString& page : m_astrPropertyPages)
                if (!page.isEmpty()) list.append(page);
            return list;
        };
        switch (pages) {
        case Tavrel_ShowPropertyPage_Default:
            setFullPageList();
            ShowPropertyPagesThroughSeam(this, shown(), kNoPreselectedPage);
            break;
        case Tavrel_ShowPropertyPage_Search:
            m_astrPropertyPages = {kAllPages[0], kAllPages[1], QString(), QString(), QString()};
            ShowPropertyPagesThroughSeam(this, shown(), kNoPreselectedPage);
            setFullPageList();
            break;
        case Tavrel_ShowPropertyPage_Setups:
            setFullPageList();
            ShowPropertyPagesThroughSeam(this, shown(), kSetupsPagePosition);
            break;
        case Tavrel_ShowPropertyPage_SetIO:
            setFullPageList();
            ShowPropertyPagesThroughSeam(this, shown(), kSetIOPagePosition);
            break;
        default:
            ReportAssertion(false, QStringLiteral("False"), QString::fromLatin1(kClass),
                            QStringLiteral("ShowPropertyPages"), QStringLiteral("Case Else"));
            // This refusal has always carried the text of 107, not 106.
            throw InvalidPropertyValueError(107, kHelpContextInvalidValue);
        }
    });
}

// Scope operations.

namespace {
const QString kVersion = QStringLiteral(TAVREL_VERSION_STRING);
} // namespace

BrumelTB::AcquisitionTavrel& TavrelScope::Acquisition() {
    return Reported(
        kClass, "Acquisition", [&]() -> auto& { return m_session->Acquisition(); });
}

BrumelTB::AnalogChannelsTavrel& TavrelScope::AnalogChannels() {
    return Reported(
        kClass, "AnalogChannels", [&]() -> auto& { return m_session->AnalogChannels(); });
}

BrumelTB::LogicChannelTavrel& TavrelScope::LogicChannel() {
    return Reported(
        kClass, "LogicChannel", [&]() -> auto& { return m_session->LogicChannel(); });
}

BrumelTB::MeasureTavrel& TavrelScope::Measure() {
    return Reported(
        kClass, "Measure", [&]() -> auto& { return m_session->Measure(); });
}

BrumelTB::TimebaseTavrel& TavrelScope::Timebase() {
    return Reported(
        kClass, "Timebase", [&]() -> auto& { return m_session->Timebase(); });
}

BrumelTB::TriggerTavrel& TavrelScope::Trigger() {
    return Reported(
        kClass, "Trigger", [&]() -> auto& { return m_session->Trigger(); });
}

BrumelTB::TraceTavrel& TavrelScope::Trace() {
    return Reported(
        kClass, "Trace", [&]() -> auto& { return m_session->Trace(); });
}

BrumelTB::UtilitiesTavrel& TavrelScope::Utilities() {
    return Reported(
        kClass, "Utilities", [&]() -> auto& { return m_session->Utilities(); });
}

void TavrelScope::AutoScale() {
    Reported(kClass, "AutoScale", [&] { m_session->AutoScale(); });
}

void TavrelScope::Digitize() {
    Reported(kClass, "Digitize", [&] { m_session->Digitize(); });
}

void TavrelScope::Run() {
    Reported(kClass, "Run", [&] { m_session->Run(); });
}

void TavrelScope::SingleTrigger() {
    Reported(kClass, "SingleTrigger", [&] { m_session->SingleTrigger(); });
}

void TavrelScope::StopTrigger() {
    Reported(kClass, "StopTrigger", [&] { m_session->StopTrigger(); });
}

void TavrelScope::Enter(QVariant& inputBuffer, const QVariant& format) {
    Reported(kClass, "Enter", [&] { m_session->Enter(inputBuffer, format); });
}

void TavrelScope::Output(const QVariant& outputBuffer) {
    Reported(kClass, "Output", [&] { m_session->Output(outputBuffer); });
}

qint64 TavrelScope::ReadLimit() const {
    return m_session->ReadLimit();
}

void TavrelScope::SetReadLimit(qint64 bytes) {
    Reported(kClass, "SetReadLimit", [&] { m_session->SetReadLimit(bytes); });
}

void TavrelScope::ReadBytes(qint32& count, QByteArray& buffer) {
    Reported(kClass, "ReadBytes", [&] { m_session->ReadBytes(count, buffer); });
}

void TavrelScope::WriteBytes(qint32 count, const QByteArray& buffer) {
    Reported(kClass, "WriteBytes", [&] { m_session->WriteBytes(count, buffer); });
}

void TavrelScope::GetWaveformData(Tavrel_AnalogChannels channel, Tavrel_WaveformPoints points,
                                  QVector<double>& time, QVector<double>& data) {
    Reported(kClass, "GetWaveformData", [&] { m_session->GetWaveformData(channel, points, time, data); });
}

void TavrelScope::GetAllWaveformData(Tavrel_WaveformPoints points, QList<BrumelTB::ChannelWaveform>& data) {
    Reported(kClass, "GetAllWaveformData", [&] { m_session->GetAllWaveformData(points, data); });
}

void TavrelScope::GetLogicData(Tavrel_WaveformPoints points, QVector<double>& time, QVector<quint16>& data) {
    Reported(kClass, "GetLogicData", [&] { m_session->GetLogicData(points, time, data); });
}

QImage TavrelScope::GetScreenImage(Tavrel_ImageFormat format) {
    return Reported(kClass, "GetScreenImage", [&] { return m_session->GetScreenImage(format); });
}

void TavrelScope::SaveScreenImage(const QString& fileName, Tavrel_ImageFormat format) {
    Reported(kClass, "SaveScreenImage", [&] { m_session->SaveScreenImage(fileName, format); });
}

QString TavrelScope::AboutText() {
    return Localized(104) + QLatin1Char('\n') + Localized(121) + QLatin1Char('\n') + Localized(122) +
           QLatin1Char(' ') + kVersion + QLatin1Char('\n') + Localized(123);
}

void TavrelScope::AboutBox() {
    Reported(kClass, "AboutBox", [&] {
        MessageBoxRequest request;
        request.text = AboutText();
        request.title = Localized(120);
        request.style = kMessageBoxInformation;
        request.helpFile = m_strHelpFile;
        ShowMessageBox(request);
    });
}
