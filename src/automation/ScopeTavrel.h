#pragma once

#include "automation/CEnums.h"
#include "automation/ServerError.h"
#include "automation/WaveformTavrel.h"
#include "base/Diagnostics.h"
#include "iolib/IOError.h"
#include "iolib/IOSession.h"

#include <QByteArray>
#include <QImage>
#include <QString>
#include <QVariant>
#include <memory>

namespace CorvaneIOUtilsLib {
class IOManager;
class IOSession;
} // namespace CorvaneIOUtilsLib

namespace BrumelTB {

class AcquisitionTavrel;
class AnalogChannelsTavrel;
class LogicChannelTavrel;
class MeasureTavrel;
class TimebaseTavrel;
class TriggerTavrel;
class TraceTavrel;
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
    // The most one raw read of the host's (ReadBytes, Enter) takes, in bytes: a larger reply ends with
    // an I/O error and nothing is allocated for it. The setting holds for later connections too.
    qsizetype ReadLimit() const { return m_readLimit; }
    void SetReadLimit(qsizetype bytes);
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

    // The operation objects; they live as long as this object, connected or not.
    AcquisitionTavrel& Acquisition();
    AnalogChannelsTavrel& AnalogChannels();
    LogicChannelTavrel& LogicChannel();
    MeasureTavrel& Measure();
    TimebaseTavrel& Timebase();
    TriggerTavrel& Trigger();
    TraceTavrel& Trace();
    UtilitiesTavrel& Utilities();

    // The front panel's keys. Digitize takes one acquisition of every displayed channel and pod.
    void AutoScale();
    void Run();
    void Stop();
    void Single();
    void Digitize();

    // Raw I/O for the host. Enter reads one reply line: format "K" gives the text, "D" an integer,
    // "F" a real number. ReadBytes reads exactly count bytes; WriteBytes sends the first count
    // bytes of buffer.
    QVariant Enter(const QString& format = QStringLiteral("K"));
    void Output(const QString& text);
    QByteArray ReadBytes(qint32 count);
    void WriteBytes(qint32 count, const QByteArray& buffer);

    // Waveform transfer: see WaveformTavrel.
    void GetWaveformData(Tavrel_AnalogChannels channel, Tavrel_WaveformPoints points, QVector<double>& time,
                         QVector<double>& data);
    QList<ChannelWaveform> GetAllWaveformData(Tavrel_WaveformPoints points);
    void GetLogicData(Tavrel_WaveformPoints points, QVector<double>& time, QVector<quint16>& data);
    void GetWaveformSamples(Tavrel_AnalogChannels channel, Tavrel_WaveformPoints points,
                            WaveformSamples::Kind kind, WaveformSamples& samples);

    // The scope's display. The image is always fetched losslessly; format only says what the host
    // asked for and is refused for the vector formats (EMF, WMF) the server cannot make.
    QImage GetScreenImage(Tavrel_ImageFormat format = Tavrel_ImageFormat_BMP);
    // Writes the display image to fileName in format, whatever the file's extension says.
    void SaveScreenImage(const QString& fileName, Tavrel_ImageFormat format = Tavrel_ImageFormat_BMP);

    // Runs a public member of the server's objects: a failure (IOError, ServerError, both
    // TavrelErrors) is reported to the diagnostics under the class and member names unless an
    // enclosing procedure reports it, a refusal also names the instrument, and it goes on to the
    // caller as it is.
    template <typename Body>
    decltype(auto) Call(const char* className, const char* procedureName, Body&& body);

    // What the operation objects send. Execute sends a command and raises the error it caused;
    // QueryText answers one reply line, QueryReal a number.
    void Execute(const QString& command);
    QString QueryText(const QString& query);
    double QueryReal(const QString& query);

private:
    [[noreturn]] void raiseAfterTimeout(const QString& command);
    // After an I/O failure the exchange is out of step: a reply may be half read or still coming.
    // The instrument is cleared and what has arrived is dropped, so that the next call starts
    // afresh; a connection that went away (or will not clear) is closed, and IsOpen() says so.
    void recoverFrom(const CorvaneIOUtilsLib::IOError& failure) noexcept;

    std::shared_ptr<CorvaneIOUtilsLib::IOManager> m_manager;
    std::unique_ptr<CorvaneIOUtilsLib::IOSession> m_session;
    qsizetype m_readLimit = CorvaneIOUtilsLib::IOSession::kDefaultReadLimit;
    QString m_connectionName;
    int m_callDepth = 0;
    std::unique_ptr<UtilitiesTavrel> m_utilities;
    std::unique_ptr<AcquisitionTavrel> m_acquisition;
    std::unique_ptr<AnalogChannelsTavrel> m_analogChannels;
    std::unique_ptr<LogicChannelTavrel> m_logicChannel;
    std::unique_ptr<MeasureTavrel> m_measure;
    std::unique_ptr<TimebaseTavrel> m_timebase;
    std::unique_ptr<TriggerTavrel> m_trigger;
    std::unique_ptr<TraceTavrel> m_trace;
    std::unique_ptr<WaveformTavrel> m_waveform;
};

template <typename Body>
decltype(auto) ScopeTavrel::Call(const char* className, const char* procedureName, Body&& body) {
    const ReportingFrame frame;
    // The driver's own outermost call recovers, whoever reports (a control above may).
    struct Depth {
        int& depth;
        explicit Depth(int& d) : depth(++d) {}
        ~Depth() { --depth; }
    } depth(m_callDepth);
    try {
        return std::forward<Body>(body)();
    } catch (ServerError& refusal) {
        if (refusal.detail().isEmpty() && !m_connectionName.isEmpty())
            refusal.withDetail(QStringLiteral("the instrument at %1").arg(m_connectionName));
        if (frame.outermost())
            ReportFailure(refusal, QString::fromLatin1(className), QString::fromLatin1(procedureName));
        throw;
    } catch (const CorvaneIOUtilsLib::IOError& failure) {
        if (depth.depth == 1) recoverFrom(failure);
        if (frame.outermost())
            ReportFailure(failure, QString::fromLatin1(className), QString::fromLatin1(procedureName));
        throw;
    } catch (const TavrelError& failure) {
        if (frame.outermost())
            ReportFailure(failure, QString::fromLatin1(className), QString::fromLatin1(procedureName));
        throw;
    }
}

} // namespace BrumelTB
