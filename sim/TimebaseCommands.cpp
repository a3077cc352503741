#include "sim/ScopeCommands.h"

namespace tavrelsim {

void addTimebaseCommands(ScpiCommandTable& t) {
    addRealSetting(
        t, ":TIMebase:SCALe", 1, [](ScopeState& s, int) -> double& { return s.timebaseScale; },
        ScopeState::MinTimebaseScale, ScopeState::MaxTimebaseScale);
    addRealSetting(
        t, ":TIMebase:POSition", 1, [](ScopeState& s, int) -> double& { return s.timebasePosition; },
        -ScopeState::MaxTimebasePosition, ScopeState::MaxTimebasePosition);
}

} // namespace tavrelsim
