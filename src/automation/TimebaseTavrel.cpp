#include "automation/TimebaseTavrel.h"

#include "automation/ScopeTavrel.h"

namespace BrumelTB {

namespace {
const QString kMode = QStringLiteral(":TIMebase:MODE");
const QString kScale = QStringLiteral(":TIMebase:SCALe");
const QString kPosition = QStringLiteral(":TIMebase:POSition");
const QString kReference = QStringLiteral(":TIMebase:REFerence");
} // namespace

const MnemonicTable<Tavrel_TimeMode>& TimebaseTavrel::ModeTable() {
    static const MnemonicTable<Tavrel_TimeMode> table("Tavrel_TimeMode",
                                                      {{Tavrel_TimeMode_Normal, "NORMal"},
                                                       {Tavrel_TimeMode_Delayed, "DELayed"},
                                                       {Tavrel_TimeMode_Roll, "ROLL"},
                                                       {Tavrel_TimeMode_XY, "XY"}});
    return table;
}

const MnemonicTable<Tavrel_TimeReference>& TimebaseTavrel::ReferenceTable() {
    static const MnemonicTable<Tavrel_TimeReference> table("Tavrel_TimeReference",
                                                           {{Tavrel_TimeReference_Left, "LEFT"},
                                                            {Tavrel_TimeReference_Center, "CENTer"},
                                                            {Tavrel_TimeReference_Right, "RIGHt"}});
    return table;
}

Tavrel_TimeMode TimebaseTavrel::Mode() {
    return m_scope.Call("TimebaseTavrel", "Mode", [&]() -> Tavrel_TimeMode {
        return ModeTable().FromReply(m_scope.QueryText(kMode + QLatin1Char('?')));
    });
}

void TimebaseTavrel::SetMode(Tavrel_TimeMode mode) {
    return m_scope.Call("TimebaseTavrel", "SetMode", [&]() -> void {
        m_scope.Execute(kMode + QLatin1Char(' ') + ModeTable().Mnemonic(mode));
    });
}

double TimebaseTavrel::Scale() {
    return m_scope.Call("TimebaseTavrel", "Scale",
                        [&]() -> double { return m_scope.QueryReal(kScale + QLatin1Char('?')); });
}

void TimebaseTavrel::SetScale(double secondsPerDivision) {
    return m_scope.Call("TimebaseTavrel", "SetScale", [&]() -> void {
        m_scope.Execute(kScale + QLatin1Char(' ') + QString::number(secondsPerDivision, 'g', 12));
    });
}

double TimebaseTavrel::Position() {
    return m_scope.Call("TimebaseTavrel", "Position",
                        [&]() -> double { return m_scope.QueryReal(kPosition + QLatin1Char('?')); });
}

void TimebaseTavrel::SetPosition(double seconds) {
    return m_scope.Call("TimebaseTavrel", "SetPosition", [&]() -> void {
        m_scope.Execute(kPosition + QLatin1Char(' ') + QString::number(seconds, 'g', 12));
    });
}

Tavrel_TimeReference TimebaseTavrel::Reference() {
    return m_scope.Call("TimebaseTavrel", "Reference", [&]() -> Tavrel_TimeReference {
        return ReferenceTable().FromReply(m_scope.QueryText(kReference + QLatin1Char('?')));
    });
}

void TimebaseTavrel::SetReference(Tavrel_TimeReference reference) {
    return m_scope.Call("TimebaseTavrel", "SetReference", [&]() -> void {
        m_scope.Execute(kReference + QLatin1Char(' ') + ReferenceTable().Mnemonic(reference));
    });
}

} // namespace BrumelTB
