#include "sim/AutoScale.h"

#include "sim/InputSignals.h"
#include "sim/TriggerFinder.h"

#include <algorithm>
#include <cmath>

namespace tavrelsim::AutoScale {

double stepAtLeast(double x) {
    double decade = std::pow(10.0, std::floor(std::log10(x)));
    for (int k = 0; k < 2; ++k, decade *= 10) {
        for (double m : {1.0, 2.0, 5.0}) {
            if (m * decade >= x * (1 - 1e-12)) return m * decade;
        }
    }
    return 10 * decade;
}

void apply(ScopeState& state) {
    int lowest = -1;
    for (int c = 0; c < ScopeState::ChannelCount; ++c) {
        if (state.channels[size_t(c)].coupling != ChannelState::GND && lowest < 0) lowest = c;
    }
    if (lowest < 0) return;
    for (int c = 0; c < ScopeState::ChannelCount; ++c) {
        ChannelState& ch = state.channels[size_t(c)];
        ch.display = ch.coupling != ChannelState::GND;
        if (!ch.display) continue;
        const InputSignals::Shaping s = TriggerFinder::channelShaping(ch, c);
        const double lo = s.gain * InputSignals::minimum(c) + s.bias,
                     hi = s.gain * InputSignals::maximum(c) + s.bias;
        ch.scale =
            std::clamp(stepAtLeast((hi - lo) / 6), ScopeState::MinChannelScale, ScopeState::MaxChannelScale);
        ch.offset = std::clamp((hi + lo) / 2, -ScopeState::MaxChannelOffset, ScopeState::MaxChannelOffset);
        if (c == lowest) {
            state.trigger.mode = TriggerState::Auto;
            state.trigger.source = ScopeSource::Channel1 + c;
            state.trigger.level =
                std::clamp((hi + lo) / 2, -ScopeState::MaxTriggerLevel, ScopeState::MaxTriggerLevel);
            state.trigger.slope = TriggerState::Positive;
            state.trigger.coupling = TriggerState::DC;
        }
    }
    state.timebase.mode = TimebaseState::Normal;
    state.timebase.position = 0;
    state.timebase.reference = TimebaseState::Center;
    if (const double period = InputSignals::period(lowest); period > 0)
        state.timebase.scale = stepAtLeast(3 * period / 10);
}

} // namespace tavrelsim::AutoScale
