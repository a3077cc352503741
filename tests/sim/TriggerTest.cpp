// The trigger puts the chosen crossing at the reference point shifted by the position.

#include "SimTestSupport.h"

#include <cmath>
#include <gtest/gtest.h>

using namespace tavrelsim;
using simtest::ask;

namespace {

struct Crossing {
    const char* setup;   // after :ACQ:POIN 100000 (100 ns a sample)
    const char* channel; // the trigger source, read back
    double level;        // the level it must cross at t = 0, in volts shown
    bool rising;
    double referenceTime; // where t = 0 must be: reference point minus position, 0 = record start
};

void PrintTo(const Crossing& c, std::ostream* os) {
    *os << c.setup;
}

class TriggerCrossing : public ::testing::TestWithParam<Crossing> {};

TEST_P(TriggerCrossing, LandsAtTheReferencePoint) {
    TavrelScope scope;
    ask(scope, ":ACQ:POIN 100000;" + QByteArray(GetParam().setup) + ";:SING");
    ASSERT_EQ(ask(scope, ":SYST:ERR?"), "0,\"No error\"\n");
    const simtest::Waveform w = simtest::wordWaveform(scope, GetParam().channel);
    // The trigger (t = 0) sits where the reference point and the position put it.
    EXPECT_NEAR(w.preamble.time(0), -GetParam().referenceTime, 1e-12);
    const double index = -w.preamble.xOrigin / w.preamble.xIncrement;
    const std::vector<double> v = w.volts();
    const size_t at = size_t(std::lround(index));
    ASSERT_GE(at, 20u);
    ASSERT_LT(at + 20, v.size());
    const double before = v[at - 20], after = v[at + 20], level = GetParam().level;
    if (GetParam().rising) {
        EXPECT_LT(before, level);
        EXPECT_GT(after, level);
    } else {
        EXPECT_GT(before, level);
        EXPECT_LT(after, level);
    }
}

// 10 ms on screen: LEFT is 1 ms in, CENTer 5 ms, RIGHt 9 ms.
INSTANTIATE_TEST_SUITE_P(
    LevelsSlopesReferences, TriggerCrossing,
    ::testing::Values(Crossing{"", "CHAN1", 0, true, 5e-3},
                      Crossing{":TRIG:LEV 0.5", "CHAN1", 0.5, true, 5e-3},
                      Crossing{":TRIG:LEV 0.5;SLOP NEG", "CHAN1", 0.5, false, 5e-3},
                      Crossing{":TRIG:LEV -0.8;SLOP NEG;:TIM:REF LEFT", "CHAN1", -0.8, false, 1e-3},
                      Crossing{":TRIG:SOUR CHAN2;LEV 1;:TIM:REF RIGHT", "CHAN2", 1, true, 9e-3},
                      Crossing{":TRIG:SOUR CHAN2;LEV 2;SLOP NEG", "CHAN2", 2, false, 5e-3},
                      Crossing{":TRIG:SOUR CHAN3;LEV 0.5", "CHAN3", 0.5, true, 5e-3},
                      Crossing{":TRIG:SOUR CHAN3;LEV 0;SLOP NEG", "CHAN3", 0, false, 5e-3}, // the ramp's drop
                      Crossing{":TRIG:LEV 0.3;:TIM:POS 2e-3", "CHAN1", 0.3, true, 3e-3},
                      Crossing{":TRIG:LEV 0.3;:TIM:POS -1e-3;REF LEFT", "CHAN1", 0.3, true, 2e-3},
                      Crossing{":CHAN1:PROB 10;SCAL 5;:TRIG:LEV 5", "CHAN1", 5, true, 5e-3},
                      Crossing{":TRIG:SOUR CHAN2;COUP AC;LEV 0", "CHAN2", 0.825, true, 5e-3},
                      Crossing{":TRIG:SOUR CHAN2;MODE AUTolevel;LEV 100", "CHAN2", 1.65, true, 5e-3},
                      Crossing{":TRIG:SOUR CHAN1;MODE NORM;LEV 0.9", "CHAN1", 0.9, true, 5e-3}));

TEST(TriggerOnNoise, TheCrossingSampleIsTheTriggerSample) {
    TavrelScope scope;
    ask(scope, ":ACQ:POIN 1000;:TRIG:SOUR CHAN4;LEV 0.7;:SING");
    const simtest::Waveform w = simtest::wordWaveform(scope, "CHAN4");
    const std::vector<double> v = w.volts();
    EXPECT_LT(v[499], 0.7);
    EXPECT_GE(v[500], 0.7 - w.preamble.yIncrement);
}

TEST(TriggerOnLogic, TheBitRisesAtTheTriggerSample) {
    for (const char* slope : {"POS", "NEG"}) {
        TavrelScope scope;
        ask(scope, ":ACQ:POIN 1000;:TRIG:SOUR D5;SLOP " + QByteArray(slope) + ";:SING");
        const simtest::Waveform w = simtest::wordWaveform(scope, "LOG");
        const bool rising = QByteArray(slope) == "POS";
        EXPECT_EQ(bool(w.codes[500] & 32), rising) << slope;
        EXPECT_EQ(bool(w.codes[499] & 32), !rising) << slope;
    }
}

TEST(TriggerModes, AutoRunsFreeWhenNothingCrosses) {
    TavrelScope scope;
    ask(scope, ":ACQ:POIN 1000;:TRIG:LEV 5"); // above the sine: no edge
    ask(scope, ":SING");
    const simtest::Waveform first = simtest::wordWaveform(scope, "CHAN1");
    ask(scope, ":SING");
    const simtest::Waveform second = simtest::wordWaveform(scope, "CHAN1");
    ASSERT_EQ(first.codes.size(), 1000u);
    EXPECT_NE(first.codes, second.codes) << "untriggered acquisitions start anywhere";
    EXPECT_NEAR(simtest::number(scope, ":MEAS:VPP?"), 2, 0.002);
}

TEST(TriggerModes, NormalKeepsTheLastRecordWhenNothingCrosses) {
    TavrelScope scope;
    ask(scope, ":ACQ:POIN 1000;:TRIG:MODE NORM;:SING");
    const simtest::Waveform triggered = simtest::wordWaveform(scope, "CHAN4");
    ask(scope, ":TRIG:LEV 5;:SING;:RUN");
    const simtest::Waveform after = simtest::wordWaveform(scope, "CHAN4");
    EXPECT_EQ(after.codes, triggered.codes);
    EXPECT_EQ(ask(scope, ":SYST:ERR?"), "0,\"No error\"\n");
}

TEST(TriggerModes, TriggeredRecordsRepeat) {
    TavrelScope scope;
    ask(scope, ":ACQ:POIN 1000;:SING");
    const simtest::Waveform first = simtest::wordWaveform(scope, "CHAN1");
    ask(scope, ":SING");
    EXPECT_EQ(simtest::wordWaveform(scope, "CHAN1").codes, first.codes);
}

TEST(TriggerModes, LineAndExternalSources) {
    TavrelScope scope;
    ask(scope, ":TRIG:SOUR LINE;MODE NORM;:SING");
    EXPECT_NEAR(simtest::number(scope, ":MEAS:FREQ?"), 1000, 0.5);
    ask(scope, "*RST;:TRIG:SOUR EXT;MODE NORM;:SING");
    EXPECT_EQ(ask(scope, ":MEAS:FREQ?"), "+9.900000E+37\n") << "nothing is connected to EXTernal";
}

} // namespace
