#include "automation/TriggerTavrel.h"

#include "automation/ScopeTavrel.h"

namespace BrumelTB {

namespace {
const QString kMode = QStringLiteral(":TRIGger:MODE");
const QString kSource = QStringLiteral(":TRIGger:SOURce");
const QString kLevel = QStringLiteral(":TRIGger:LEVel");
const QString kSlope = QStringLiteral(":TRIGger:SLOPe");
const QString kCoupling = QStringLiteral(":TRIGger:COUPling");
} // namespace

const MnemonicTable<Tavrel_TriggerMode>& TriggerTavrel::ModeTable() {
    static const MnemonicTable<Tavrel_TriggerMode> table("Tavrel_TriggerMode",
                                                         {{Tavrel_TriggerMode_Auto, "AUTO"},
                                                          {Tavrel_TriggerMode_Normal, "NORMal"},
                                                          {Tavrel_TriggerMode_AutoLevel, "AUTolevel"}});
    return table;
}

const MnemonicTable<Tavrel_TriggerSource>& TriggerTavrel::SourceTable() {
    static const MnemonicTable<Tavrel_TriggerSource> table(
        "Tavrel_TriggerSource",
        {{Tavrel_TriggerSource_Channel1, "CHANnel1"}, {Tavrel_TriggerSource_Channel2, "CHANnel2"},
         {Tavrel_TriggerSource_Channel3, "CHANnel3"}, {Tavrel_TriggerSource_Channel4, "CHANnel4"},
         {Tavrel_TriggerSource_External, "EXTernal"}, {Tavrel_TriggerSource_Line, "LINE"},
         {Tavrel_TriggerSource_Logic_D0, "D0"},       {Tavrel_TriggerSource_Logic_D1, "D1"},
         {Tavrel_TriggerSource_Logic_D2, "D2"},       {Tavrel_TriggerSource_Logic_D3, "D3"},
         {Tavrel_TriggerSource_Logic_D4, "D4"},       {Tavrel_TriggerSource_Logic_D5, "D5"},
         {Tavrel_TriggerSource_Logic_D6, "D6"},       {Tavrel_TriggerSource_Logic_D7, "D7"},
         {Tavrel_TriggerSource_Logic_D8, "D8"},       {Tavrel_TriggerSource_Logic_D9, "D9"},
         {Tavrel_TriggerSource_Logic_D10, "D10"},     {Tavrel_TriggerSource_Logic_D11, "D11"},
         {Tavrel_TriggerSource_Logic_D12, "D12"},     {Tavrel_TriggerSource_Logic_D13, "D13"},
         {Tavrel_TriggerSource_Logic_D14, "D14"},     {Tavrel_TriggerSource_Logic_D15, "D15"}});
    return table;
}

const MnemonicTable<Tavrel_TriggerSlope>& TriggerTavrel::SlopeTable() {
    static const MnemonicTable<Tavrel_TriggerSlope> table(
        "Tavrel_TriggerSlope",
        {{Tavrel_TriggerSlope_Positive, "POSitive"}, {Tavrel_TriggerSlope_Negative, "NEGative"}});
    return table;
}

const MnemonicTable<Tavrel_TriggerCoupling>& TriggerTavrel::CouplingTable() {
    static const MnemonicTable<Tavrel_TriggerCoupling> table(
        "Tavrel_TriggerCoupling", {{Tavrel_TriggerCoupling_DC, "DC"}, {Tavrel_TriggerCoupling_AC, "AC"}});
    return table;
}

Tavrel_TriggerMode TriggerTavrel::Mode() {
    return m_scope.Call("TriggerTavrel", "Mode", [&]() -> Tavrel_TriggerMode {
        return ModeTable().FromReply(m_scope.QueryText(kMode + QLatin1Char('?')));
    });
}

void TriggerTavrel::SetMode(Tavrel_TriggerMode mode) {
    return m_scope.Call("TriggerTavrel", "SetMode", [&]() -> void {
        m_scope.Execute(kMode + QLatin1Char(' ') + ModeTable().Mnemonic(mode));
    });
}

Tavrel_TriggerSource TriggerTavrel::Source() {
    return m_scope.Call("TriggerTavrel", "Source", [&]() -> Tavrel_TriggerSource {
        return SourceTable().FromReply(m_scope.QueryText(kSource + QLatin1Char('?')));
    });
}

void TriggerTavrel::SetSource(Tavrel_TriggerSource source) {
    return m_scope.Call("TriggerTavrel", "SetSource", [&]() -> void {
        m_scope.Execute(kSource + QLatin1Char(' ') + SourceTable().Mnemonic(source));
    });
}

double TriggerTavrel::Level() {
    return m_scope.Call("TriggerTavrel", "Level",
                        [&]() -> double { return m_scope.QueryReal(kLevel + QLatin1Char('?')); });
}

void TriggerTavrel::SetLevel(double volts) {
    return m_scope.Call("TriggerTavrel", "SetLevel", [&]() -> void {
        m_scope.Execute(kLevel + QLatin1Char(' ') + QString::number(volts, 'g', 12));
    });
}

Tavrel_TriggerSlope TriggerTavrel::Slope() {
    return m_scope.Call("TriggerTavrel", "Slope", [&]() -> Tavrel_TriggerSlope {
        return SlopeTable().FromReply(m_scope.QueryText(kSlope + QLatin1Char('?')));
    });
}

void TriggerTavrel::SetSlope(Tavrel_TriggerSlope slope) {
    return m_scope.Call("TriggerTavrel", "SetSlope", [&]() -> void {
        m_scope.Execute(kSlope + QLatin1Char(' ') + SlopeTable().Mnemonic(slope));
    });
}

Tavrel_TriggerCoupling TriggerTavrel::Coupling() {
    return m_scope.Call("TriggerTavrel", "Coupling", [&]() -> Tavrel_TriggerCoupling {
        return CouplingTable().FromReply(m_scope.QueryText(kCoupling + QLatin1Char('?')));
    });
}

void TriggerTavrel::SetCoupling(Tavrel_TriggerCoupling coupling) {
    return m_scope.Call("TriggerTavrel", "SetCoupling", [&]() -> void {
        m_scope.Execute(kCoupling + QLatin1Char(' ') + CouplingTable().Mnemonic(coupling));
    });
}

} // namespace BrumelTB
