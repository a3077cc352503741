#include "sim/ScopeCommands.h"

namespace tavrelsim {

void addAcquireCommands(ScpiCommandTable& t) {
    addChoiceSetting(t, ":ACQuire:TYPE", 1, [](ScopeState& s, int) -> int& { return s.acquire.type; },
                     {"NORMal", "AVERage", "PEAK", "GLITch", "REALtime", "AUTO"});
    const auto& counts = ScopeState::CountValues;
    addIntSetting(
        t, ":ACQuire:COUNt", 1, [](ScopeState& s, int) -> int& { return s.acquire.count; }, counts.front(),
        counts.back(), QList<int>(counts.begin(), counts.end()));
    addIntSetting(
        t, ":ACQuire:POINts", 1, [](ScopeState& s, int) -> int& { return s.acquire.points; },
        ScopeState::MinRecordPoints, ScopeState::MaxRecordPoints);
}

} // namespace tavrelsim
