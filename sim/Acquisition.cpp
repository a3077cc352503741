#include "sim/Acquisition.h"

#include "sim/SeededNoise.h"

#include <QMap>
#include <algorithm>
#include <cmath>

namespace tavrelsim {
namespace {

// Successive shots are armed this far apart, a spacing unrelated to the signals' periods, so that
// an untriggered scope shows them at a new phase each time.
constexpr double ArmSpacing = 1.4142135623730951e-3;
constexpr quint64 NoiseSeed = 0x5441'5652'454C'0001ull;
// Peak detect looks at this many samples per record interval.
constexpr int PeakOversampling = 4;
constexpr qsizetype PeakBlockPairs = 4096;

double referenceFraction(int reference) {
    // LEFT and RIGHt sit one division in from the edges of the ten.
    return reference == TimebaseState::Left ? 0.1 : reference == TimebaseState::Right ? 0.9 : 0.5;
}

int preambleType(int acquireType) {
    switch (acquireType) {
    case AcquireState::Average:
        return WaveformRecord::Average;
    case AcquireState::Peak:
    case AcquireState::Glitch:
        return WaveformRecord::Peak;
    default:
        return WaveformRecord::Normal;
    }
}

} // namespace

Acquisition::Acquisition(const ScopeState& settings, QList<Shot> shots)
    : m_settings(settings), m_shots(std::move(shots)) {
    m_points = settings.acquire.points;
    m_dt = 10 * settings.timebase.scale / double(m_points);
    const double reference = referenceFraction(settings.timebase.reference) * double(m_points);
    m_xOrigin = settings.timebase.position - reference * m_dt;
    const double index = std::clamp(reference - settings.timebase.position / m_dt, -1e15, 1e15);
    m_triggerIndex = qint64(std::llround(index));
    for (const Shot& s : m_shots)
        m_triggered = m_triggered && s.trigger.found;
}

std::shared_ptr<Acquisition> Acquisition::take(const ScopeState& settings, quint64& sequence) {
    const int shots = settings.acquire.type == AcquireState::Average ? settings.acquire.count : 1;
    const double dt = 10 * settings.timebase.scale / double(settings.acquire.points);
    QList<Shot> list;
    for (int k = 0; k < shots; ++k) {
        Shot shot;
        ++sequence;
        shot.arm.time = double(sequence) * ArmSpacing;
        shot.arm.step = dt;
        shot.arm.noiseKey = SeededNoise::mix(NoiseSeed ^ sequence);
        shot.arm.counterAtArm = quint16(SeededNoise::mix(shot.arm.noiseKey) >> 48);
        shot.trigger = TriggerFinder::find(settings, shot.arm);
        if (!shot.trigger.found && settings.trigger.mode == TriggerState::Normal) return nullptr;
        list.append(shot);
    }
    return std::shared_ptr<Acquisition>(new Acquisition(settings, list));
}

WaveformRecord Acquisition::record(int source) {
    WaveformRecord r;
    r.xIncrement = m_dt;
    r.xOrigin = m_xOrigin;
    r.type = preambleType(m_settings.acquire.type);
    r.count = r.type == WaveformRecord::Average ? int(m_shots.size()) : 1;
    if (ScopeSource::isChannel(source)) {
        const ChannelState& c = m_settings.channels[size_t(source - ScopeSource::Channel1)];
        r.kind = WaveformRecord::Analog;
        r.scale = c.scale;
        r.offset = c.offset;
        r.samples = channelCodes(source - ScopeSource::Channel1);
        return r;
    }
    r.kind = source == ScopeSource::Pod1   ? WaveformRecord::Pod1
             : source == ScopeSource::Pod2 ? WaveformRecord::Pod2
                                           : WaveformRecord::Logic;
    r.type = WaveformRecord::Normal; // logic inputs are neither averaged nor peak-detected
    r.count = 1;
    r.samples = logicWords();
    return r;
}

std::optional<double> Acquisition::measure(int source, WaveformMeasure::Quantity quantity) {
    std::unique_ptr<Measured>& measured = m_measured[source];
    if (!measured) measured = std::make_unique<Measured>(record(source));
    const auto known = measured->values.find(quantity);
    if (known != measured->values.end()) return known->second;
    return measured->values[quantity] = measured->measure.value(quantity);
}

void Acquisition::accumulate(int channel, const InputSignals::Shaping& shaping, const Shot& shot,
                             float* out) {
    const bool noiseTriggered =
        m_settings.trigger.source == ScopeSource::Channel1 + channel && shot.trigger.found;
    const qint64 noiseBase = noiseTriggered ? shot.trigger.sample - m_triggerIndex : 0;
    InputSignals::fill(channel, shot.trigger.time + m_xOrigin, m_dt, shaping, shot.arm.noiseKey, noiseBase,
                       out, m_points, true);
}

void Acquisition::peakDetect(int channel, const InputSignals::Shaping& shaping, const Shot& shot,
                             float* out) {
    // Each pair of record points holds the minimum and maximum of the samples over its two intervals.
    const bool noiseTriggered =
        m_settings.trigger.source == ScopeSource::Channel1 + channel && shot.trigger.found;
    const qint64 noiseBase = noiseTriggered ? shot.trigger.sample - m_triggerIndex : 0;
    const double t0 = shot.trigger.time + m_xOrigin, fine = m_dt / PeakOversampling;
    constexpr qsizetype perPair = 2 * PeakOversampling;
    std::vector<float> buffer(size_t(PeakBlockPairs * perPair));
    const qsizetype pairs = (m_points + 1) / 2;
    for (qsizetype p0 = 0; p0 < pairs; p0 += PeakBlockPairs) {
        const qsizetype n = std::min(PeakBlockPairs, pairs - p0);
        InputSignals::fill(channel, t0 + double(2 * p0) * m_dt, fine, shaping, shot.arm.noiseKey,
                           (noiseBase + 2 * p0) * PeakOversampling, buffer.data(), n * perPair, false);
        for (qsizetype j = 0; j < n; ++j) {
            const auto [lo, hi] =
                std::minmax_element(buffer.begin() + j * perPair, buffer.begin() + (j + 1) * perPair);
            const qsizetype i = 2 * (p0 + j);
            out[i] = *lo;
            if (i + 1 < m_points) out[i + 1] = *hi;
        }
    }
}

std::shared_ptr<const std::vector<quint16>> Acquisition::channelCodes(int channel) {
    std::shared_ptr<const std::vector<quint16>>& cached = m_channels[size_t(channel)];
    if (cached) return cached;
    const ChannelState& c = m_settings.channels[size_t(channel)];
    const double perVolt = WaveformRecord::WordsPerDivision / c.scale;
    const InputSignals::Shaping volts = TriggerFinder::channelShaping(c, channel);
    const InputSignals::Shaping codes{volts.gain * perVolt, (volts.bias - c.offset) * perVolt};

    std::vector<float> sum(size_t(m_points), 0.0f);
    const int type = preambleType(m_settings.acquire.type);
    if (type == WaveformRecord::Peak) {
        peakDetect(channel, codes, m_shots.first(), sum.data());
    } else if (InputSignals::period(channel) > 0) {
        // Shots that triggered at the same phase of this signal give the same record: make it once
        // and weigh it.
        const double period = InputSignals::period(channel);
        QMap<qint64, QPair<qsizetype, int>> phases;
        for (qsizetype k = 0; k < m_shots.size(); ++k) {
            double phase = std::fmod(m_shots[k].trigger.time + m_xOrigin, period) / period;
            if (phase < 0) phase += 1;
            auto& entry = phases[qint64(std::llround(phase * 1e12))];
            if (entry.second++ == 0) entry.first = k;
        }
        for (const auto& [shot, weight] : phases)
            accumulate(channel, {codes.gain * weight, codes.bias * weight}, m_shots[shot], sum.data());
    } else {
        for (const Shot& shot : m_shots)
            accumulate(channel, codes, shot, sum.data());
    }

    auto out = std::make_shared<std::vector<quint16>>(size_t(m_points));
    const float scale = 1.0f / float(type == WaveformRecord::Peak ? 1 : m_shots.size());
    quint16* dst = out->data();
    for (qsizetype i = 0; i < m_points; ++i) {
        const float v =
            std::clamp(sum[size_t(i)] * scale + float(WaveformRecord::WordCentre) + 0.5f, 0.0f, 65535.0f);
        dst[i] = quint16(v);
    }
    cached = out;
    return cached;
}

std::shared_ptr<const std::vector<quint16>> Acquisition::logicWords() {
    if (m_logic) return m_logic;
    const Shot& shot = m_shots.last();
    const quint64 first = quint64(shot.arm.counterAtArm) + quint64(shot.trigger.sample - m_triggerIndex);
    auto out = std::make_shared<std::vector<quint16>>(size_t(m_points));
    quint16* dst = out->data();
    for (qsizetype i = 0; i < m_points; ++i)
        dst[i] = quint16(first + quint64(i));
    m_logic = out;
    return m_logic;
}

} // namespace tavrelsim
