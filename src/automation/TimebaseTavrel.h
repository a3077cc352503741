#pragma once

#include "automation/CEnums.h"
#include "automation/ScpiMnemonics.h"

namespace BrumelTB {

class ScopeTavrel;

// The horizontal subsystem: sweep mode, time per division, and where the trigger sits on screen.
class TimebaseTavrel {
public:
    explicit TimebaseTavrel(ScopeTavrel& scope) : m_scope(scope) {}

    Tavrel_TimeMode Mode();
    void SetMode(Tavrel_TimeMode mode);
    // Seconds per division, 10 divisions horizontally.
    double Scale();
    void SetScale(double secondsPerDivision);
    // The time of the reference point relative to the trigger, in seconds.
    double Position();
    void SetPosition(double seconds);
    Tavrel_TimeReference Reference();
    void SetReference(Tavrel_TimeReference reference);

    static const MnemonicTable<Tavrel_TimeMode>& ModeTable();
    static const MnemonicTable<Tavrel_TimeReference>& ReferenceTable();

private:
    ScopeTavrel& m_scope;
};

} // namespace BrumelTB
