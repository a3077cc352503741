#pragma once

#include "control/TavrelScope.h"

// Runs the body with the control connected to its address, and closes the connection afterwards,
// also when the body fails.
template <typename Body> decltype(auto) WithConnection(TavrelScope& control, Body&& body) {
    control.Initialize();
    struct Closer {
        TavrelScope& control;
        ~Closer() { control.CloseConnection(); }
    } closer{control};
    return body();
}
