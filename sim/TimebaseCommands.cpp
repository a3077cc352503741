#include "sim/ScopeCommands.h"

namespace tavrelsim {

void addTimebaseCommands(ScpiCommandTable& t) {
    addRealSetting(
        t, ":TIMebase:SCALe", 1, [](ScopeState& s, int) -> double& { return s.timebase.scale; },
        ScopeState::MinTimebaseScale, ScopeState::MaxTimebaseScale);
    addRealSetting(
        t, ":TIMebase:POSition", 1, [](ScopeState& s, int) -> double& { return s.timebase.position; },
        -ScopeState::MaxTimebasePosition, ScopeState::MaxTimebasePosition);
    addChoiceSetting(t, ":TIMebase:MODE", 1, [](ScopeState& s, int) -> int& { return s.timebase.mode; },
                     {"NORMal", "DELayed", "ROLL", "XY"});
    addChoiceSetting(t, ":TIMebase:REFerence", 1,
                     [](ScopeState& s, int) -> int& { return s.timebase.reference; },
                     {"LEFT", "CENTer", "RIGHt"});
}

} // namespace tavrelsim
