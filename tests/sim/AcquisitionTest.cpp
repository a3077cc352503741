// What acquisitions hold, read through :WAVeform, :MEASure and :TRACe.

#include "SimTestSupport.h"

#include <cmath>
#include <gtest/gtest.h>

using namespace tavrelsim;
using simtest::ask;
using simtest::blockData;
using simtest::NoError;
using simtest::Preamble;
using simtest::Waveform;
using simtest::wordWaveform;

namespace {

TEST(WaveformData, ByteWordAndAsciiAgreeAndMsbFirstSwapsEachWord) {
    TavrelScope scope;
    ask(scope, ":ACQ:POIN 5000;:CHAN3:SCAL 0.3;OFFS 0.2;:STOP");
    const Waveform word = wordWaveform(scope, "CHAN3");
    EXPECT_EQ(simtest::words(blockData(ask(scope, ":WAV:BYT MSBF;DATA?")), true), word.codes);
    const Preamble bytePre = Preamble::parse(ask(scope, ":WAV:FORM BYTE;PRE?"));
    const QByteArray bytes = blockData(ask(scope, ":WAV:DATA?"));
    const Preamble asciiPre = Preamble::parse(ask(scope, ":WAV:FORM ASC;PRE?"));
    const QList<QByteArray> ascii = blockData(ask(scope, ":WAV:DATA?")).split(',');
    EXPECT_EQ(std::tuple(bytePre.format, word.preamble.format, asciiPre.format), std::tuple(0, 1, 4));
    EXPECT_EQ(bytePre.yReference, 128);
    EXPECT_DOUBLE_EQ(bytePre.yIncrement, 0.3 / 32);
    ASSERT_EQ(bytes.size(), 5000);
    ASSERT_EQ(ascii.size(), 5000);
    const std::vector<double> volts = word.volts();
    for (int i = 0; i < 5000; ++i) {
        ASSERT_NEAR(bytePre.volts(quint8(bytes[i])), volts[size_t(i)], bytePre.yIncrement / 2 + 1e-9) << i;
        ASSERT_NEAR(ascii[i].toDouble(), volts[size_t(i)], 1e-6) << i;
    }
}

TEST(WaveformData, FewerPointsTakeEveryStepthSampleOfTheRecord) {
    TavrelScope scope;
    ask(scope, ":STOP");
    const Waveform all = wordWaveform(scope, "CHAN2");
    for (const qint64 wanted : {100, 250, 2000}) {
        const Waveform part = wordWaveform(scope, "CHAN2", QByteArray::number(wanted));
        const qint64 step = 1000000 / wanted;
        ASSERT_EQ(part.preamble.points, wanted);
        ASSERT_EQ(qint64(part.codes.size()), wanted);
        EXPECT_NEAR(part.preamble.xIncrement, all.preamble.xIncrement * double(step), 1e-20) << wanted;
        EXPECT_EQ(part.preamble.xOrigin, all.preamble.xOrigin) << wanted;
        for (qint64 j = 0; j < wanted; j += 3)
            ASSERT_EQ(part.codes[size_t(j)], all.codes[size_t(j * step)]) << wanted << " at " << j;
    }
}

// A pod is one byte of LOG (POD1 D0..D7) whatever FORMat says.
TEST(WaveformData, PodsAreBytesOfTheLogicWord) {
    TavrelScope scope;
    ask(scope, ":ACQ:POIN 100000;:STOP");
    const Waveform logic = wordWaveform(scope, "LOG");
    const Preamble& p = logic.preamble;
    EXPECT_EQ(std::tuple(p.format, p.yIncrement, p.yOrigin, p.yReference), std::tuple(1, 1.0, 0.0, 0.0));
    const QByteArray pod1 = blockData(ask(scope, ":WAV:SOUR POD1;FORM WORD;DATA?"));
    const QByteArray pod2 = blockData(ask(scope, ":WAV:SOUR POD2;DATA?"));
    EXPECT_EQ(Preamble::parse(ask(scope, ":WAV:PRE?")).format, 0);
    ASSERT_EQ(pod1.size(), 100000);
    ASSERT_EQ(pod2.size(), 100000);
    for (int i = 0; i < 100000; i += 97) {
        ASSERT_EQ(quint8(pod1[i]), logic.codes[size_t(i)] & 0xFF);
        ASSERT_EQ(quint8(pod2[i]), logic.codes[size_t(i)] >> 8);
    }
}

// t = 0 lands on the chosen crossing, at the reference point (LEFT 1 ms, CENTer 5 ms, RIGHt 9 ms
// into 10 ms) less the position.
TEST(Trigger, CrossingLandsAtTheReferencePoint) {
    const struct {
        const char* setup;   // after :ACQ:POIN 100000 (100 ns a sample)
        const char* channel; // the trigger source, read back
        double level;        // the level it must cross at t = 0, in volts shown
        bool rising;
        double referenceTime;
    } cases[] = {{":TRIG:LEV -0.8;SLOP NEG;:TIM:REF LEFT", "CHAN1", -0.8, false, 1e-3},
                 {":TRIG:SOUR CHAN2;LEV 1;:TIM:REF RIGHT", "CHAN2", 1, true, 9e-3},
                 {":TRIG:SOUR CHAN3;LEV 0;SLOP NEG", "CHAN3", 0, false, 5e-3}, // the ramp's drop
                 {":TRIG:LEV 0.3;:TIM:POS 2e-3", "CHAN1", 0.3, true, 3e-3},
                 {":CHAN1:PROB 10;SCAL 5;:TRIG:LEV 5", "CHAN1", 5, true, 5e-3},
                 {":TRIG:SOUR CHAN2;COUP AC;LEV 0", "CHAN2", 0.825, true, 5e-3},
                 {":TRIG:SOUR CHAN2;MODE AUTolevel;LEV 100", "CHAN2", 1.65, true, 5e-3}};
    for (const auto& c : cases) {
        TavrelScope scope;
        ask(scope, ":ACQ:POIN 100000;" + QByteArray(c.setup) + ";:SING");
        ASSERT_EQ(ask(scope, ":SYST:ERR?"), NoError) << c.setup;
        const Waveform w = wordWaveform(scope, c.channel);
        EXPECT_NEAR(w.preamble.time(0), -c.referenceTime, 1e-12) << c.setup;
        const size_t at = size_t(std::lround(-w.preamble.xOrigin / w.preamble.xIncrement));
        const std::vector<double> v = w.volts();
        ASSERT_TRUE(at >= 20 && at + 20 < v.size()) << c.setup;
        EXPECT_EQ(v[at - 20] < c.level, c.rising) << c.setup;
        EXPECT_EQ(v[at + 20] > c.level, c.rising) << c.setup;
    }
}

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
    // Running, the preamble and the data after it describe one acquisition; the next read moves on.
    ask(scope, ":RUN;:WAV:PRE?");
    const QByteArray afterPreamble = blockData(ask(scope, ":WAV:DATA?"));
    EXPECT_NE(blockData(ask(scope, ":WAV:DATA?")), afterPreamble) << "reading the data moves on";
}

