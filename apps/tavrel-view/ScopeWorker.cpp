#include "ScopeWorker.h"

#include "base/CDebug.h"
#include "base/TavrelError.h"
#include "tavrel/Driver.h"
#include "tavrel/TavrelScope.h"

#include <QThread>
#include <cmath>

namespace {

constexpr Tavrel_AnalogChannels kChannels[] = {Tavrel_Channel_1, Tavrel_Channel_2, Tavrel_Channel_3,
                                               Tavrel_Channel_4};

// A scope answers 9.9E37 for what it cannot measure (no edges, a flat trace).
double measured(double value) {
    return std::fabs(value) >= 9.9e37 ? std::nan("") : value;
}

} // namespace

ScopeWorker::ScopeWorker(TavrelScope& control, QObject* parent) : QObject(parent), m_control(control) {
    qRegisterMetaType<ScopeSettings>();
    qRegisterMetaType<ScopeFrame>();
    qRegisterMetaType<RecordLength>();
    qRegisterMetaType<ChannelSettings>();
    qRegisterMetaType<Tavrel_TriggerSource>();
    qRegisterMetaType<Tavrel_TriggerSlope>();
}

template <typename Step> bool ScopeWorker::attempt(Step&& step) {
    // Reports go to the control's diagnostics from this thread too.
    SetComponentDiagnostics(&m_control.Diagnostics());
    try {
        step();
        return true;
    } catch (const TavrelError& error) {
        // The text names the instrument; the address goes first when it does not already.
        QString message = error.description();
        if (!error.detail().isEmpty()) message += u' ' + error.detail();
        if (!message.startsWith(m_control.Address()))
            message = m_control.Address() + QStringLiteral(": ") + message;
        m_mode = Mode::Stopped;
        m_frameInFlight = false;
        m_open = false;
        m_control.CloseConnection();
        emit failed(message);
        return false;
    }
}

void ScopeWorker::open() {
    m_mode = Mode::Stopped;
    m_frameInFlight = false;
    attempt([&] {
        m_control.CloseConnection();
        m_control.Initialize();
        m_open = true;
        const ScopeSettings settings = readSettings();
        emit opened(m_control.ConnectionName(), settings);
        emit stateChanged(tr("Stopped"));
    });
}

void ScopeWorker::close() {
    m_mode = Mode::Stopped;
    m_open = false;
    m_control.CloseConnection();
    emit stateChanged(tr("Not connected"));
}

ScopeSettings ScopeWorker::readSettings() {
    ScopeSettings& s = m_settings;
    for (int i = 0; i < 4; ++i) {
        BrumelTB::AnalogChannelTavrel& channel = m_control.AnalogChannels().Item(kChannels[i]);
        s.channels[i] = {channel.Display() == Tavrel_On, channel.Scale(), channel.Offset(),
                         channel.Coupling()};
    }
    s.timeScale = m_control.Timebase().Scale();
    s.timePosition = m_control.Timebase().Position();
    s.triggerSource = m_control.Trigger().Source();
    s.triggerLevel = m_control.Trigger().Level();
    s.triggerSlope = m_control.Trigger().Slope();
    s.podOn = m_control.LogicChannel().PodDisplay(Tavrel_Logic_POD1) == Tavrel_On;
    m_settingsAge.start();
    return s;
}

ScopeFrame ScopeWorker::acquire(RecordLength length, bool measure) {
    ScopeFrame frame;
    frame.sequence = ++m_sequence;
    // The settings change when someone changes them: on the panel (read back at once), or at the
    // scope's own front panel, which a read once a second follows.
    if (!m_settingsAge.isValid() || m_settingsAge.hasExpired(1000)) readSettings();
    frame.settings = m_settings;
    const Tavrel_WaveformPoints points =
        length == RecordLength::Full ? Tavrel_DataPoints_ALL : Tavrel_DataPoints_2000;
    m_control.Digitize();
    QList<BrumelTB::ChannelWaveform> records;
    m_control.GetAllWaveformData(points, records);
    for (BrumelTB::ChannelWaveform& record : records) {
        ChannelTrace trace;
        trace.channel = record.channel;
        if (!record.time.isEmpty()) trace.first = record.time.first();
        if (record.time.size() > 1)
            trace.increment = (record.time.last() - record.time.first()) / double(record.time.size() - 1);
        trace.volts = std::move(record.data);
        frame.traces.append(std::move(trace));
    }
    if (frame.settings.podOn) {
        QVector<double> time;
        m_control.GetLogicData(points, time, frame.logic.words);
        if (!time.isEmpty()) frame.logic.first = time.first();
        if (time.size() > 1) frame.logic.increment = (time.last() - time.first()) / double(time.size() - 1);
    }
    if (measure) {
        BrumelTB::MeasureTavrel& m = m_control.Measure();
        for (const ChannelTrace& trace : std::as_const(frame.traces)) {
            const auto channel = static_cast<Tavrel_AnalogChannels>(trace.channel);
            frame.measurements.append({trace.channel, measured(m.Frequency(channel)),
                                       measured(m.VPP(channel)), measured(m.VAverage(channel)),
                                       measured(m.VRMS(channel))});
        }
    }
    return frame;
}

