#include "automation/AcquisitionTavrel.h"

#include "automation/ScopeTavrel.h"

#include <cmath>

namespace BrumelTB {

namespace {
const QString kType = QStringLiteral(":ACQuire:TYPE");
const QString kCount = QStringLiteral(":ACQuire:COUNt");
const QString kPoints = QStringLiteral(":ACQuire:POINts");
const QString kRunState = QStringLiteral(":RSTate?");
} // namespace

const MnemonicTable<Tavrel_AcquisitionType>& AcquisitionTavrel::TypeTable() {
    static const MnemonicTable<Tavrel_AcquisitionType> table("Tavrel_AcquisitionType",
                                                             {{Tavrel_AcquisitionType_Normal, "NORMal"},
                                                              {Tavrel_AcquisitionType_Average, "AVERage"},
                                                              {Tavrel_AcquisitionType_Peak, "PEAK"},
                                                              {Tavrel_AcquisitionType_Glitch, "GLITch"},
                                                              {Tavrel_AcquisitionType_Real, "REALtime"},
                                                              {Tavrel_AcquisitionType_Auto, "AUTO"}});
    return table;
}

const MnemonicTable<Tavrel_AcquisitionCount>& AcquisitionTavrel::CountTable() {
    static const MnemonicTable<Tavrel_AcquisitionCount> table("Tavrel_AcquisitionCount",
                                                              {{Tavrel_AcquisitionCount_1, "1"},
                                                               {Tavrel_AcquisitionCount_4, "4"},
                                                               {Tavrel_AcquisitionCount_8, "8"},
                                                               {Tavrel_AcquisitionCount_16, "16"},
                                                               {Tavrel_AcquisitionCount_32, "32"},
                                                               {Tavrel_AcquisitionCount_64, "64"},
                                                               {Tavrel_AcquisitionCount_128, "128"},
                                                               {Tavrel_AcquisitionCount_256, "256"}});
    return table;
}

const MnemonicTable<Tavrel_OnOffState>& AcquisitionTavrel::RunStateTable() {
    static const MnemonicTable<Tavrel_OnOffState> table("run state",
                                                        {{Tavrel_On, "RUN"}, {Tavrel_Off, "STOP"}});
    return table;
}

Tavrel_AcquisitionType AcquisitionTavrel::Type() {
    return m_scope.Call("AcquisitionTavrel", "Type", [&]() -> Tavrel_AcquisitionType {
        return TypeTable().FromReply(m_scope.QueryText(kType + QLatin1Char('?')));
    });
}

void AcquisitionTavrel::SetType(Tavrel_AcquisitionType type) {
    return m_scope.Call("AcquisitionTavrel", "SetType", [&]() -> void {
        m_scope.Execute(kType + QLatin1Char(' ') + TypeTable().Mnemonic(type));
    });
}

Tavrel_AcquisitionCount AcquisitionTavrel::Count() {
    return m_scope.Call("AcquisitionTavrel", "Count", [&]() -> Tavrel_AcquisitionCount {
        return CountTable().FromReply(m_scope.QueryText(kCount + QLatin1Char('?')));
    });
}

void AcquisitionTavrel::SetCount(Tavrel_AcquisitionCount count) {
    return m_scope.Call("AcquisitionTavrel", "SetCount", [&]() -> void {
        m_scope.Execute(kCount + QLatin1Char(' ') + CountTable().Mnemonic(count));
    });
}

qint32 AcquisitionTavrel::Points() {
    return m_scope.Call("AcquisitionTavrel", "Points", [&]() -> qint32 {
        return static_cast<qint32>(std::llround(m_scope.QueryReal(kPoints + QLatin1Char('?'))));
    });
}

void AcquisitionTavrel::SetPoints(qint32 points) {
    return m_scope.Call("AcquisitionTavrel", "SetPoints", [&]() -> void {
        m_scope.Execute(kPoints + QLatin1Char(' ') + QString::number(points));
    });
}

Tavrel_OnOffState AcquisitionTavrel::RunState() {
    return m_scope.Call("AcquisitionTavrel", "RunState", [&]() -> Tavrel_OnOffState {
        return RunStateTable().FromReply(m_scope.QueryText(kRunState));
    });
}

} // namespace BrumelTB
