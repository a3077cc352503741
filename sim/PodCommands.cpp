#include "sim/ScopeCommands.h"

namespace tavrelsim {

void addPodCommands(ScpiCommandTable& t) {
    constexpr int n = ScopeState::PodCount;
    addBoolSetting(t, ":POD#:DISPlay", n,
                   [](ScopeState& s, int i) -> bool& { return s.pods[size_t(i - 1)].display; });
    addRealSetting(
        t, ":POD#:THReshold", n,
        [](ScopeState& s, int i) -> double& { return s.pods[size_t(i - 1)].threshold; },
        -ScopeState::MaxPodThreshold, ScopeState::MaxPodThreshold);
}

} // namespace tavrelsim
