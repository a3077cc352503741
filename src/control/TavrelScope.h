#pragma once

#include "automation/CEnums.h"
#include "control/CTavrelEZ.h"
#include "control/IPPTavrelScope.h"
#include "ioconfig/CIOconfiguration.h"
#include "setups/SetupsTavrelScope.h"

#include <QObject>
#include <QStringList>
#include <QVariant>
#include <array>
#include <memory>

class CDebug;
class CTavrelEZ;
class PropertyBag;

namespace CorvaneIOUtilsLib {
class IOManager;
}

// The embeddable control: owns the I/O configuration and the diagnostics object, restores and
// saves its settings through the host's property store, selects the language of its texts and
// shows its property pages, which reach it through IPPTavrelScope.
class TavrelScope : public QObject, public IPPTavrelScope {
    Q_OBJECT
    Q_INTERFACES(IPPTavrelScope)
    // The host-visible properties, reached by late-bound hosts through the meta-object. DESIGNABLE
    // ones are what a property editor (and `tavrel doc set`) shows and sets.
    Q_PROPERTY(QString Address READ Address WRITE SetAddress)
    Q_PROPERTY(int CountryCode READ CountryCode WRITE SetCountryCode)
    Q_PROPERTY(QString FontName READ FontName WRITE SetFontName)
    Q_PROPERTY(int FontSize READ FontSize WRITE SetFontSize)
    Q_PROPERTY(bool DebugEnabled READ DebugEnabled WRITE SetDebugEnabled)
    Q_PROPERTY(bool DTROnly READ DTROnly WRITE SetDTROnly)
    Q_PROPERTY(qint32 SupportMessageMode READ SupportMessageMode WRITE SetSupportMessageMode)
    Q_PROPERTY(QString LastIOHandshakeAddress READ LastIOHandshakeAddress WRITE SetLastIOHandshakeAddress)
    Q_PROPERTY(bool InitialSearchMode READ InitialSearchMode WRITE SetInitialSearchMode)
    Q_PROPERTY(bool DontShowSetupIOConfigurationWarning READ DontShowSetupIOConfigurationWarning WRITE
                   SetDontShowSetupIOConfigurationWarning)
    Q_PROPERTY(int TXDelay READ TXDelay WRITE SetTXDelay)
    Q_PROPERTY(bool ResetOnInitialize READ ResetOnInitialize WRITE SetResetOnInitialize)
    Q_PROPERTY(bool CheckIDOnInitialize READ CheckIDOnInitialize WRITE SetCheckIDOnInitialize)
    Q_PROPERTY(
        QString AddressInstrumentID READ AddressInstrumentID WRITE SetAddressInstrumentID DESIGNABLE false)
    Q_PROPERTY(QVariant SearchCriteria READ SearchCriteria WRITE SetSearchCriteria DESIGNABLE false)
    Q_PROPERTY(QString LANInstruments READ LANInstruments WRITE SetLANInstruments)
    Q_PROPERTY(QString HelpFile READ HelpFile DESIGNABLE false)
    Q_PROPERTY(bool InstrumentConnected READ InstrumentConnected DESIGNABLE false)
    Q_PROPERTY(QString ConnectionName READ ConnectionName DESIGNABLE false)
    Q_PROPERTY(QString AutomationServerAddress READ AutomationServerAddress DESIGNABLE false)
    Q_PROPERTY(QStringList PropertyPageList READ PropertyPageList DESIGNABLE false)
public:
    explicit TavrelScope(QObject* parent = nullptr);
    ~TavrelScope() override;

    // The host's life-cycle calls after creation: defaults for a new control, or a saved one.
    // Reading and writing go on past a refused value (reported to the diagnostics) and raise the
    // first failure at the end, its detail naming the store and the key.
    void InitProperties();
    void ReadProperties(PropertyBag& bag);
    void WriteProperties(PropertyBag& bag);

