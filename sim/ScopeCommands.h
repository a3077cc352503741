#pragma once

#include "sim/ScopeState.h"
#include "sim/ScpiCommandTable.h"

#include <QByteArray>
#include <QList>
#include <functional>

namespace tavrelsim {

// The scope's command set, one batch of table rows per subsystem.
void addCommonCommands(ScpiCommandTable& table);
void addSystemCommands(ScpiCommandTable& table);
void addChannelCommands(ScpiCommandTable& table);
void addTimebaseCommands(ScpiCommandTable& table);

// Rows for plain settings, set and queried alike. n is the header's (first) numeric suffix.
using RealRef = std::function<double&(ScopeState&, int n)>;
using BoolRef = std::function<bool&(ScopeState&, int n)>;
using ChoiceRef = std::function<int&(ScopeState&, int n)>;
void addRealSetting(ScpiCommandTable& table, const char* header, int suffixMax, RealRef ref, double min,
                    double max);
void addBoolSetting(ScpiCommandTable& table, const char* header, int suffixMax, BoolRef ref);
// choices are mnemonics like "GND" or "AC"; the query answers the short form.
void addChoiceSetting(ScpiCommandTable& table, const char* header, int suffixMax, ChoiceRef ref,
                      QList<QByteArray> choices);

} // namespace tavrelsim