TEST(Measure, MatchesTheGeneratedSignalOrReportsNothingToMeasure) {
    const struct {
        const char *setup, *query; // setup after *RST
        double value, tolerance;
    } cases[] = {{":MEAS:SOUR CHAN3", ":MEAS:VRMS?", 0.57735, 0.002}, // a ramp's 1 / sqrt(3)
                 {":CHAN1:PROB 10;SCAL 5", ":MEAS:VPP?", 20, 0.02},
                 {":TRIG:SOUR LINE;MODE NORM;:SING", ":MEAS:FREQ?", 1000, 0.5},
                 {":TRIG:SOUR EXT;MODE NORM;:SING", ":MEAS:FREQ?", 9.9e37, 0}, // nothing on EXTernal
                 {":CHAN1:COUP GND", ":MEAS:FREQ?", 9.9e37, 0},                // no edges
                 {":TIM:SCAL 1e-5", ":MEAS:FREQ?", 9.9e37, 0},                 // a tenth of a period
                 {":TIM:SCAL 1e-5", ":MEAS:DUTY? CHAN3", 9.9e37, 0}};
    for (const auto& c : cases) {
        TavrelScope scope;
        ask(scope, c.setup);
        EXPECT_NEAR(ask(scope, c.query).toDouble(), c.value, c.tolerance) << c.setup << " " << c.query;
        EXPECT_EQ(ask(scope, ":SYST:ERR?"), NoError) << c.setup << " " << c.query;
    }
}

TEST(TraceMemory, HoldsTheRecordAsItWasReadThroughTheWaveformSettings) {
    TavrelScope scope;
    EXPECT_EQ(ask(scope, ":TRAC3:DATA?"), "#10\n") << "never stored";
    ask(scope, ":ACQ:POIN 5000;:CHAN2:SCAL 0.5;:STOP;:TRAC3:STOR CHAN2");
    const Waveform channel = wordWaveform(scope, "CHAN2");
    ask(scope, ":CHAN2:SCAL 2;:ACQ:POIN 1000;:SING"); // a new acquisition with other settings
    const Preamble stored = Preamble::parse(ask(scope, ":TRAC3:PRE?"));
    EXPECT_EQ(std::tuple(stored.yIncrement, stored.points), std::tuple(channel.preamble.yIncrement, 5000));
    EXPECT_EQ(simtest::words(blockData(ask(scope, ":TRAC3:DATA?"))), channel.codes);
    ask(scope, ":TRAC1:STOR CHAN1;:WAV:FORM BYTE;POIN 500");
    EXPECT_EQ(ask(scope, ":TRAC1:PRE?").split(',').mid(0, 3).join(','), "0,0,500");
    EXPECT_EQ(blockData(ask(scope, ":TRAC1:DATA?")), blockData(ask(scope, ":WAV:SOUR CHAN1;DATA?")));
    EXPECT_EQ(blockData(ask(scope, ":WAV:FORM ASC;:TRAC1:DATA?")).count(','), 499);
    ask(scope, ":TRAC3:CLE");
    EXPECT_EQ(ask(scope, ":TRAC3:DATA?;:SYST:ERR?"), "#10;" + NoError);
    EXPECT_EQ(Preamble::parse(ask(scope, ":TRAC3:PRE?")).points, 0);
    TavrelScope idle;
    ask(idle, ":TRIG:MODE NORM;SOUR EXT;:TRAC1:STOR CHAN1"); // nothing acquired yet
    EXPECT_EQ(ask(idle, ":SYST:ERR?"), "-230,\"Data corrupt or stale\"\n");
}

} // namespace
