#include "sim/ScopeCommands.h"

namespace tavrelsim {

void addChannelCommands(ScpiCommandTable& t) {
    constexpr int n = ScopeState::ChannelCount;
    auto ch = [](ScopeState& s, int i) -> ChannelState& { return s.channels[size_t(i - 1)]; };
    addBoolSetting(t, ":CHANnel#:DISPlay", n,
                   [=](ScopeState& s, int i) -> bool& { return ch(s, i).display; });
    addRealSetting(
        t, ":CHANnel#:SCALe", n, [=](ScopeState& s, int i) -> double& { return ch(s, i).scale; },
        ScopeState::MinChannelScale, ScopeState::MaxChannelScale);
    addRealSetting(
        t, ":CHANnel#:OFFSet", n, [=](ScopeState& s, int i) -> double& { return ch(s, i).offset; },
        -ScopeState::MaxChannelOffset, ScopeState::MaxChannelOffset);
    addChoiceSetting(t, ":CHANnel#:COUPling", n,
                     [=](ScopeState& s, int i) -> int& { return ch(s, i).coupling; }, {"DC", "AC", "GND"});
    const auto& probes = ScopeState::ProbeValues;
    addRealSetting(
        t, ":CHANnel#:PROBe", n, [=](ScopeState& s, int i) -> double& { return ch(s, i).probe; },
        probes.front(), probes.back(), QList<double>(probes.begin(), probes.end()));
    addChoiceSetting(t, ":CHANnel#:PROBe:MODE", n,
                     [=](ScopeState& s, int i) -> int& { return ch(s, i).probeMode; }, {"AUTO", "MANual"});
}

} // namespace tavrelsim