void ScopeWorker::acquireAndSend() {
    if (!m_open) return;
    m_frameInFlight = true;
    attempt([&] { emit frameReady(acquire(m_length, true)); });
}

void ScopeWorker::run() {
    if (!m_open) return;
    m_mode = Mode::Running;
    emit stateChanged(tr("Running"));
    if (!m_frameInFlight) acquireAndSend();
}

void ScopeWorker::single() {
    if (!m_open) return;
    m_mode = Mode::Single;
    emit stateChanged(tr("Single"));
    acquireAndSend();
    if (m_open) {
        m_mode = Mode::Stopped;
        emit stateChanged(tr("Stopped"));
    }
}

void ScopeWorker::stop() {
    m_mode = Mode::Stopped;
    if (m_open) attempt([&] { m_control.StopTrigger(); });
    if (m_open) emit stateChanged(tr("Stopped"));
}

void ScopeWorker::nextFrame() {
    m_frameInFlight = false;
    if (m_mode == Mode::Running) acquireAndSend();
}

void ScopeWorker::autoScale() {
    if (!m_open) return;
    attempt([&] {
        m_control.AutoScale();
        emit settingsRead(readSettings());
    });
    if (m_open && m_mode == Mode::Stopped) acquireAndSend();
}

void ScopeWorker::setRecordLength(RecordLength length) {
    m_length = length;
}

void ScopeWorker::applyChannel(int channel, ChannelSettings settings) {
    if (!m_open || channel < 1 || channel > 4) return;
    attempt([&] {
        BrumelTB::AnalogChannelTavrel& c = m_control.AnalogChannels().Item(kChannels[channel - 1]);
        c.SetDisplay(settings.on ? Tavrel_On : Tavrel_Off);
        c.SetScale(settings.scale);
        c.SetOffset(settings.offset);
        c.SetCoupling(settings.coupling);
        emit settingsRead(readSettings());
    });
}

void ScopeWorker::applyTimebase(double scale, double position) {
    if (!m_open) return;
    attempt([&] {
        m_control.Timebase().SetScale(scale);
        m_control.Timebase().SetPosition(position);
        emit settingsRead(readSettings());
    });
}

void ScopeWorker::applyTrigger(Tavrel_TriggerSource source, double level, Tavrel_TriggerSlope slope) {
    if (!m_open) return;
    attempt([&] {
        m_control.Trigger().SetSource(source);
        m_control.Trigger().SetLevel(level);
        m_control.Trigger().SetSlope(slope);
        emit settingsRead(readSettings());
    });
}

void ScopeWorker::applyPod(bool on) {
    if (!m_open) return;
    attempt([&] {
        m_control.LogicChannel().SetPodDisplay(Tavrel_Logic_POD1, on ? Tavrel_On : Tavrel_Off);
        emit settingsRead(readSettings());
    });
}

void ScopeWorker::saveScreenImage(const QString& fileName) {
    if (!m_open) return;
    const QString suffix = fileName.section(u'.', -1).toLower();
    const Tavrel_ImageFormat format = suffix == QLatin1String("png")   ? Tavrel_ImageFormat_PNG
                                      : suffix == QLatin1String("gif") ? Tavrel_ImageFormat_GIF
                                      : suffix == QLatin1String("jpg") ? Tavrel_ImageFormat_JPG
                                                                       : Tavrel_ImageFormat_BMP;
    attempt([&] {
        m_control.SaveScreenImage(fileName, format);
        emit screenImageSaved(fileName);
    });
}
