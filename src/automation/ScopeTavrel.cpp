#include "automation/ScopeTavrel.h"

#include "automation/AcquisitionTavrel.h"
#include "automation/AnalogChannelsTavrel.h"
#include "automation/LogicChannelTavrel.h"
#include "automation/MeasureTavrel.h"
#include "automation/ScreenImageFile.h"
#include "automation/ServerError.h"
#include "automation/TimebaseTavrel.h"
#include "automation/TraceTavrel.h"
#include "automation/TriggerTavrel.h"
#include "automation/UtilitiesTavrel.h"
#include "iolib/IOError.h"
#include "iolib/IOManager.h"
#include "iolib/IOSession.h"

namespace BrumelTB {

namespace {
// Every Tavrel-series model number begins with these letters.
const QString kSeriesPrefix = QStringLiteral("TV");
// The error query rides in the command's own message, so checking costs no extra round trip; the
// queue is cleared first so that an older error is not blamed on this command.
const QString kCheckedCommand = QStringLiteral("*CLS;%1;:SYSTem:ERRor?");
const QString kErrorQuery = QStringLiteral(":SYSTem:ERRor?");

bool isErrorEntry(const QString& entry) {
    return entry.section(QLatin1Char(','), 0, 0).trimmed().toInt() != 0;
}
} // namespace

ScopeTavrel::ScopeTavrel(std::shared_ptr<CorvaneIOUtilsLib::IOManager> manager)
    : m_manager(std::move(manager)), m_utilities(std::make_unique<UtilitiesTavrel>(*this)),
      m_acquisition(std::make_unique<AcquisitionTavrel>(*this)),
      m_analogChannels(std::make_unique<AnalogChannelsTavrel>(*this)),
      m_logicChannel(std::make_unique<LogicChannelTavrel>(*this)),
      m_measure(std::make_unique<MeasureTavrel>(*this)), m_timebase(std::make_unique<TimebaseTavrel>(*this)),
      m_trigger(std::make_unique<TriggerTavrel>(*this)), m_trace(std::make_unique<TraceTavrel>(*this)),
      m_waveform(std::make_unique<WaveformTavrel>(*this)) {}

ScopeTavrel::~ScopeTavrel() {
    Close();
}

void ScopeTavrel::Open(const QString& address) {
    return Call("ScopeTavrel", "Open", [&]() -> void {
        Close();
        if (!m_manager) throw ServerError(QStringLiteral("no I/O manager to open %1 with").arg(address));
        m_session = m_manager->Open(address);
        m_session->SetReadLimit(m_readLimit);
        m_connectionName = m_session->ResourceName();
    });
}

void ScopeTavrel::SetReadLimit(qsizetype bytes) {
    return Call("ScopeTavrel", "SetReadLimit", [&]() -> void {
        if (bytes <= 0) throw ServerError(QStringLiteral("a read limit of %1 bytes").arg(bytes));
        m_readLimit = bytes;
        if (m_session) m_session->SetReadLimit(bytes);
    });
}

void ScopeTavrel::Close() {
    if (m_session) {
        m_session->Close();
        m_session.reset();
    }
}

CorvaneIOUtilsLib::IOSession& ScopeTavrel::IO() {
    if (!m_session) throw ServerError(QStringLiteral("no connection to an instrument is open"));
    return *m_session;
}

void ScopeTavrel::Reset() {
    return Call("ScopeTavrel", "Reset", [&]() -> void {
        IO().WriteString(QStringLiteral("*RST\n"));
        IO().Query(QStringLiteral("*OPC?"));
    });
}

QString ScopeTavrel::Identify() {
    return Call("ScopeTavrel", "Identify", [&]() -> QString {
        const CorvaneIOUtilsLib::ReadLimitScope limit(IO(), kMaxIdentityBytes);
        return IO().Query(QStringLiteral("*IDN?")).trimmed();
    });
}

bool ScopeTavrel::IsCompatible() {
    return Call("ScopeTavrel", "IsCompatible", [&]() -> bool { return IsTavrelIdentity(Identify()); });
}

AcquisitionTavrel& ScopeTavrel::Acquisition() {
    return Call("ScopeTavrel", "Acquisition", [&]() -> AcquisitionTavrel& { return *m_acquisition; });
}
AnalogChannelsTavrel& ScopeTavrel::AnalogChannels() {
    return Call("ScopeTavrel", "AnalogChannels",
                [&]() -> AnalogChannelsTavrel& { return *m_analogChannels; });
}
LogicChannelTavrel& ScopeTavrel::LogicChannel() {
    return Call("ScopeTavrel", "LogicChannel", [&]() -> LogicChannelTavrel& { return *m_logicChannel; });
}
MeasureTavrel& ScopeTavrel::Measure() {
    return Call("ScopeTavrel", "Measure", [&]() -> MeasureTavrel& { return *m_measure; });
}
TimebaseTavrel& ScopeTavrel::Timebase() {
    return Call("ScopeTavrel", "Timebase", [&]() -> TimebaseTavrel& { return *m_timebase; });
}
TriggerTavrel& ScopeTavrel::Trigger() {
    return Call("ScopeTavrel", "Trigger", [&]() -> TriggerTavrel& { return *m_trigger; });
}
TraceTavrel& ScopeTavrel::Trace() {
    return Call("ScopeTavrel", "Trace", [&]() -> TraceTavrel& { return *m_trace; });
}
UtilitiesTavrel& ScopeTavrel::Utilities() {
    return Call("ScopeTavrel", "Utilities", [&]() -> UtilitiesTavrel& { return *m_utilities; });
}

void ScopeTavrel::CheckInstrumentErrors() {
    return Call("ScopeTavrel", "CheckInstrumentErrors", [&]() -> void {
        // An entry reads "<code>,\"<text>\""; code 0 means the queue is empty.
        const QString entry = IO().Query(kErrorQuery).trimmed();
        if (isErrorEntry(entry)) throw ServerError(QStringLiteral("the instrument reported: %1").arg(entry));
    });
}

bool ScopeTavrel::IsTavrelIdentity(const QString& idnReply) {
    const QStringList fields = idnReply.split(QLatin1Char(','));
    if (fields.size() < 2) return false;
    const QString model = fields[1].trimmed();
    return model.size() > kSeriesPrefix.size() && model.startsWith(kSeriesPrefix, Qt::CaseInsensitive) &&
           model.at(kSeriesPrefix.size()).isDigit();
}

void ScopeTavrel::Execute(const QString& command) {
    QString entry;
    try {
        entry = IO().Query(kCheckedCommand.arg(command)).trimmed();
    } catch (const CorvaneIOUtilsLib::IOError& e) {
        if (e.kind() == CorvaneIOUtilsLib::IOError::Timeout) raiseAfterTimeout(command);
        throw;
    }
    if (isErrorEntry(entry))
        throw ServerError(QStringLiteral("the instrument refused \"%1\": %2").arg(command, entry));
}

QString ScopeTavrel::QueryText(const QString& query) {
    try {
        return IO().Query(query).trimmed();
    } catch (const CorvaneIOUtilsLib::IOError& e) {
        if (e.kind() == CorvaneIOUtilsLib::IOError::Timeout) raiseAfterTimeout(query);
        throw;
    }
}

double ScopeTavrel::QueryReal(const QString& query) {
    const QString reply = QueryText(query);
    bool ok = false;
    const double value = reply.toDouble(&ok);
    if (!ok)
        throw ServerError(
            QStringLiteral("the instrument answered \"%1\" to %2, not a number").arg(reply, query));
    return value;
}

void ScopeTavrel::recoverFrom(const CorvaneIOUtilsLib::IOError& failure) noexcept {
    using CorvaneIOUtilsLib::IOError;
    if (!m_session || failure.kind() == IOError::Unsupported || failure.kind() == IOError::BadAddress) return;
    if (failure.kind() != IOError::Dropped) {
        try {
            m_session->Clear();
            return;
        } catch (...) {
            // An instrument that does not even take a clear is treated as gone.
        }
    }
    try {
        m_session->Close();
    } catch (...) {
    }
    m_session.reset();
}

void ScopeTavrel::raiseAfterTimeout(const QString& command) {
    // A command error voids the rest of its message, the reply included; the queue says why.
    const QString entry = IO().Query(kErrorQuery).trimmed();
    if (isErrorEntry(entry))
        throw ServerError(QStringLiteral("the instrument refused \"%1\": %2").arg(command, entry));
    throw CorvaneIOUtilsLib::IOError(CorvaneIOUtilsLib::IOError::Timeout,
                                     QStringLiteral("%1: no reply to \"%2\"").arg(m_connectionName, command));
}

void ScopeTavrel::AutoScale() {
    return Call("ScopeTavrel", "AutoScale", [&]() -> void { Execute(QStringLiteral(":AUToscale")); });
}
void ScopeTavrel::Run() {
    return Call("ScopeTavrel", "Run", [&]() -> void { Execute(QStringLiteral(":RUN")); });
}
void ScopeTavrel::Stop() {
    return Call("ScopeTavrel", "Stop", [&]() -> void { Execute(QStringLiteral(":STOP")); });
}
void ScopeTavrel::Single() {
    return Call("ScopeTavrel", "Single", [&]() -> void { Execute(QStringLiteral(":SINGle")); });
}
void ScopeTavrel::Digitize() {
    return Call("ScopeTavrel", "Digitize", [&]() -> void { Execute(QStringLiteral(":DIGitize")); });
}

QVariant ScopeTavrel::Enter(const QString& format) {
    return Call("ScopeTavrel", "Enter", [&]() -> QVariant {
        const QString kind = format.trimmed().toUpper();
        if (kind != QLatin1String("K") && kind != QLatin1String("D") && kind != QLatin1String("F"))
            throw ServerError(
                QStringLiteral("read format \"%1\" is not supported (\"K\" text, \"D\" integer, \"F\" real)")
                    .arg(format));
        const QString line = IO().ReadString(QStringLiteral("K"));
        if (kind == QLatin1String("K")) return line;
        bool ok = false;
        const QVariant value = kind == QLatin1String("D") ? QVariant(line.trimmed().toInt(&ok))
                                                          : QVariant(line.trimmed().toDouble(&ok));
        if (!ok) throw ServerError(QStringLiteral("the instrument sent \"%1\", not a number").arg(line));
        return value;
    });
}

void ScopeTavrel::Output(const QString& text) {
    return Call("ScopeTavrel", "Output", [&]() -> void {
        // A LAN socket adds nothing, so a command must carry its own line end to be complete.
        IO().WriteString(text.endsWith(QLatin1Char('\n')) ? text : text + QLatin1Char('\n'));
    });
}

QByteArray ScopeTavrel::ReadBytes(qint32 count) {
    return Call("ScopeTavrel", "ReadBytes", [&]() -> QByteArray {
        if (count < 0) throw ServerError(QStringLiteral("cannot read %1 bytes").arg(count));
        return IO().ReadBytes(count);
    });
}

void ScopeTavrel::WriteBytes(qint32 count, const QByteArray& buffer) {
    return Call("ScopeTavrel", "WriteBytes", [&]() -> void {
        if (count < 0 || count > buffer.size())
            throw ServerError(
                QStringLiteral("cannot write %1 bytes from a buffer of %2").arg(count).arg(buffer.size()));
        IO().WriteBytes(count == buffer.size() ? buffer : buffer.left(count));
    });
}

void ScopeTavrel::GetWaveformData(Tavrel_AnalogChannels channel, Tavrel_WaveformPoints points,
                                  QVector<double>& time, QVector<double>& data) {
    return Call("ScopeTavrel", "GetWaveformData",
                [&]() -> void { m_waveform->GetWaveformData(channel, points, time, data); });
}

QList<ChannelWaveform> ScopeTavrel::GetAllWaveformData(Tavrel_WaveformPoints points) {
    return Call("ScopeTavrel", "GetAllWaveformData",
                [&]() -> QList<ChannelWaveform> { return m_waveform->GetAllWaveformData(points); });
}

void ScopeTavrel::GetLogicData(Tavrel_WaveformPoints points, QVector<double>& time, QVector<quint16>& data) {
    return Call("ScopeTavrel", "GetLogicData",
                [&]() -> void { m_waveform->GetLogicData(points, time, data); });
}

void ScopeTavrel::GetWaveformSamples(Tavrel_AnalogChannels channel, Tavrel_WaveformPoints points,
                                     WaveformSamples::Kind kind, WaveformSamples& samples) {
    return Call("ScopeTavrel", "GetWaveformSamples",
                [&]() -> void { m_waveform->GetWaveformSamples(channel, points, kind, samples); });
}

QImage ScopeTavrel::GetScreenImage(Tavrel_ImageFormat format) {
    return Call("ScopeTavrel", "GetScreenImage", [&]() -> QImage {
        CheckImageFormat(format);
        QImage image;
        if (!image.loadFromData(m_utilities->ScreenImageData(QStringLiteral("PNG")), "PNG"))
            throw ServerError(QStringLiteral("the instrument's screen image is not a readable PNG image"));
        return image;
    });
}

void ScopeTavrel::SaveScreenImage(const QString& fileName, Tavrel_ImageFormat format) {
    return Call("ScopeTavrel", "SaveScreenImage", [&]() -> void {
        CheckImageFormat(format);
        WriteImageFile(GetScreenImage(format), fileName, format);
    });
}

} // namespace BrumelTB
