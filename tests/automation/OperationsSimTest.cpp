#include "AutomationTestSupport.h"
#include "automation/AcquisitionTavrel.h"
#include "automation/AnalogChannelsTavrel.h"
#include "automation/LogicChannelTavrel.h"
#include "automation/MeasureTavrel.h"
#include "automation/ScopeTavrel.h"
#include "automation/ServerError.h"
#include "automation/TimebaseTavrel.h"
#include "automation/TraceTavrel.h"
#include "automation/TriggerTavrel.h"
#include "automation/UtilitiesTavrel.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <numeric>

using namespace BrumelTB;

namespace {

// A freshly reset TV100A of the simulated bench, with short records so that each test stays quick.
class SimScope : public ::testing::Test {
protected:
    void SetUp() override {
        scope.Open(kSimScope);
        scope.Reset();
        scope.Acquisition().SetPoints(10000);
    }

    AnalogChannelTavrel& channel(Tavrel_AnalogChannels c) { return scope.AnalogChannels().Item(c); }

    struct Stats {
        double min, max, mean, rms;
    };
    static Stats stats(const QVector<double>& v) {
        Stats s{*std::min_element(v.begin(), v.end()), *std::max_element(v.begin(), v.end()), 0, 0};
        s.mean = std::accumulate(v.begin(), v.end(), 0.0) / v.size();
        double sq = 0;
        for (double x : v)
            sq += (x - s.mean) * (x - s.mean);
        s.rms = std::sqrt(sq / v.size()); // about the mean: the noise
        return s;
    }
    Stats acquire(Tavrel_AnalogChannels c) {
        QVector<double> time, data;
        scope.Digitize();
        scope.GetWaveformData(c, Tavrel_DataPoints_ALL, time, data);
        return stats(data);
    }

