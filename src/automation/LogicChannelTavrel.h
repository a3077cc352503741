#pragma once

#include "automation/CEnums.h"
#include "automation/ScpiMnemonics.h"

namespace BrumelTB {

class ScopeTavrel;

// The logic analysis inputs D0..D15, in two pods of eight (POD1 = D0..D7, POD2 = D8..D15). A pod is
// displayed and thresholded as a whole; a bit follows its pod.
class LogicChannelTavrel {
public:
    explicit LogicChannelTavrel(ScopeTavrel& scope) : m_scope(scope) {}

    Tavrel_OnOffState PodDisplay(Tavrel_LogicPods pod);
    void SetPodDisplay(Tavrel_LogicPods pod, Tavrel_OnOffState state);
    // The switching threshold of the pod's inputs, in volts.
    double PodThreshold(Tavrel_LogicPods pod);
    void SetPodThreshold(Tavrel_LogicPods pod, double volts);
    // Whether the bit's input is displayed: the display state of its pod.
    Tavrel_OnOffState BitState(Tavrel_LogicBits bit);
    // The pod an input belongs to; ServerError for a value outside Tavrel_LogicBits.
    static Tavrel_LogicPods PodOf(Tavrel_LogicBits bit);

    static const MnemonicTable<Tavrel_LogicPods>& PodTable();

private:
    ScopeTavrel& m_scope;
};

} // namespace BrumelTB
