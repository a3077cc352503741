#pragma once

#include "automation/CEnums.h"
#include "automation/ScpiMnemonics.h"

namespace BrumelTB {

class ScopeTavrel;

// The acquisition subsystem: how samples are taken, averaged and how many a record holds.
class AcquisitionTavrel {
public:
    explicit AcquisitionTavrel(ScopeTavrel& scope) : m_scope(scope) {}

    Tavrel_AcquisitionType Type();
    void SetType(Tavrel_AcquisitionType type);
    // The number of acquisitions averaged in the Average type.
    Tavrel_AcquisitionCount Count();
    void SetCount(Tavrel_AcquisitionCount count);
    // The record length, 100 .. 1,000,000 samples.
    qint32 Points();
    void SetPoints(qint32 points);
    // On while the scope acquires (Run), Off once stopped.
    Tavrel_OnOffState RunState();

    static const MnemonicTable<Tavrel_AcquisitionType>& TypeTable();
    static const MnemonicTable<Tavrel_AcquisitionCount>& CountTable();
    static const MnemonicTable<Tavrel_OnOffState>& RunStateTable();

private:
    ScopeTavrel& m_scope;
};

} // namespace BrumelTB
