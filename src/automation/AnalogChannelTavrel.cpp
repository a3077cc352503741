#include "automation/AnalogChannelTavrel.h"

#include "automation/ScopeTavrel.h"

namespace BrumelTB {

namespace {
const QString kChannel = QStringLiteral(":CHANnel%1:%2");
const QString kDisplay = QStringLiteral("DISPlay");
const QString kScale = QStringLiteral("SCALe");
const QString kOffset = QStringLiteral("OFFSet");
const QString kCoupling = QStringLiteral("COUPling");
const QString kProbe = QStringLiteral("PROBe");
const QString kProbeMode = QStringLiteral("PROBe:MODE");

QString number(double value) {
    return QString::number(value, 'g', 12);
}
} // namespace

const MnemonicTable<Tavrel_ProbeCoupling>& AnalogChannelTavrel::CouplingTable() {
    static const MnemonicTable<Tavrel_ProbeCoupling> table("Tavrel_ProbeCoupling",
                                                           {{Tavrel_ProbeCoupling_DC, "DC"},
                                                            {Tavrel_ProbeCoupling_AC, "AC"},
                                                            {Tavrel_ProbeCoupling_GND, "GND"}});
    return table;
}

const MnemonicTable<Tavrel_ProbeAttenuation>& AnalogChannelTavrel::AttenuationTable() {
    static const MnemonicTable<Tavrel_ProbeAttenuation> table("Tavrel_ProbeAttenuation",
                                                              {{Tavrel_ProbeAttenuation_X1, "1"},
                                                               {Tavrel_ProbeAttenuation_X10, "10"},
                                                               {Tavrel_ProbeAttenuation_X20, "20"},
                                                               {Tavrel_ProbeAttenuation_X100, "100"}});
    return table;
}

const MnemonicTable<Tavrel_ProbeMode>& AnalogChannelTavrel::ProbeModeTable() {
    static const MnemonicTable<Tavrel_ProbeMode> table(
        "Tavrel_ProbeMode", {{Tavrel_ProbeMode_Auto, "AUTO"}, {Tavrel_ProbeMode_Manual, "MANual"}});
    return table;
}

QString AnalogChannelTavrel::header(const QString& node) const {
    return kChannel.arg(static_cast<int>(m_channel)).arg(node);
}

Tavrel_OnOffState AnalogChannelTavrel::Display() {
    return m_scope.Call("AnalogChannelTavrel", "Display", [&]() -> Tavrel_OnOffState {
        return OnOffTable().FromReply(m_scope.QueryText(header(kDisplay) + QLatin1Char('?')));
    });
}

void AnalogChannelTavrel::SetDisplay(Tavrel_OnOffState state) {
    return m_scope.Call("AnalogChannelTavrel", "SetDisplay", [&]() -> void {
        m_scope.Execute(header(kDisplay) + QLatin1Char(' ') + OnOffTable().Mnemonic(state));
    });
}

double AnalogChannelTavrel::Scale() {
    return m_scope.Call("AnalogChannelTavrel", "Scale",
                        [&]() -> double { return m_scope.QueryReal(header(kScale) + QLatin1Char('?')); });
}

void AnalogChannelTavrel::SetScale(double voltsPerDivision) {
    return m_scope.Call("AnalogChannelTavrel", "SetScale", [&]() -> void {
        m_scope.Execute(header(kScale) + QLatin1Char(' ') + number(voltsPerDivision));
    });
}

double AnalogChannelTavrel::Offset() {
    return m_scope.Call("AnalogChannelTavrel", "Offset",
                        [&]() -> double { return m_scope.QueryReal(header(kOffset) + QLatin1Char('?')); });
}

void AnalogChannelTavrel::SetOffset(double volts) {
    return m_scope.Call("AnalogChannelTavrel", "SetOffset", [&]() -> void {
        m_scope.Execute(header(kOffset) + QLatin1Char(' ') + number(volts));
    });
}

Tavrel_ProbeCoupling AnalogChannelTavrel::Coupling() {
    return m_scope.Call("AnalogChannelTavrel", "Coupling", [&]() -> Tavrel_ProbeCoupling {
        return CouplingTable().FromReply(m_scope.QueryText(header(kCoupling) + QLatin1Char('?')));
    });
}

void AnalogChannelTavrel::SetCoupling(Tavrel_ProbeCoupling coupling) {
    return m_scope.Call("AnalogChannelTavrel", "SetCoupling", [&]() -> void {
        m_scope.Execute(header(kCoupling) + QLatin1Char(' ') + CouplingTable().Mnemonic(coupling));
    });
}

Tavrel_ProbeAttenuation AnalogChannelTavrel::ProbeAttenuation() {
    return m_scope.Call("AnalogChannelTavrel", "ProbeAttenuation", [&]() -> Tavrel_ProbeAttenuation {
        return AttenuationTable().FromReply(m_scope.QueryText(header(kProbe) + QLatin1Char('?')));
    });
}

void AnalogChannelTavrel::SetProbeAttenuation(Tavrel_ProbeAttenuation attenuation) {
    return m_scope.Call("AnalogChannelTavrel", "SetProbeAttenuation", [&]() -> void {
        m_scope.Execute(header(kProbe) + QLatin1Char(' ') + AttenuationTable().Mnemonic(attenuation));
    });
}

Tavrel_ProbeMode AnalogChannelTavrel::ProbeMode() {
    return m_scope.Call("AnalogChannelTavrel", "ProbeMode", [&]() -> Tavrel_ProbeMode {
        return ProbeModeTable().FromReply(m_scope.QueryText(header(kProbeMode) + QLatin1Char('?')));
    });
}

void AnalogChannelTavrel::SetProbeMode(Tavrel_ProbeMode mode) {
    return m_scope.Call("AnalogChannelTavrel", "SetProbeMode", [&]() -> void {
        m_scope.Execute(header(kProbeMode) + QLatin1Char(' ') + ProbeModeTable().Mnemonic(mode));
    });
}

} // namespace BrumelTB
