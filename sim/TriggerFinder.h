#pragma once

#include "sim/InputSignals.h"
#include "sim/ScopeState.h"

namespace tavrelsim {

// Where an acquisition triggers: the first edge of the trigger source, on the chosen slope
// through the level, after the moment the acquisition is armed.
class TriggerFinder {
public:
    static constexpr double LineFrequency = 50.0;

    struct Event {
        bool found = false;
        double time = 0;   // seconds; the arm time when nothing was found
        qint64 sample = 0; // samples of the record's spacing from the arm time to the trigger
    };
    struct Arm {
        double time = 0;
        double step = 0;          // the record's sample interval
        quint64 noiseKey = 0;     // the noise stream of this acquisition
        quint16 counterAtArm = 0; // the logic inputs' counter at the arm time
    };

    static Event find(const ScopeState& state, const Arm& arm);
    // The level really used: AUTolevel takes the middle of the source's range.
    static double level(const ScopeState& state);
    // What a channel shows of its input, in volts: probe and coupling.
    static InputSignals::Shaping channelShaping(const ChannelState& channel, int index);
};

} // namespace tavrelsim
