// :WAVeform data against the signals: codes, scaling, formats, decimation, logic inputs.

#include "SimTestSupport.h"

#include <QSet>
#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <numbers>

using namespace tavrelsim;
using simtest::ask;
using simtest::blockData;
using simtest::Preamble;

namespace {

// Channel 1 carries sin(2 pi 1000 t), triggered (by default) on its rising zero crossing at t = 0.
struct Shaping {
    const char* setup;
    double gain;  // volts shown per volt at the input
    double shift; // added to what is shown
    double scale, offset;
};

void PrintTo(const Shaping& s, std::ostream* os) {
    *os << s.setup;
}

class ChannelShaping : public ::testing::TestWithParam<Shaping> {};

TEST_P(ChannelShaping, CodesGiveTheVoltagesThePreambleSays) {
    TavrelScope scope;
    ask(scope, ":ACQ:POIN 20000;" + QByteArray(GetParam().setup) + ";:STOP");
    ASSERT_EQ(ask(scope, ":SYST:ERR?"), "0,\"No error\"\n");
    const simtest::Waveform w = simtest::wordWaveform(scope, "CHAN1");
    ASSERT_EQ(w.codes.size(), 20000u);
    EXPECT_DOUBLE_EQ(w.preamble.yIncrement, GetParam().scale / 8192);
    EXPECT_DOUBLE_EQ(w.preamble.yOrigin, GetParam().offset);
    const double top = GetParam().offset + 4 * GetParam().scale,
                 bottom = GetParam().offset - 4 * GetParam().scale;
    const std::vector<double> volts = w.volts();
    for (size_t i = 0; i < volts.size(); i += 7) {
        const double t = w.preamble.time(double(i));
        const double input = std::sin(2 * std::numbers::pi * 1000 * t);
        const double expected = std::clamp(GetParam().gain * input + GetParam().shift, bottom, top);
        ASSERT_NEAR(volts[i], expected, w.preamble.yIncrement + 1e-6 * GetParam().gain) << "sample " << i;
    }
}

// The trigger stays at 0 V on channel 1, which each of these settings keeps at the zero crossing
// (a grounded channel never triggers, but shows 0 V at any time).
INSTANTIATE_TEST_SUITE_P(Settings, ChannelShaping,
                         ::testing::Values(Shaping{"", 1, 0, 1, 0},
                                           Shaping{":CHAN1:SCAL 0.2", 1, 0, 0.2, 0}, // clipped at 0.8 V
                                           Shaping{":CHAN1:SCAL 0.5;OFFS 0.5", 1, 0, 0.5, 0.5},
                                           Shaping{":CHAN1:PROB 10;SCAL 5", 10, 0, 5, 0},
                                           Shaping{":CHAN1:PROB 20;SCAL 5;OFFS 10", 20, 0, 5, 10},
                                           Shaping{":CHAN1:SCAL 0.001;OFFS 0.9995", 1, 0, 0.001, 0.9995},
                                           Shaping{":CHAN1:COUP AC;OFFS -0.3", 1, 0, 1, -0.3}, // no mean
                                           Shaping{":CHAN1:COUP GND;OFFS 1", 0, 0, 1, 1}));

TEST(ChannelShaping, AcCouplingRemovesTheSquaresMean) {
    TavrelScope scope;
    ask(scope, ":ACQ:POIN 10000;:CHAN2:COUP AC;:STOP");
    const std::vector<double> v = simtest::wordWaveform(scope, "CHAN2").volts();
    const auto [lo, hi] = std::minmax_element(v.begin(), v.end());
    EXPECT_NEAR(*lo, -0.825, 0.001); // 3.3 V at 25 % averages 0.825 V
    EXPECT_NEAR(*hi, 3.3 - 0.825, 0.001);
}

TEST(WaveformFormats, ByteWordAndAsciiAgreeWithinACodeStep) {
    TavrelScope scope;
    ask(scope, ":ACQ:POIN 5000;:CHAN3:SCAL 0.3;OFFS 0.2;:STOP");
    const simtest::Waveform word = simtest::wordWaveform(scope, "CHAN3");
    const Preamble bytePre = Preamble::parse(ask(scope, ":WAV:FORM BYTE;PRE?"));
    const QByteArray bytes = blockData(ask(scope, ":WAV:DATA?"));
    const Preamble asciiPre = Preamble::parse(ask(scope, ":WAV:FORM ASC;PRE?"));
    const QList<QByteArray> ascii = blockData(ask(scope, ":WAV:DATA?")).split(',');
    EXPECT_EQ(bytePre.format, 0);
    EXPECT_EQ(word.preamble.format, 1);
    EXPECT_EQ(asciiPre.format, 4);
    EXPECT_EQ(bytePre.yReference, 128);
    EXPECT_DOUBLE_EQ(bytePre.yIncrement, 0.3 / 32);
    ASSERT_EQ(bytes.size(), 5000);
    ASSERT_EQ(ascii.size(), 5000);
    const std::vector<double> volts = word.volts();
    for (int i = 0; i < 5000; ++i) {
        ASSERT_NEAR(bytePre.volts(quint8(bytes[i])), volts[size_t(i)], bytePre.yIncrement / 2 + 1e-9) << i;
        ASSERT_NEAR(ascii[i].toDouble(), volts[size_t(i)], 1e-6) << i;
    }
    EXPECT_TRUE(ascii[0].startsWith('+') || ascii[0].startsWith('-'));
}

TEST(WaveformFormats, MsbFirstSwapsTheBytesOfEachWord) {
    TavrelScope scope;
    ask(scope, ":ACQ:POIN 1000;:STOP;:WAV:FORM WORD;POIN MAX");
    const QByteArray lsb = blockData(ask(scope, ":WAV:BYT LSBF;DATA?"));
    const QByteArray msb = blockData(ask(scope, ":WAV:BYT MSBF;DATA?"));
    EXPECT_EQ(simtest::words(lsb, false), simtest::words(msb, true));
    EXPECT_NE(lsb, msb);
}

TEST(WaveformFormats, WholeRecordIsOneBlockWithNothingButNewlineAfterIt) {
    TavrelScope scope;
    ask(scope, ":STOP;:WAV:FORM WORD;POIN MAX");
    const QByteArray reply = ask(scope, ":WAV:DATA?");
    EXPECT_TRUE(reply.startsWith("#72000000"));
    EXPECT_EQ(reply.size(), 9 + 2000000 + 1);
    EXPECT_TRUE(reply.endsWith('\n'));
}

class WaveformPoints : public ::testing::TestWithParam<const char*> {};

TEST_P(WaveformPoints, EveryStepthSampleOfTheRecord) {
    TavrelScope scope;
    ask(scope, ":STOP");
    const simtest::Waveform all = simtest::wordWaveform(scope, "CHAN2");
    const simtest::Waveform part = simtest::wordWaveform(scope, "CHAN2", GetParam());
    const qint64 wanted = QByteArray(GetParam()) == "MAX" ? 1000000 : QByteArray(GetParam()).toLongLong();
    ASSERT_EQ(part.preamble.points, wanted);
    ASSERT_EQ(qint64(part.codes.size()), wanted);
    EXPECT_EQ(ask(scope, ":WAV:POIN?").trimmed().toLongLong(), wanted);
    const qint64 step = 1000000 / wanted;
    EXPECT_NEAR(part.preamble.xIncrement, all.preamble.xIncrement * double(step), 1e-20);
    EXPECT_EQ(part.preamble.xOrigin, all.preamble.xOrigin);
    for (qint64 j = 0; j < wanted; j += 3)
        ASSERT_EQ(part.codes[size_t(j)], all.codes[size_t(j * step)]) << j;
}

INSTANTIATE_TEST_SUITE_P(Counts, WaveformPoints,
                         ::testing::Values("100", "250", "500", "1000", "2000", "MAX"));

TEST(LogicData, SixteenBitsCountUpOncePerSample) {
    TavrelScope scope;
    ask(scope, ":ACQ:POIN 100000;:STOP");
    const simtest::Waveform logic = simtest::wordWaveform(scope, "LOG");
    EXPECT_EQ(logic.preamble.format, 1);
    EXPECT_EQ(logic.preamble.yIncrement, 1);
    EXPECT_EQ(logic.preamble.yOrigin, 0);
    EXPECT_EQ(logic.preamble.yReference, 0);
    ASSERT_EQ(logic.codes.size(), 100000u);
    for (size_t i = 1; i < logic.codes.size(); ++i)
        ASSERT_EQ(quint16(logic.codes[i] - logic.codes[i - 1]), 1) << i;

    // A pod is a byte whatever FORMat says: POD1 the low byte (D0..D7), POD2 the high one.
    const QByteArray pod1 = blockData(ask(scope, ":WAV:SOUR POD1;FORM WORD;DATA?"));
    const QByteArray pod2 = blockData(ask(scope, ":WAV:SOUR POD2;DATA?"));
    EXPECT_EQ(simtest::Preamble::parse(ask(scope, ":WAV:PRE?")).format, 0);
    ASSERT_EQ(pod1.size(), 100000);
    ASSERT_EQ(pod2.size(), 100000);
    for (int i = 0; i < 100000; i += 97) {
        ASSERT_EQ(quint8(pod1[i]), logic.codes[size_t(i)] & 0xFF);
        ASSERT_EQ(quint8(pod2[i]), logic.codes[size_t(i)] >> 8);
    }
    const QList<QByteArray> ascii = blockData(ask(scope, ":WAV:SOUR LOG;FORM ASC;POIN 100;DATA?")).split(',');
    ASSERT_EQ(ascii.size(), 100);
    EXPECT_EQ(ascii[1].toInt(), quint16(logic.codes[1000]));
}

TEST(LogicData, DecimatedCounterStepsByTheDecimation) {
    TavrelScope scope;
    ask(scope, ":STOP");
    const simtest::Waveform logic = simtest::wordWaveform(scope, "LOG", "250");
    ASSERT_EQ(logic.codes.size(), 250u);
    for (size_t i = 1; i < logic.codes.size(); ++i)
        ASSERT_EQ(quint16(logic.codes[i] - logic.codes[i - 1]), 4000 % 65536) << i;
}

TEST(AcquireTypes, PeakDetectKeepsMinimumMaximumPairs) {
    TavrelScope scope;
    ask(scope, ":ACQ:POIN 10000;:STOP");
    const simtest::Waveform normal = simtest::wordWaveform(scope, "CHAN4");
    ask(scope, ":ACQ:TYPE PEAK;:SING");
    const simtest::Waveform peak = simtest::wordWaveform(scope, "CHAN4");
    EXPECT_EQ(normal.preamble.type, 0);
    EXPECT_EQ(peak.preamble.type, 1);
    EXPECT_EQ(peak.preamble.count, 1);
    for (size_t i = 0; i + 1 < peak.codes.size(); i += 2)
        ASSERT_LE(peak.codes[i], peak.codes[i + 1]) << i;
    // The envelope of eight noise samples per pair is wider than one sample per point.
    auto spread = [](const std::vector<quint16>& c) {
        double even = 0, odd = 0;
        for (size_t i = 0; i + 1 < c.size(); i += 2) {
            even += c[i];
            odd += c[i + 1];
        }
        return (odd - even) / double(c.size() / 2);
    };
    EXPECT_GT(spread(peak.codes), 1000); // about 1.3 standard deviations of 820 codes
    EXPECT_NEAR(spread(normal.codes), 0, 100);
}

TEST(AcquireTypes, AveragingLowersTheNoise) {
    auto noise = [](const QByteArray& setup) {
        TavrelScope scope;
        ask(scope, ":ACQ:POIN 20000;:CHAN4:COUP AC;SCAL 0.05;" + setup + ";:STOP");
        const simtest::Waveform w = simtest::wordWaveform(scope, "CHAN4");
        double squares = 0;
        for (double v : w.volts())
            squares += v * v;
        return std::pair{std::sqrt(squares / double(w.codes.size())), w.preamble};
    };
    const auto [single, p1] = noise("");
    const auto [sixteen, p16] = noise(":ACQ:TYPE AVER;COUN 16");
    const auto [many, p256] = noise(":ACQ:TYPE AVER;COUN 256");
    EXPECT_NEAR(single, 0.1, 0.003);
    EXPECT_NEAR(sixteen, 0.1 / 4, 0.002);
    EXPECT_NEAR(many, 0.1 / 16, 0.0005);
    EXPECT_EQ(p16.type, 2);
    EXPECT_EQ(p16.count, 16);
    EXPECT_EQ(p256.count, 256);
}

TEST(AcquireTypes, AveragingKeepsTriggeredSignals) {
    TavrelScope scope;
    ask(scope, ":ACQ:TYPE AVER;COUN 64;:STOP");
    EXPECT_NEAR(simtest::number(scope, ":MEAS:VPP? CHAN1"), 2, 0.002);
    EXPECT_NEAR(simtest::number(scope, ":MEAS:RIS? CHAN2"), 1e-6, 0.03e-6);
}

TEST(NoiseChannel, SameCommandsGiveTheSameNoise) {
    auto take = [] {
        TavrelScope scope;
        ask(scope, ":ACQ:POIN 1000;:DIG");
        return blockData(ask(scope, ":WAV:SOUR CHAN4;FORM WORD;DATA?"));
    };
    const QByteArray first = take();
    EXPECT_EQ(take(), first);
    TavrelScope scope;
    ask(scope, ":ACQ:POIN 1000;:DIG;:DIG");
    EXPECT_NE(blockData(ask(scope, ":WAV:SOUR CHAN4;FORM WORD;DATA?")), first)
        << "each acquisition has new noise";
}

} // namespace