    ScopeTavrel scope{simManager()};
};

// Every value of an enumeration setting is written and read back as itself.
template <typename E, typename Set, typename Get>
void expectEveryValueReadsBack(const MnemonicTable<E>& table, Set set, Get get) {
    for (const auto& row : table.Rows()) {
        set(row.value);
        EXPECT_EQ(get(), row.value) << table.Name() << " " << row.mnemonic;
    }
}
#define READS_BACK(table, object, Property)                                                                  \
    expectEveryValueReadsBack(                                                                               \
        table, [&](auto v) { object.Set##Property(v); }, [&] { return object.Property(); })
#define NUMBER_READS_BACK(object, Property, value)                                                           \
    object.Set##Property(value);                                                                             \
    EXPECT_NEAR(object.Property(), value, std::abs(value) * 1e-6) << #object "." #Property

} // namespace

TEST_F(SimScope, EnumerationSettingsReadBack) {
    auto& acq = scope.Acquisition();
    READS_BACK(AcquisitionTavrel::TypeTable(), acq, Type);
    READS_BACK(AcquisitionTavrel::CountTable(), acq, Count);
    for (auto c : {Tavrel_Channel_1, Tavrel_Channel_4}) {
        auto& ch = channel(c);
        READS_BACK(OnOffTable(), ch, Display);
        READS_BACK(AnalogChannelTavrel::CouplingTable(), ch, Coupling);
        READS_BACK(AnalogChannelTavrel::AttenuationTable(), ch, ProbeAttenuation);
        READS_BACK(AnalogChannelTavrel::ProbeModeTable(), ch, ProbeMode);
    }
    READS_BACK(TimebaseTavrel::ModeTable(), scope.Timebase(), Mode);
    READS_BACK(TimebaseTavrel::ReferenceTable(), scope.Timebase(), Reference);
    READS_BACK(TriggerTavrel::ModeTable(), scope.Trigger(), Mode);
    READS_BACK(TriggerTavrel::SourceTable(), scope.Trigger(), Source);
    READS_BACK(TriggerTavrel::SlopeTable(), scope.Trigger(), Slope);
    READS_BACK(TriggerTavrel::CouplingTable(), scope.Trigger(), Coupling);
    auto& logic = scope.LogicChannel();
    for (auto pod : {Tavrel_Logic_POD1, Tavrel_Logic_POD2})
        expectEveryValueReadsBack(
            OnOffTable(), [&](auto v) { logic.SetPodDisplay(pod, v); },
            [&] { return logic.PodDisplay(pod); });
    READS_BACK(WaveformTavrel::SourceTable(), scope.Measure(), Source);
}

TEST_F(SimScope, NumericSettingsReadBack) {
    NUMBER_READS_BACK(channel(Tavrel_Channel_2), Scale, 0.02);
    NUMBER_READS_BACK(channel(Tavrel_Channel_3), Offset, -1.25);
    NUMBER_READS_BACK(scope.Timebase(), Scale, 2e-6);
    NUMBER_READS_BACK(scope.Timebase(), Position, -3e-4);
    NUMBER_READS_BACK(scope.Trigger(), Level, 0.35);
    NUMBER_READS_BACK(scope.Acquisition(), Points, 2500);
    auto& logic = scope.LogicChannel();
    logic.SetPodThreshold(Tavrel_Logic_POD2, 2.5);
    EXPECT_NEAR(logic.PodThreshold(Tavrel_Logic_POD2), 2.5, 1e-6);
    EXPECT_EQ(logic.BitState(Tavrel_Logic_D9), logic.PodDisplay(Tavrel_Logic_POD2));
}

TEST_F(SimScope, RefusedSettingsRaiseTheInstrumentsError) {
    const double before = channel(Tavrel_Channel_1).Scale();
    try {
        channel(Tavrel_Channel_1).SetScale(1000);
        FAIL() << "a scale of 1000 V/div was accepted";
    } catch (const ServerError& e) {
        EXPECT_TRUE(e.message().contains(QStringLiteral("-222"))) << e.what();
    }
    EXPECT_EQ(channel(Tavrel_Channel_1).Scale(), before);
    EXPECT_THROW(scope.Trigger().SetSource(static_cast<Tavrel_TriggerSource>(7)), ServerError);
    EXPECT_THROW(scope.AnalogChannels().Item(static_cast<Tavrel_AnalogChannels>(0)), ServerError);
    EXPECT_THROW(scope.Trace().Clear(5), ServerError);
    EXPECT_TRUE(scope.Utilities().ReadErrors().isEmpty()) << "each check takes its own error";
}

TEST_F(SimScope, VerticalAndAcquisitionSettingsShowInTheData) {
    // 8 divisions fill the codes: a 2 V sine is clipped to the screen at 0.1 V/div.
    channel(Tavrel_Channel_1).SetScale(0.1);
    Stats s = acquire(Tavrel_Channel_1);
    EXPECT_NEAR(s.max, 0.4, 0.01);
    EXPECT_NEAR(s.min, -0.4, 0.01);
    channel(Tavrel_Channel_1).SetOffset(0.5);
    s = acquire(Tavrel_Channel_1);
    EXPECT_NEAR(s.max, 0.9, 0.01);
    EXPECT_NEAR(s.min, 0.1, 0.01);

    channel(Tavrel_Channel_2).SetCoupling(Tavrel_ProbeCoupling_AC);
    EXPECT_NEAR(acquire(Tavrel_Channel_2).mean, 0.0, 0.05) << "AC coupling removes the mean";
    channel(Tavrel_Channel_2).SetCoupling(Tavrel_ProbeCoupling_GND);
    s = acquire(Tavrel_Channel_2);
    EXPECT_NEAR(s.min, 0.0, 1e-3);
    EXPECT_NEAR(s.max, 0.0, 1e-3);

    // Averaging quiets the noise.
    const double single = acquire(Tavrel_Channel_4).rms;
    EXPECT_NEAR(single, 0.1, 0.02);
    scope.Acquisition().SetType(Tavrel_AcquisitionType_Average);
    scope.Acquisition().SetCount(Tavrel_AcquisitionCount_16);
    EXPECT_LT(acquire(Tavrel_Channel_4).rms, single / 2.5);
}

TEST_F(SimScope, TimebaseAndPointsShapeTheRecord) {
    scope.Timebase().SetScale(2e-4);
    scope.Acquisition().SetPoints(4000);
    scope.Digitize();
    QVector<double> time, data;
    scope.GetWaveformData(Tavrel_Channel_1, Tavrel_DataPoints_ALL, time, data);
    ASSERT_EQ(data.size(), 4000);
    EXPECT_NEAR((time.last() - time.first()) * 4000 / 3999, 10 * 2e-4, 1e-9) << "ten divisions";
    scope.GetWaveformData(Tavrel_Channel_1, Tavrel_DataPoints_250, time, data);
    EXPECT_EQ(data.size(), 250);
}

TEST_F(SimScope, TheTriggerSitsAtTimeZeroOnItsSlope) {
    scope.Trigger().SetSource(Tavrel_TriggerSource_Channel1);
    scope.Trigger().SetLevel(0.5);
    for (auto slope : {Tavrel_TriggerSlope_Positive, Tavrel_TriggerSlope_Negative}) {
        scope.Trigger().SetSlope(slope);
        scope.Digitize();
        QVector<double> time, data;
        scope.GetWaveformData(Tavrel_Channel_1, Tavrel_DataPoints_ALL, time, data);
        const auto zero = std::min_element(time.begin(), time.end(),
                                           [](double a, double b) { return std::abs(a) < std::abs(b); }) -
                          time.begin();
        ASSERT_GT(zero, 10);
        ASSERT_LT(zero, time.size() - 10);
        EXPECT_NEAR(data[zero], 0.5, 0.02);
        const double rise = data[zero + 10] - data[zero - 10];
        EXPECT_EQ(rise > 0, slope == Tavrel_TriggerSlope_Positive) << rise;
    }
}

TEST_F(SimScope, MeasurementsOfTheFourInputs) {
    scope.Digitize();
    auto& m = scope.Measure();
    const struct {
        const char* name;
        double value, expected, tolerance;
    } cases[] = {{"ch1 frequency", m.Frequency(Tavrel_Channel_1), 1000, 10},
                 {"ch1 period", m.Period(Tavrel_Channel_1), 1e-3, 1e-5},
                 {"ch1 Vpp", m.VPP(Tavrel_Channel_1), 2.0, 0.05},
                 {"ch1 Vmax", m.VMax(Tavrel_Channel_1), 1.0, 0.03},
                 {"ch1 Vmin", m.VMin(Tavrel_Channel_1), -1.0, 0.03},
                 {"ch1 Vrms", m.VRMS(Tavrel_Channel_1), std::sqrt(0.5), 0.02},
                 {"ch1 Vavg", m.VAverage(Tavrel_Channel_1), 0.0, 0.02},
                 {"ch2 frequency", m.Frequency(Tavrel_Channel_2), 2000, 20},
                 {"ch2 duty cycle", m.DutyCycle(Tavrel_Channel_2), 25, 1},
                 {"ch2 Vtop", m.VTop(Tavrel_Channel_2), 3.3, 0.05},
                 {"ch2 Vbase", m.VBase(Tavrel_Channel_2), 0.0, 0.05},
                 {"ch2 amplitude", m.Amplitude(Tavrel_Channel_2), 3.3, 0.1},
                 {"ch3 frequency", m.Frequency(Tavrel_Channel_3), 500, 5},
                 {"ch4 Vavg", m.VAverage(Tavrel_Channel_4), 0.5, 0.02}};
    for (const auto& c : cases)
        EXPECT_NEAR(c.value, c.expected, c.tolerance) << c.name;
    // A square wave's edges are far shorter than its period.
    EXPECT_LT(m.RiseTime(Tavrel_Channel_2), 0.05e-3);
    EXPECT_LT(m.FallTime(Tavrel_Channel_2), 0.05e-3);
}

TEST_F(SimScope, LogicDataIsTheSampleCounter) {
    scope.Digitize();
    QVector<double> time;
    QVector<quint16> data;
    scope.GetLogicData(Tavrel_DataPoints_ALL, time, data);
    ASSERT_EQ(data.size(), 10000);
    for (qsizetype i = 1; i < data.size(); ++i)
        ASSERT_EQ(static_cast<quint16>(data[i] - data[i - 1]), 1) << "at sample " << i;
    EXPECT_GT(time[1], time[0]);
}

TEST_F(SimScope, AllWaveformDataHasEveryDisplayedChannel) {
    for (auto c : {Tavrel_Channel_1, Tavrel_Channel_2, Tavrel_Channel_3, Tavrel_Channel_4})
        channel(c).SetDisplay(c == Tavrel_Channel_2 || c == Tavrel_Channel_4 ? Tavrel_On : Tavrel_Off);
    scope.Digitize();
    const QList<ChannelWaveform> all = scope.GetAllWaveformData(Tavrel_DataPoints_1000);
    ASSERT_EQ(all.size(), 2);
    EXPECT_EQ(all[0].channel, Tavrel_Channel_2);
    EXPECT_EQ(all[1].channel, Tavrel_Channel_4);
    for (const ChannelWaveform& w : all) {
        EXPECT_EQ(w.data.size(), 1000);
        EXPECT_EQ(w.time.size(), 1000);
    }
    QVector<double> time, data;
    scope.GetWaveformData(Tavrel_Channel_4, Tavrel_DataPoints_1000, time, data);
    EXPECT_EQ(all[1].data, data) << "the same acquisition";
}

TEST_F(SimScope, TraceMemoriesKeepAChannelsWaveform) {
    scope.Digitize();
    QVector<double> time, data, storedTime, stored;
    scope.GetWaveformData(Tavrel_Channel_3, Tavrel_DataPoints_ALL, time, data);
    auto& trace = scope.Trace();
    trace.Store(2, Tavrel_Channel_3);
    trace.SetDisplay(2, Tavrel_On);
    EXPECT_EQ(trace.Display(2), Tavrel_On);
    scope.Run(); // new acquisitions do not touch the memory
    trace.GetData(2, storedTime, stored);
    EXPECT_EQ(stored, data);
    EXPECT_EQ(storedTime, time);
    trace.Clear(2);
    trace.GetData(2, storedTime, stored);
    EXPECT_TRUE(stored.isEmpty());
}

TEST_F(SimScope, AutoScaleBringsEverySignalOntoTheScreen) {
    for (auto c : {Tavrel_Channel_1, Tavrel_Channel_2, Tavrel_Channel_3, Tavrel_Channel_4}) {
        channel(c).SetDisplay(Tavrel_Off);
        channel(c).SetScale(0.005);
        channel(c).SetOffset(-1.0);
    }
    scope.Timebase().SetScale(1e-7);
    scope.AutoScale();
    // Two to ten periods of channel 1's 1 kHz across the ten divisions.
    EXPECT_GE(10 * scope.Timebase().Scale(), 2e-3);
    EXPECT_LE(10 * scope.Timebase().Scale(), 1e-2);
    for (auto c : {Tavrel_Channel_1, Tavrel_Channel_2, Tavrel_Channel_3, Tavrel_Channel_4}) {
        ASSERT_EQ(channel(c).Display(), Tavrel_On) << c;
        const Stats s = acquire(c);
        const double scale = channel(c).Scale(), offset = channel(c).Offset();
        // Within the eight divisions of the screen, and using at least two of them.
        EXPECT_LE((s.max - offset) / scale, 4.0) << c;
        EXPECT_GE((s.min - offset) / scale, -4.0) << c;
        EXPECT_GE((s.max - s.min) / scale, 2.0) << c;
    }
}

TEST_F(SimScope, PeakDetectCatchesWhatSamplingAliases) {
    // One sample a period of channel 1's 1 kHz: plain sampling sees the same phase every time, peak
    // detect still sees the whole swing.
    scope.Acquisition().SetPoints(100);
    scope.Timebase().SetScale(1e-2);
    const Stats sampled = acquire(Tavrel_Channel_1);
    scope.Acquisition().SetType(Tavrel_AcquisitionType_Peak);
    const Stats peak = acquire(Tavrel_Channel_1);
    EXPECT_LT(sampled.max - sampled.min, 0.3);
    EXPECT_GT(peak.max - peak.min, 1.4);
}
