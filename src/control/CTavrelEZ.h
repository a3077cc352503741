#pragma once

#include "automation/CEnums.h"
#include "automation/WaveformTavrel.h"
#include "base/TavrelError.h"
#include "iolib/IOSession.h"
#include "setups/SetupInstrument.h"

#include <QImage>
#include <QObject>
#include <QString>
#include <QVariant>
#include <QVector>
#include <memory>

class PropertyBag;

namespace BrumelTB {
class ScopeTavrel;
class AcquisitionTavrel;
class AnalogChannelsTavrel;
class LogicChannelTavrel;
class MeasureTavrel;
class TimebaseTavrel;
class TriggerTavrel;
class TraceTavrel;
class UtilitiesTavrel;
} // namespace BrumelTB
namespace CorvaneIOUtilsLib {
class IOManager;
} // namespace CorvaneIOUtilsLib

// The number of a refusal by the automation server or the instrument (BrumelTB::ServerError); an
// I/O failure (CorvaneIOUtilsLib::IOError) carries the connection error's number. Both are
// TavrelErrors, so they reach the host as they are.
constexpr qint32 kServerRefusedErrorNumber = ErrorNumber::ServerRefused;

// The connection to the instrument: holds the address in the automation server's form, opens the
// server on Initialize (optionally resetting the instrument and checking its identity) and closes
// it again. The control owns one and lends it to its setups.
class CTavrelEZ : public QObject, public SetupInstrument {
    Q_OBJECT
public:
    explicit CTavrelEZ(QObject* parent = nullptr);
    ~CTavrelEZ() override;

    void Initialize();
    void CloseConnection();
    // False too once the connection went away under an operation (the driver closed it).
    bool InstrumentConnected() const;

    int TXDelay() const { return m_lTXDelay; }
    void SetTXDelay(int delay);
    bool ResetOnInitialize() const { return m_bResetOnInitialize; }
    void SetResetOnInitialize(bool reset);
    bool CheckIDOnInitialize() const { return m_bCheckIDOnInitialize; }
    void SetCheckIDOnInitialize(bool check);
    QString AutomationServerAddress() const { return m_strAutomationServerAddress; }
    void SetAutomationServerAddress(const QString& address);
    QString ConnectionName() const { return m_strConnectionName; }
    bool DebugEnabled() const { return m_bDebugEnabled; }
    void SetDebugEnabled(bool enabled) { m_bDebugEnabled = enabled; }

    std::shared_ptr<CorvaneIOUtilsLib::IOManager> IOManager() const { return m_ioManager; }
    void SetIOManager(std::shared_ptr<CorvaneIOUtilsLib::IOManager> manager) {
        m_ioManager = std::move(manager);
    }
    // The automation server's main object; raises the connection error while nothing is open.
    BrumelTB::ScopeTavrel& Server();

    // What the setups reach of the instrument, through the open server.
    QVariant ReadLearnString() override;
    void WriteLearnString(const QVariant& learnString) override;
    QString InstrumentModel() override;
    QString InstrumentFirmwareVersion() override;

    void ReadProperties(PropertyBag& bag);
    void WriteProperties(PropertyBag& bag) const;

    // Scope operations.
    // Each runs the common pre-call step (the connection error while nothing is open), then the
    // automation server's member; a failure of the server or of the I/O reaches the caller as a
    // TavrelError.
    BrumelTB::AcquisitionTavrel& Acquisition();
    BrumelTB::AnalogChannelsTavrel& AnalogChannels();
    BrumelTB::LogicChannelTavrel& LogicChannel();
    BrumelTB::MeasureTavrel& Measure();
    BrumelTB::TimebaseTavrel& Timebase();
    BrumelTB::TriggerTavrel& Trigger();
    BrumelTB::TraceTavrel& Trace();
    BrumelTB::UtilitiesTavrel& Utilities();
    void AutoScale();
    void Digitize();
    void Run();
    void SingleTrigger();
    void StopTrigger();
    // An invalid format means none was given: the server then reads text ("K").
    void Enter(QVariant& inputBuffer, const QVariant& format = QVariant());
    void Output(const QVariant& outputBuffer);
    // The most one raw read (ReadBytes, Enter) takes; 64 MiB unless the host raises it.
    qint64 ReadLimit() const { return m_readLimit; }
    void SetReadLimit(qint64 bytes);
    // count: the bytes wanted on the way in, the bytes read on the way out.
    void ReadBytes(qint32& count, QByteArray& buffer);
    void WriteBytes(qint32 count, const QByteArray& buffer);
    void GetWaveformData(Tavrel_AnalogChannels channel, Tavrel_WaveformPoints points, QVector<double>& time,
                         QVector<double>& data);
    void GetAllWaveformData(Tavrel_WaveformPoints points, QList<BrumelTB::ChannelWaveform>& data);
    void GetLogicData(Tavrel_WaveformPoints points, QVector<double>& time, QVector<quint16>& data);
    QImage GetScreenImage(Tavrel_ImageFormat format = Tavrel_ImageFormat_BMP);
    void SaveScreenImage(const QString& fileName, Tavrel_ImageFormat format = Tavrel_ImageFormat_BMP);

signals:
    void PropertyChanged(const QString& name);
    void ConnectionNameChanged(const QString& name);

private:
    void open();
    void prepareInstrument();
    // The connection error of a failed identity check, also raised by calls made while nothing is open.
    [[noreturn]] void raiseConnectionError() const;
    // The common step before every scope operation: the connection must be open.
    template <typename Body> decltype(auto) callServer(Body&& body);

    QString m_strHelpFile;
    int m_lTXDelay = 50;
    bool m_bResetOnInitialize = false;
    bool m_bCheckIDOnInitialize = false;
    bool m_bInstrumentConnected = false;
    QString m_strAutomationServerAddress;
    qint64 m_readLimit = CorvaneIOUtilsLib::IOSession::kDefaultReadLimit;
    bool m_bDebugEnabled = false;
    bool m_bIsSerial = false;
    QString m_strConnectionName;
    std::shared_ptr<CorvaneIOUtilsLib::IOManager> m_ioManager;
    std::unique_ptr<BrumelTB::ScopeTavrel> m_server;
};
