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
void addAcquireCommands(ScpiCommandTable& table);
void addRunCommands(ScpiCommandTable& table);
void addTriggerCommands(ScpiCommandTable& table);
void addMeasureCommands(ScpiCommandTable& table);
void addPodCommands(ScpiCommandTable& table);
void addWaveformCommands(ScpiCommandTable& table);
void addDisplayCommands(ScpiCommandTable& table);
void addTraceCommands(ScpiCommandTable& table);

// Rows for plain settings, set and queried alike. n is the header's (first) numeric suffix.
using RealRef = std::function<double&(ScopeState&, int n)>;
using BoolRef = std::function<bool&(ScopeState&, int n)>;
using ChoiceRef = std::function<int&(ScopeState&, int n)>;
using IntRef = std::function<int&(ScopeState&, int n)>;
// allowed: when not empty, the only values within [min, max] that are taken.
void addRealSetting(ScpiCommandTable& table, const char* header, int suffixMax, RealRef ref, double min,
                    double max, QList<double> allowed = {});
// Answers as an integer ("16"); a real parameter is rounded.
void addIntSetting(ScpiCommandTable& table, const char* header, int suffixMax, IntRef ref, int min, int max,
                   QList<int> allowed = {});
void addBoolSetting(ScpiCommandTable& table, const char* header, int suffixMax, BoolRef ref);
// choices are mnemonics like "GND" or "AC"; the query answers the short form.
void addChoiceSetting(ScpiCommandTable& table, const char* header, int suffixMax, ChoiceRef ref,
                      QList<QByteArray> choices);
// A ScopeSource among kinds (ScopeSource::Kinds).
void addSourceSetting(ScpiCommandTable& table, const char* header, ChoiceRef ref, int kinds);

// Rows without a setting behind them.
void addQuery(ScpiCommandTable& table, const char* header, std::function<QByteArray(TavrelScope&)> answer);
void addAction(ScpiCommandTable& table, const char* header, std::function<void(TavrelScope&)> action);

} // namespace tavrelsim
