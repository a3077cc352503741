// Run state, single acquisitions and autoscale.

#include "SimTestSupport.h"

#include <gtest/gtest.h>

using namespace tavrelsim;
using simtest::ask;
using simtest::blockData;

namespace {

QByteArray noiseData(TavrelScope& scope) {
    return blockData(ask(scope, ":WAV:SOUR CHAN4;FORM WORD;POIN MAX;DATA?"));
}

TEST(RunControl, RunningReadsANewAcquisitionStoppedKeepsOne) {
    TavrelScope scope;
    ask(scope, ":ACQ:POIN 1000");
    EXPECT_NE(noiseData(scope), noiseData(scope));
    ask(scope, ":STOP");
    const QByteArray stopped = noiseData(scope);
    EXPECT_EQ(noiseData(scope), stopped);
    ask(scope, ":CHAN4:SCAL 0.1");
    EXPECT_EQ(noiseData(scope), stopped) << "a stopped record keeps the settings it was taken with";
    ask(scope, ":RUN");
    EXPECT_NE(noiseData(scope), stopped);
}

TEST(RunControl, PreambleAndDataOfARunningScopeDescribeOneAcquisition) {
    TavrelScope scope;
    ask(scope, ":ACQ:POIN 1000;:TRIG:SOUR EXT"); // free-running: every acquisition at a new phase
    const simtest::Waveform w = simtest::wordWaveform(scope, "CHAN3");
    ask(scope, ":STOP"); // takes the next acquisition
    EXPECT_NE(simtest::wordWaveform(scope, "CHAN3").codes, w.codes);
    ask(scope, ":RUN;:WAV:PRE?");
    const QByteArray afterPreamble = blockData(ask(scope, ":WAV:DATA?"));
    EXPECT_NE(blockData(ask(scope, ":WAV:DATA?")), afterPreamble) << "reading the data moves on";
}

TEST(RunControl, DigitizeTakesOneAcquisitionAndStops) {
    TavrelScope scope;
    ask(scope, ":ACQ:POIN 1000;:DIG CHAN4");
    EXPECT_EQ(ask(scope, ":RST?"), "STOP\n");
    const QByteArray first = noiseData(scope);
    ask(scope, ":DIG");
    EXPECT_NE(noiseData(scope), first);
    ask(scope, ":SINGLE");
    EXPECT_EQ(ask(scope, ":RST?;:OPER:COND?"), "STOP;STOP\n");
    ask(scope, ":RUN");
    EXPECT_EQ(ask(scope, ":RST?;:OPER:COND?"), "RUN;RUN\n");
}

TEST(AutoScale, ScalesEverySignalAndTriggersOnTheLowest) {
    TavrelScope scope;
    ask(scope, ":CHAN1:COUP GND;SCAL 10;:CHAN2:SCAL 0.01;OFFS 50;:CHAN3:PROB 10;:CHAN4:DISP OFF;"
               ":TIM:SCAL 2;POS 1;REF LEFT;:TRIG:SOUR EXT;SLOP NEG;LEV 7;:STOP");
    ask(scope, ":AUT");
    EXPECT_EQ(ask(scope, ":SYST:ERR?"), "0,\"No error\"\n");
    EXPECT_EQ(ask(scope, ":CHAN1:DISP?;:CHAN2:DISP?;:CHAN3:DISP?;:CHAN4:DISP?"), "0;1;1;1\n");
    EXPECT_EQ(ask(scope, ":CHAN2:SCAL?;OFFS?;:CHAN3:SCAL?;OFFS?;:CHAN4:SCAL?;OFFS?"),
              "+1.000000E+00;+1.650000E+00;+5.000000E+00;+0.000000E+00;+2.000000E-01;+5.000000E-01\n");
    EXPECT_EQ(ask(scope, ":TRIG:SOUR?;LEV?;SLOP?;MODE?"), "CHAN2;+1.650000E+00;POS;AUTO\n");
    EXPECT_EQ(ask(scope, ":TIM:SCAL?;POS?;REF?;:RST?"), "+2.000000E-04;+0.000000E+00;CENT;RUN\n");
    EXPECT_NEAR(simtest::number(scope, ":MEAS:FREQ? CHAN2"), 2000, 1);
    EXPECT_NEAR(simtest::number(scope, ":MEAS:VPP? CHAN3"), 20, 0.01);
}

TEST(AutoScale, WithEveryChannelGroundedChangesNothing) {
    TavrelScope scope;
    ask(scope, ":CHAN1:COUP GND;:CHAN2:COUP GND;:CHAN3:COUP GND;:CHAN4:COUP GND");
    const QByteArray before = scope.learnString();
    ask(scope, ":AUToscale");
    EXPECT_EQ(scope.learnString(), before);
}

} // namespace
