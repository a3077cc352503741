#pragma once

#include "automation/CEnums.h"
#include "automation/ScpiMnemonics.h"

namespace BrumelTB {

class ScopeTavrel;

// The edge trigger: sweep mode, source, level, slope and coupling.
class TriggerTavrel {
public:
    explicit TriggerTavrel(ScopeTavrel& scope) : m_scope(scope) {}

    Tavrel_TriggerMode Mode();
    void SetMode(Tavrel_TriggerMode mode);
    Tavrel_TriggerSource Source();
    void SetSource(Tavrel_TriggerSource source);
    // Volts.
    double Level();
    void SetLevel(double volts);
    Tavrel_TriggerSlope Slope();
    void SetSlope(Tavrel_TriggerSlope slope);
    Tavrel_TriggerCoupling Coupling();
    void SetCoupling(Tavrel_TriggerCoupling coupling);

    static const MnemonicTable<Tavrel_TriggerMode>& ModeTable();
    static const MnemonicTable<Tavrel_TriggerSource>& SourceTable();
    static const MnemonicTable<Tavrel_TriggerSlope>& SlopeTable();
    static const MnemonicTable<Tavrel_TriggerCoupling>& CouplingTable();

private:
    ScopeTavrel& m_scope;
};

} // namespace BrumelTB
