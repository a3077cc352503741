#include "automation/LogicChannelTavrel.h"

#include "automation/ScopeTavrel.h"

namespace BrumelTB {

namespace {
const QString kDisplay = QStringLiteral(":%1:DISPlay");
const QString kThreshold = QStringLiteral(":%1:THReshold");
constexpr int kBitsPerPod = 8;
constexpr int kBits = 16;
} // namespace

const MnemonicTable<Tavrel_LogicPods>& LogicChannelTavrel::PodTable() {
    static const MnemonicTable<Tavrel_LogicPods> table(
        "Tavrel_LogicPods", {{Tavrel_Logic_POD1, "POD1"}, {Tavrel_Logic_POD2, "POD2"}});
    return table;
}

Tavrel_OnOffState LogicChannelTavrel::PodDisplay(Tavrel_LogicPods pod) {
    return m_scope.Call("LogicChannelTavrel", "PodDisplay", [&]() -> Tavrel_OnOffState {
        return OnOffTable().FromReply(
            m_scope.QueryText(kDisplay.arg(PodTable().Mnemonic(pod)) + QLatin1Char('?')));
    });
}

void LogicChannelTavrel::SetPodDisplay(Tavrel_LogicPods pod, Tavrel_OnOffState state) {
    return m_scope.Call("LogicChannelTavrel", "SetPodDisplay", [&]() -> void {
        m_scope.Execute(kDisplay.arg(PodTable().Mnemonic(pod)) + QLatin1Char(' ') +
                        OnOffTable().Mnemonic(state));
    });
}

double LogicChannelTavrel::PodThreshold(Tavrel_LogicPods pod) {
    return m_scope.Call("LogicChannelTavrel", "PodThreshold", [&]() -> double {
        return m_scope.QueryReal(kThreshold.arg(PodTable().Mnemonic(pod)) + QLatin1Char('?'));
    });
}

void LogicChannelTavrel::SetPodThreshold(Tavrel_LogicPods pod, double volts) {
    return m_scope.Call("LogicChannelTavrel", "SetPodThreshold", [&]() -> void {
        m_scope.Execute(kThreshold.arg(PodTable().Mnemonic(pod)) + QLatin1Char(' ') +
                        QString::number(volts, 'g', 12));
    });
}

Tavrel_LogicPods LogicChannelTavrel::PodOf(Tavrel_LogicBits bit) {
    // Compared as a number: a host may pass any value cast to the enumeration.
    const int index = static_cast<int>(bit);
    if (index < 0 || index >= kBits)
        throw ServerError(QStringLiteral("%1 is not a value of Tavrel_LogicBits").arg(index));
    return index < kBitsPerPod ? Tavrel_Logic_POD1 : Tavrel_Logic_POD2;
}

Tavrel_OnOffState LogicChannelTavrel::BitState(Tavrel_LogicBits bit) {
    return m_scope.Call("LogicChannelTavrel", "BitState",
                        [&]() -> Tavrel_OnOffState { return PodDisplay(PodOf(bit)); });
}

} // namespace BrumelTB
