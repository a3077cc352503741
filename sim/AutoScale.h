#pragma once

#include "sim/ScopeState.h"

namespace tavrelsim {

// :AUToscale. A channel carries a signal unless it is grounded; each such channel is turned on
// and scaled so that its signal spans about six divisions around the centre, the others are
// turned off. The lowest such channel gets an edge trigger at the middle of its signal (AUTO
// mode, rising, DC) and the timebase shows at least three of its periods, the reference at the
// centre. Nothing changes when no channel carries a signal; pods are left as they are.
namespace AutoScale {
void apply(ScopeState& state);
// The smallest 1-2-5 step at least x.
double stepAtLeast(double x);
} // namespace AutoScale

} // namespace tavrelsim
