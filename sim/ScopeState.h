#pragma once

#include <QByteArray>
#include <array>
#include <optional>

namespace tavrelsim {

struct ChannelState {
    enum Coupling { DC, AC, GND };
    bool display = false;
    double scale = 1.0;  // volts per division
    double offset = 0.0; // volts
    int coupling = DC;
    bool operator==(const ChannelState&) const = default;
};

// The front-panel state of a Tavrel scope: everything its learn string carries. Each subsystem is
// one member and one tagged section of the serialized form, so a subsystem is added without
// disturbing the others.
struct ScopeState {
    static constexpr int ChannelCount = 4;
    // Ranges the instrument accepts, shared by the commands and the learn-string check.
    static constexpr double MinChannelScale = 1e-3, MaxChannelScale = 10.0;
    static constexpr double MaxChannelOffset = 100.0;
    static constexpr double MinTimebaseScale = 1e-9, MaxTimebaseScale = 50.0;
    static constexpr double MaxTimebasePosition = 500.0;

    std::array<ChannelState, ChannelCount> channels{};
    double timebaseScale = 1e-3;   // seconds per division
    double timebasePosition = 0.0; // seconds, trigger to screen centre
    // Display intensity map, one level per input level; an identity ramp until calibrated.
    std::array<quint8, 256> intensityMap{};

    static ScopeState defaults();
    QByteArray serialize() const;
    // nullopt when the data is malformed or a value is out of the instrument's ranges.
    static std::optional<ScopeState> deserialize(const QByteArray& data);
    bool operator==(const ScopeState&) const = default;
};

} // namespace tavrelsim
