#pragma once

#include "sim/ScopeSource.h"

#include <QByteArray>
#include <array>
#include <optional>

namespace tavrelsim {

struct ChannelState {
    enum Coupling { DC, AC, GND };
    enum ProbeMode { ProbeAuto, ProbeManual };
    bool display = false;
    double scale = 1.0;  // volts per division
    double offset = 0.0; // volts
    int coupling = DC;
    double probe = 1.0; // attenuation: what reaches the input is multiplied by it
    int probeMode = ProbeAuto;
    bool operator==(const ChannelState&) const = default;
};

struct TimebaseState {
    enum Mode { Normal, Delayed, Roll, XY };
    enum Reference { Left, Center, Right };
    double scale = 1e-3;   // seconds per division
    double position = 0.0; // seconds, trigger to reference point
    int mode = Normal;
    int reference = Center;
    bool operator==(const TimebaseState&) const = default;
};

struct AcquireState {
    enum Type { Normal, Average, Peak, Glitch, Realtime, Auto };
    int type = Normal;
    int count = 8;        // averages
    int points = 1000000; // record length
    bool operator==(const AcquireState&) const = default;
};

struct TriggerState {
    enum Mode { Auto, Normal, AutoLevel };
    enum Slope { Positive, Negative };
    enum Coupling { DC, AC };
    int mode = Auto;
    int source = ScopeSource::Channel1;
    double level = 0.0; // volts
    int slope = Positive;
    int coupling = DC;
    bool operator==(const TriggerState&) const = default;
};

struct PodState {
    bool display = false;
    double threshold = 1.4; // volts
    bool operator==(const PodState&) const = default;
};

struct WaveformState {
    enum Format { Byte, Word, Ascii };
    enum ByteOrder { LsbFirst, MsbFirst };
    static constexpr int MaximumPoints = 0; // "MAXimum": the whole record
    int source = ScopeSource::Channel1;
    int format = Byte;
    int byteOrder = LsbFirst;
    int points = 1000;
    bool operator==(const WaveformState&) const = default;
};

// The front-panel state of a Tavrel scope: everything its learn string carries. Each subsystem is
// one member and one tagged section of the serialized form, so a subsystem is added without
// disturbing the others.
struct ScopeState {
    static constexpr int ChannelCount = 4;
    static constexpr int PodCount = 2;
    static constexpr int TraceCount = 4;
    // Ranges the instrument accepts, shared by the commands and the learn-string check.
    static constexpr double MinChannelScale = 1e-3, MaxChannelScale = 10.0;
    static constexpr double MaxChannelOffset = 100.0;
    static constexpr double MinTimebaseScale = 1e-9, MaxTimebaseScale = 50.0;
    static constexpr double MaxTimebasePosition = 500.0;
    static constexpr double MaxTriggerLevel = 1000.0;
    static constexpr double MaxPodThreshold = 8.0;
    static constexpr int MinRecordPoints = 100, MaxRecordPoints = 1000000;
    static constexpr std::array<double, 4> ProbeValues{1, 10, 20, 100};
    static constexpr std::array<int, 8> CountValues{1, 4, 8, 16, 32, 64, 128, 256};

    std::array<ChannelState, ChannelCount> channels{};
    TimebaseState timebase;
    // Display intensity map, one level per input level; an identity ramp until calibrated.
    std::array<quint8, 256> intensityMap{};
    AcquireState acquire;
    TriggerState trigger;
    int measureSource = ScopeSource::Channel1;
    std::array<PodState, PodCount> pods{};
    WaveformState waveform;
    std::array<bool, TraceCount> traceDisplay{};

    static ScopeState defaults();
    QByteArray serialize() const;
    // nullopt when the data is malformed or a value is out of the instrument's ranges. A section
    // that an older learn string lacks leaves that subsystem at its defaults.
    static std::optional<ScopeState> deserialize(const QByteArray& data);
    bool operator==(const ScopeState&) const = default;
};

} // namespace tavrelsim
