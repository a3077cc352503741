#include "automation/MeasureTavrel.h"

#include "automation/ScopeTavrel.h"
#include "automation/WaveformTavrel.h"

namespace BrumelTB {

namespace {
const QString kSource = QStringLiteral(":MEASure:SOURce");
const QString kQuery = QStringLiteral(":MEASure:%1? %2");
} // namespace

const MnemonicTable<MeasureTavrel::Quantity>& MeasureTavrel::QuantityTable() {
    static const MnemonicTable<Quantity> table("measurement", {{Quantity::Frequency, "FREQuency"},
                                                               {Quantity::Period, "PERiod"},
                                                               {Quantity::VPP, "VPP"},
                                                               {Quantity::Amplitude, "VAMPlitude"},
                                                               {Quantity::VMax, "VMAX"},
                                                               {Quantity::VMin, "VMIN"},
                                                               {Quantity::VTop, "VTOP"},
                                                               {Quantity::VBase, "VBASe"},
                                                               {Quantity::VRMS, "VRMS"},
                                                               {Quantity::VAverage, "VAVerage"},
                                                               {Quantity::RiseTime, "RISetime"},
                                                               {Quantity::FallTime, "FALLtime"},
                                                               {Quantity::DutyCycle, "DUTYcycle"}});
    return table;
}

Tavrel_AnalogChannels MeasureTavrel::Source() {
    return m_scope.Call("MeasureTavrel", "Source", [&]() -> Tavrel_AnalogChannels {
        return WaveformTavrel::SourceTable().FromReply(m_scope.QueryText(kSource + QLatin1Char('?')));
    });
}

void MeasureTavrel::SetSource(Tavrel_AnalogChannels channel) {
    return m_scope.Call("MeasureTavrel", "SetSource", [&]() -> void {
        m_scope.Execute(kSource + QLatin1Char(' ') + WaveformTavrel::SourceTable().Mnemonic(channel));
    });
}

double MeasureTavrel::Value(Quantity quantity, Tavrel_AnalogChannels channel) {
    return m_scope.Call("MeasureTavrel", "Value", [&]() -> double {
        return m_scope.QueryReal(
            kQuery.arg(QuantityTable().Mnemonic(quantity), WaveformTavrel::SourceTable().Mnemonic(channel)));
    });
}

} // namespace BrumelTB
