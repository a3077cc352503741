#include "sim/ScopeCommands.h"

namespace tavrelsim {

void addTriggerCommands(ScpiCommandTable& t) {
    using namespace ScopeSource;
    addChoiceSetting(t, ":TRIGger:MODE", 1, [](ScopeState& s, int) -> int& { return s.trigger.mode; },
                     {"AUTO", "NORMal", "AUTolevel"});
    addSourceSetting(
        t, ":TRIGger:SOURce", [](ScopeState& s, int) -> int& { return s.trigger.source; },
        Channels | ExternalAndLine | Bits);
    addRealSetting(
        t, ":TRIGger:LEVel", 1, [](ScopeState& s, int) -> double& { return s.trigger.level; },
        -ScopeState::MaxTriggerLevel, ScopeState::MaxTriggerLevel);
    addChoiceSetting(t, ":TRIGger:SLOPe", 1, [](ScopeState& s, int) -> int& { return s.trigger.slope; },
                     {"POSitive", "NEGative"});
    addChoiceSetting(t, ":TRIGger:COUPling", 1, [](ScopeState& s, int) -> int& { return s.trigger.coupling; },
                     {"DC", "AC"});
}

} // namespace tavrelsim
