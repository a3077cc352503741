#pragma once

#include "automation/CEnums.h"
#include "automation/ScpiMnemonics.h"

namespace BrumelTB {

class ScopeTavrel;

// One analog input: display, vertical scale and offset (volts at the probe tip), coupling and probe.
class AnalogChannelTavrel {
public:
    AnalogChannelTavrel(ScopeTavrel& scope, Tavrel_AnalogChannels channel)
        : m_scope(scope), m_channel(channel) {}

    Tavrel_AnalogChannels Channel() const { return m_channel; }

    Tavrel_OnOffState Display();
    void SetDisplay(Tavrel_OnOffState state);
    // Volts per division, 8 divisions vertically.
    double Scale();
    void SetScale(double voltsPerDivision);
    // The voltage at the screen's centre.
    double Offset();
    void SetOffset(double volts);
    Tavrel_ProbeCoupling Coupling();
    void SetCoupling(Tavrel_ProbeCoupling coupling);
    Tavrel_ProbeAttenuation ProbeAttenuation();
    void SetProbeAttenuation(Tavrel_ProbeAttenuation attenuation);
    Tavrel_ProbeMode ProbeMode();
    void SetProbeMode(Tavrel_ProbeMode mode);

    static const MnemonicTable<Tavrel_ProbeCoupling>& CouplingTable();
    static const MnemonicTable<Tavrel_ProbeAttenuation>& AttenuationTable();
    static const MnemonicTable<Tavrel_ProbeMode>& ProbeModeTable();

private:
    QString header(const QString& node) const;

    ScopeTavrel& m_scope;
    Tavrel_AnalogChannels m_channel;
};

} // namespace BrumelTB
