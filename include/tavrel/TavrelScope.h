#pragma once

// Tavrel Scope Control for hosts (Tavrel::Control): the control, its setups, its enumerations, the
// driver's operation objects it hands out and TavrelError, the one error type that leaves it.
#include "base/Localization.h"
#include "base/TavrelError.h"
#include "control/ControlDocument.h"
#include "control/TavrelScope.h"
#include "hosting/HostDocument.h"
#include "hosting/MemoryPropertyBag.h"
#include "setups/SetupTavrelScope.h"
#include "setups/SetupsTavrelScope.h"
#include "tavrel/Driver.h"
