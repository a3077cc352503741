#include "sim/TriggerFinder.h"

#include "sim/SeededNoise.h"

#include <cmath>
#include <functional>
#include <numbers>

namespace tavrelsim {
namespace {

// A noisy source crosses almost at once or, with the level beyond the noise, never.
constexpr qint64 MaxNoiseSearch = 1 << 20;
// Steps per period in the scan for an edge: finer than the square's edges.
constexpr int ScanSteps = 4000;

bool crosses(double before, double after, double level, bool rising) {
    return rising ? (before < level && after >= level) : (before > level && after <= level);
}

// The first crossing of a noise-free signal in [from, from + span), to within rounding.
TriggerFinder::Event scan(const std::function<double(double)>& signal, double from, double period,
                          double level, bool rising) {
    TriggerFinder::Event e;
    const double step = period / ScanSteps;
    double before = signal(from);
    for (int k = 1; k <= 2 * ScanSteps + 1; ++k) {
        const double t = from + k * step, after = signal(t);
        if (crosses(before, after, level, rising)) {
            double lo = t - step, hi = t;
            for (int i = 0; i < 80 && lo < hi; ++i) {
                const double mid = lo + (hi - lo) / 2;
                if (mid <= lo || mid >= hi) break;
                if (crosses(signal(lo), signal(mid), level, rising))
                    hi = mid;
                else
                    lo = mid;
            }
            e.found = true;
            e.time = hi;
            return e;
        }
        before = after;
    }
    return e;
}

} // namespace

InputSignals::Shaping TriggerFinder::channelShaping(const ChannelState& channel, int index) {
    if (channel.coupling == ChannelState::GND) return {0, 0};
    InputSignals::Shaping s{channel.probe, 0};
    if (channel.coupling == ChannelState::AC) s.bias = -channel.probe * InputSignals::mean(index);
    return s;
}

double TriggerFinder::level(const ScopeState& state) {
    const TriggerState& t = state.trigger;
    if (t.mode != TriggerState::AutoLevel || !ScopeSource::isChannel(t.source)) return t.level;
    const int c = t.source - ScopeSource::Channel1;
    const InputSignals::Shaping s = channelShaping(state.channels[size_t(c)], c);
    const double middle = s.gain * (InputSignals::minimum(c) + InputSignals::maximum(c)) / 2 + s.bias;
    const double mean = s.gain * InputSignals::mean(c) + s.bias;
    return t.coupling == TriggerState::AC ? middle - mean : middle;
}

TriggerFinder::Event TriggerFinder::find(const ScopeState& state, const Arm& arm) {
    const TriggerState& t = state.trigger;
    const bool rising = t.slope == TriggerState::Positive;
    Event e;
    e.time = arm.time;
    if (ScopeSource::isBit(t.source)) {
        // The counter's bit k rises when the count reaches 2^k modulo 2^(k+1), falls at 0.
        const int k = t.source - ScopeSource::Digital0;
        const qint64 cycle = qint64(1) << (k + 1), target = rising ? (qint64(1) << k) : 0;
        e.sample = ((target - arm.counterAtArm - 1) % cycle + cycle) % cycle + 1;
        e.found = true;
        e.time = arm.time + double(e.sample) * arm.step;
        return e;
    }
    if (t.source == ScopeSource::Line) {
        const Event line = scan([](double x) { return std::sin(2 * std::numbers::pi * LineFrequency * x); },
                                arm.time, 1 / LineFrequency, 0.0, rising);
        if (line.found) e = line;
    } else if (ScopeSource::isChannel(t.source)) {
        const int c = t.source - ScopeSource::Channel1;
        InputSignals::Shaping s = channelShaping(state.channels[size_t(c)], c);
        if (t.coupling == TriggerState::AC) s.bias = -s.gain * InputSignals::mean(c); // the mean removed
        const double lv = level(state);
        if (InputSignals::period(c) > 0) {
            const Event found = scan([&](double x) { return s.gain * InputSignals::valueAt(c, x) + s.bias; },
                                     arm.time, InputSignals::period(c), lv, rising);
            if (found.found) e = found;
        } else {
            auto value = [&](qint64 m) {
                return s.gain * (InputSignals::NoiseMean +
                                 InputSignals::NoiseRms * SeededNoise::gaussian(arm.noiseKey, m)) +
                       s.bias;
            };
            double before = value(0);
            for (qint64 m = 1; m < MaxNoiseSearch; ++m) {
                const double after = value(m);
                if (crosses(before, after, lv, rising)) {
                    e.found = true;
                    e.sample = m;
                    e.time = arm.time + double(m) * arm.step;
                    return e;
                }
                before = after;
            }
        }
    } // EXTernal: nothing is connected there
    if (e.found) e.sample = qint64(std::llround(std::fmod(e.time - arm.time, 65536 * arm.step) / arm.step));
    return e;
}

} // namespace tavrelsim