    int CountryCode() const { return m_lCountryCode; }
    void SetCountryCode(int countryCode);
    QString Address() const;
    void SetAddress(const QString& address);
    QString AddressInstrumentID() const { return m_strAddressInstrumentID; }
    void SetAddressInstrumentID(const QString& address) { m_strAddressInstrumentID = address; }
    QString FontName() const { return m_strFontName; }
    void SetFontName(const QString& name) { m_strFontName = name; }
    int FontSize() const { return m_iFontSize; }
    void SetFontSize(int size);
    QVariant SearchCriteria() const { return m_vSearchCriteria; }
    void SetSearchCriteria(const QVariant& criteria) { m_vSearchCriteria = criteria; }
    bool DebugEnabled() const { return m_bDebugEnabled; }
    // The session keeps the flag too: it is handed on at every change, not only when a document is read.
    void SetDebugEnabled(bool enabled) {
        m_bDebugEnabled = enabled;
        m_session->SetDebugEnabled(enabled);
    }
    bool DontShowSetupIOConfigurationWarning() const { return m_bDontShowSetupIOConfigurationWarning; }
    void SetDontShowSetupIOConfigurationWarning(bool dontShow) {
        m_bDontShowSetupIOConfigurationWarning = dontShow;
    }
    QString LastIOHandshakeAddress() const override { return m_strLastIOHandshakeAddress; }
    void SetLastIOHandshakeAddress(const QString& address) override { m_strLastIOHandshakeAddress = address; }
    bool InitialSearchMode() const override { return m_bInitialSearchMode; }
    void SetInitialSearchMode(bool mode) override { m_bInitialSearchMode = mode; }
    bool DTROnly() const override;
    void SetDTROnly(bool dtrOnly) override;
    qint32 SupportMessageMode() const;
    void SetSupportMessageMode(qint32 mode);
    QString HelpFile() const { return m_strHelpFile; }

    // The instrument session.
    Q_INVOKABLE void Initialize();
    Q_INVOKABLE void CloseConnection();
    bool InstrumentConnected() const;
    QString ConnectionName() const;
    int TXDelay() const;
    void SetTXDelay(int delay);
    bool ResetOnInitialize() const;
    void SetResetOnInitialize(bool reset);
    bool CheckIDOnInitialize() const;
    void SetCheckIDOnInitialize(bool check);
    QString AutomationServerAddress() const;
    CTavrelEZ& Session() { return *m_session; }
    // The control's setups; they reach the instrument through Session().
    SetupsTavrelScope& Setups() { return *m_setups; }
    const SetupsTavrelScope& Setups() const { return *m_setups; }

    // The LAN instruments the search probes after the ports, ";" between the entries (addresses or
    // host names; see CIOconfiguration::SetLANInstruments). The control's I/O manager lists them too.
    QString LANInstruments() const;
    void SetLANInstruments(const QString& entries);

    Q_INVOKABLE void ShowPropertyPages(int pages = Tavrel_ShowPropertyPage_Default);
    // The registered page list (five positions; unused ones hold the empty text).
    QStringList PropertyPageList() const;

    CIOconfiguration& IOConfigurationControl() override { return *m_ioconfiguration; }
    const CIOconfiguration& IOConfigurationControl() const { return *m_ioconfiguration; }

    // The page host (the rest of IPPTavrelScope). The working copy is made from the control's
    // configuration when the first page opens.
    void IOConfigurationChanged() override;
    CIOconfiguration& IOConfigurationPropertyPage() override;
    qint32 NotifyIOConfigurationChanged() const override { return m_lNotifyIOConfigurationChanged; }
    void SetNotifyIOConfigurationChanged(qint32 mask) override { m_lNotifyIOConfigurationChanged = mask; }
    bool DontShowIOHandshakeWarning() const override { return m_bDontShowIOHandshakeWarning; }
    void SetDontShowIOHandshakeWarning(bool dontShow) override { m_bDontShowIOHandshakeWarning = dontShow; }
    bool SearchIOExists() const override { return m_bSearchIOExists; }
    void SetSearchIOExists(bool exists) override { m_bSearchIOExists = exists; }
    bool SearchCriteriaExists() const override { return m_bSearchCriteriaExists; }
    void SetSearchCriteriaExists(bool exists) override { m_bSearchCriteriaExists = exists; }
    bool SetIOExists() const override { return m_bSetIOExists; }
    void SetSetIOExists(bool exists) override { m_bSetIOExists = exists; }
    bool SetupsExists() const override { return m_bSetupsExists; }
    void SetSetupsExists(bool exists) override { m_bSetupsExists = exists; }
    qint32 ScreenCenterWidthInPixels() const override;
    qint32 ScreenCenterHeightInPixels() const override;
    bool CenterPropertyPages() const override { return m_bCenterPropertyPages; }
    void SetCenterPropertyPages(bool center) override { m_bCenterPropertyPages = center; }
    CDebug& Diagnostics() { return *m_debug; }

    // The I/O manager the control created for itself (the environment picks real ports or a
    // simulated bench); null when that failed. A host may hand it another one.
    std::shared_ptr<CorvaneIOUtilsLib::IOManager> IOManager() const { return m_ioManager; }
    void SetIOManager(std::shared_ptr<CorvaneIOUtilsLib::IOManager> manager);

