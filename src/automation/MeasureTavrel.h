#pragma once

#include "automation/CEnums.h"
#include "automation/ScpiMnemonics.h"

namespace BrumelTB {

class ScopeTavrel;

// Automatic measurements on the acquired record of an analog channel. A value the instrument cannot
// measure comes back as NotMeasurable, as the instrument reports it.
class MeasureTavrel {
public:
    static constexpr double NotMeasurable = 9.9e37;

    enum class Quantity {
        Frequency,
        Period,
        VPP,
        Amplitude,
        VMax,
        VMin,
        VTop,
        VBase,
        VRMS,
        VAverage,
        RiseTime,
        FallTime,
        DutyCycle,
    };

    explicit MeasureTavrel(ScopeTavrel& scope) : m_scope(scope) {}

    // The channel that measurements default to on the scope's front panel.
    Tavrel_AnalogChannels Source();
    void SetSource(Tavrel_AnalogChannels channel);

    double Frequency(Tavrel_AnalogChannels channel) { return Value(Quantity::Frequency, channel); } // Hz
    double Period(Tavrel_AnalogChannels channel) { return Value(Quantity::Period, channel); }       // s
    double VPP(Tavrel_AnalogChannels channel) { return Value(Quantity::VPP, channel); }
    double Amplitude(Tavrel_AnalogChannels channel) {
        return Value(Quantity::Amplitude, channel);
    } // top - base
    double VMax(Tavrel_AnalogChannels channel) { return Value(Quantity::VMax, channel); }
    double VMin(Tavrel_AnalogChannels channel) { return Value(Quantity::VMin, channel); }
    double VTop(Tavrel_AnalogChannels channel) { return Value(Quantity::VTop, channel); }
    double VBase(Tavrel_AnalogChannels channel) { return Value(Quantity::VBase, channel); }
    double VRMS(Tavrel_AnalogChannels channel) { return Value(Quantity::VRMS, channel); }
    double VAverage(Tavrel_AnalogChannels channel) { return Value(Quantity::VAverage, channel); }
    double RiseTime(Tavrel_AnalogChannels channel) {
        return Value(Quantity::RiseTime, channel);
    } // 10 %..90 %, s
    double FallTime(Tavrel_AnalogChannels channel) { return Value(Quantity::FallTime, channel); }
    double DutyCycle(Tavrel_AnalogChannels channel) { return Value(Quantity::DutyCycle, channel); } // percent

    double Value(Quantity quantity, Tavrel_AnalogChannels channel);

    static const MnemonicTable<Quantity>& QuantityTable();

private:
    ScopeTavrel& m_scope;
};

} // namespace BrumelTB