    // Scope operations.
    // Forwarded through the session to the automation server. The object-valued members return the
    // server's own objects, whose failures are TavrelErrors too. Failures are reported once, with
    // class "TavrelScope": the connection error while not connected or when the I/O fails, the
    // server's refusal (kServerRefusedErrorNumber) otherwise.
    BrumelTB::AcquisitionTavrel& Acquisition();
    BrumelTB::AnalogChannelsTavrel& AnalogChannels();
    BrumelTB::LogicChannelTavrel& LogicChannel();
    BrumelTB::MeasureTavrel& Measure();
    BrumelTB::TimebaseTavrel& Timebase();
    BrumelTB::TriggerTavrel& Trigger();
    BrumelTB::TraceTavrel& Trace();
    BrumelTB::UtilitiesTavrel& Utilities();
    Q_INVOKABLE void AutoScale();
    Q_INVOKABLE void Digitize();
    Q_INVOKABLE void Run();
    Q_INVOKABLE void SingleTrigger();
    Q_INVOKABLE void StopTrigger();
    // Reads one reply; without a format (an invalid variant) as text ("K").
    void Enter(QVariant& inputBuffer, const QVariant& format = QVariant());
    Q_INVOKABLE void Output(const QVariant& outputBuffer);
    void ReadBytes(qint32& count, QByteArray& buffer);
    // The most one raw read (ReadBytes, Enter) takes, in bytes: 64 MiB unless the host raises it. A
    // larger reply ends with an error, and nothing is allocated for it.
    Q_INVOKABLE qint64 ReadLimit() const;
    Q_INVOKABLE void SetReadLimit(qint64 bytes);
    void WriteBytes(qint32 count, const QByteArray& buffer);
    void GetWaveformData(Tavrel_AnalogChannels channel, Tavrel_WaveformPoints points, QVector<double>& time,
                         QVector<double>& data);
    void GetAllWaveformData(Tavrel_WaveformPoints points, QList<BrumelTB::ChannelWaveform>& data);
    void GetLogicData(Tavrel_WaveformPoints points, QVector<double>& time, QVector<quint16>& data);
    Q_INVOKABLE QImage GetScreenImage(Tavrel_ImageFormat format = Tavrel_ImageFormat_BMP);
    Q_INVOKABLE void SaveScreenImage(const QString& fileName,
                                     Tavrel_ImageFormat format = Tavrel_ImageFormat_BMP);
    // Shows AboutText() through the message box seam.
    Q_INVOKABLE void AboutBox();
    // Product name, description, version and copyright, one per line.
    static QString AboutText();

signals:
    void SupportMessage(const QString& message);
    // The pages handed the control a new address or new search criteria.
    void IOConfigurationTakenOver();
    // After Initialize (opened or not) and CloseConnection, in the thread that called them.
    void ConnectionChanged();

private:
    void applyLanguageFonts();
    void setFullPageList();
    void startPageWorkingCopy();
    void handLanListToManager();
    void resetSetups();

    QString m_strHelpFile;
    int m_lCountryCode = Tavrel_Language_English;
    QString m_strFontName;
    int m_iFontSize = 8;
    bool m_bDebugEnabled = false;
    bool m_bDontShowSetupIOConfigurationWarning = false;
    QString m_strLastIOHandshakeAddress;
    bool m_bInitialSearchMode = false;
    QVariant m_vSearchCriteria;
    QString m_strAddressInstrumentID;
    std::array<QString, 5> m_astrPropertyPages;
    // Page state: which pages are open, the refresh mask, the pages' working copy.
    bool m_bSearchIOExists = false;
    bool m_bSearchCriteriaExists = false;
    bool m_bSetIOExists = false;
    bool m_bSetupsExists = false;
    qint32 m_lNotifyIOConfigurationChanged = 0;
    bool m_bDontShowIOHandshakeWarning = false;
    bool m_bCenterPropertyPages = true;
    std::unique_ptr<CIOconfiguration> m_ioconfigurationPropertyPage;

    std::unique_ptr<CDebug> m_debug;
    std::unique_ptr<CTavrelEZ> m_session;
    // Declared after the session it points to, so that it goes first.
    std::unique_ptr<SetupsTavrelScope> m_setups;
    std::unique_ptr<CIOconfiguration> m_ioconfiguration;
    std::shared_ptr<CorvaneIOUtilsLib::IOManager> m_ioManager;
};
