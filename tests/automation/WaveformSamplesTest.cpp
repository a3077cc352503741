#include "automation/WaveformSamples.h"
#include "AutomationTestSupport.h"
#include "automation/AcquisitionTavrel.h"
#include "automation/AnalogChannelsTavrel.h"
#include "automation/ScopeTavrel.h"
#include "automation/ServerError.h"

#include <QtEndian>
#include <cmath>
#include <gtest/gtest.h>

using namespace BrumelTB;

namespace {

// Large enough that the driver keeps its output arrays for reuse.
constexpr int kPoints = 10007;
// 2 µs apart from -1 ms, reference sample 3; 0.5 mV a code around code 32768 at 0.25 V.
const QByteArray kPreamble = "1,0,10007,1,+2.000000E-06,-1.000000E-03,3,+5.000000E-04,+2.500000E-01,32768\n";

// The codes of the n-th transfer: every call sends other data, with both ends of the range and a
// line feed (10) among them.
quint16 codeOf(int transfer, int i) {
    if (i == 0) return 0;
    if (i == 1) return 65535;
    if (i == 2) return 10;
    return static_cast<quint16>(i * 7919 + transfer * 1009);
}

QByteArray blockOf(int transfer, int points = kPoints) {
    QByteArray data(2 * points, Qt::Uninitialized);
    for (int i = 0; i < points; ++i)
        qToLittleEndian(codeOf(transfer, i), data.data() + 2 * i);
    const QByteArray length = QByteArray::number(data.size());
    return '#' + QByteArray::number(length.size()) + length + data + '\n';
}

double voltsOf(int transfer, int i) {
    return (codeOf(transfer, i) - 32768.0) * 5e-4 + 0.25;
}

// A scope whose every ":WAVeform:DATA?" is the next transfer's block; blocks[n] replaces transfer n.
struct ScriptedScope {
    explicit ScriptedScope(QMap<int, QByteArray> blocks = {}) : blocks(std::move(blocks)) {
        scope.Open(QStringLiteral("GPIB0::1::INSTR"));
    }
    std::shared_ptr<QStringList> written = std::make_shared<QStringList>();
    QMap<int, QByteArray> blocks; // the whole reply, for codes the block and the preamble
    QByteArray error = "0,\"No error\"";
    int transfers = 0;
    ScopeTavrel scope{scriptedManager(
        [this](const QByteArray& line) -> QByteArray {
            if (line.endsWith("DATA?;PREamble?")) { // the block, then the preamble
                const int n = ++transfers;
                return blocks.value(n, blockOf(n).chopped(1) + ';' + kPreamble);
            }
            if (line.endsWith("PREamble?")) return kPreamble;
            if (line == ":WAVeform:DATA?") {
                const int n = ++transfers;
                return blocks.value(n, blockOf(n));
            }
            if (line.startsWith(":CHANnel1:DISPlay?")) return "1;0;1;0\n";
            if (line == "*IDN?") return "CORVANE TECHNOLOGIES,TV100A,1,A.01.02\n";
            return line == ":SYSTem:ERRor?" ? error + '\n' : QByteArray();
        },
        written)};
};

void expectTransfer(const QVector<double>& time, const QVector<double>& data, int transfer,
                    const char* what) {
    ASSERT_EQ(data.size(), kPoints) << what;
    ASSERT_EQ(time.size(), kPoints) << what;
    for (int i = 0; i < kPoints; ++i) {
        ASSERT_DOUBLE_EQ(data[i], voltsOf(transfer, i)) << what << " sample " << i;
        ASSERT_DOUBLE_EQ(time[i], (i - 3) * 2e-6 - 1e-3) << what << " sample " << i;
    }
}

} // namespace

// Codes come back exactly as sent; float volts as the preamble scales them, to a float's precision;
// the preamble's values come with both, and the wide conversion agrees with the plain one to the bit.
TEST(WaveformSamples, CodesAndVoltsFollowThePreamble) {
    ScriptedScope s;
    WaveformSamples samples;
    s.scope.GetWaveformSamples(Tavrel_Channel_2, Tavrel_DataPoints_ALL, WaveformSamples::Codes, samples);
    EXPECT_EQ(*s.written, QStringList{QStringLiteral(":WAVeform:SOURce CHANnel2;FORMat WORD;BYTeorder "
                                                     "LSBFirst;POINts MAXimum;DATA?;PREamble?")})
        << "one round trip";
    ASSERT_EQ(samples.codes.size(), kPoints);
    EXPECT_TRUE(samples.volts.isEmpty());
    EXPECT_EQ(samples.preamble.points, kPoints);
    EXPECT_DOUBLE_EQ(samples.preamble.xIncrement, 2e-6);
    EXPECT_DOUBLE_EQ(samples.preamble.xOrigin, -1e-3);
    EXPECT_DOUBLE_EQ(samples.preamble.xReference, 3);
    EXPECT_DOUBLE_EQ(samples.preamble.yIncrement, 5e-4);
    EXPECT_DOUBLE_EQ(samples.preamble.yOrigin, 0.25);
    EXPECT_DOUBLE_EQ(samples.preamble.yReference, 32768);
    for (int i = 0; i < kPoints; ++i) {
        ASSERT_EQ(samples.codes[i], codeOf(1, i)) << i;
        ASSERT_DOUBLE_EQ(samples.voltsAt(i), voltsOf(1, i)) << i;
    }
    EXPECT_DOUBLE_EQ(samples.timeAt(0), -1.006e-3);

    s.scope.GetWaveformSamples(Tavrel_Channel_2, Tavrel_DataPoints_ALL, WaveformSamples::Volts, samples);
    ASSERT_EQ(samples.volts.size(), kPoints);
    EXPECT_TRUE(samples.codes.isEmpty()) << "only the kind asked for is kept";
    EXPECT_EQ(samples.kind, WaveformSamples::Volts);
    for (int i = 0; i < kPoints; ++i)
        ASSERT_NEAR(samples.volts[i], voltsOf(2, i), 4e-6) << i;
    EXPECT_EQ(samples.volts[0], -16.134f);

    // Lengths around the eight-sample stride, each against the plain formula in single precision.
    WaveformPreamble p;
    p.yIncrement = 3e-4;
    p.yOrigin = -1.5;
    p.yReference = 128.5;
    QByteArray words(80, '\0');
    for (int i = 0; i < 40; ++i)
        qToLittleEndian(codeOf(0, 39 - i), words.data() + 2 * i);
    for (int n : {0, 1, 7, 8, 9, 16, 23, 40}) {
        std::vector<float> out(size_t(n) + 1, 99.0f);
        ConvertWordsToFloatVolts(p, reinterpret_cast<const uchar*>(words.constData()), n, out.data());
        for (int i = 0; i < n; ++i)
            ASSERT_EQ(out[size_t(i)], (float(codeOf(0, 39 - i)) - 128.5f) * 3e-4f + -1.5f) << n << " " << i;
        EXPECT_EQ(out[size_t(n)], 99.0f) << n << ": nothing written past the samples";
    }
}

// Faults while reading samples: each gives a clear error and leaves the session in step.
TEST(WaveformSamples, RefusesABadTransferAndStaysInStep) {
    const QByteArray preamble = ';' + kPreamble;
    const struct {
        const char* name;
        WaveformSamples::Kind kind;
        QByteArray reply;
        QByteArray error = "0,\"No error\"";
        bool ioError = false;
    } cases[] = {
        {"codes: fewer than announced", WaveformSamples::Codes,
         blockOf(1, kPoints - 1).chopped(1) + preamble},
        {"codes: an odd byte count", WaveformSamples::Codes, "#13abc" + preamble},
        {"codes: a block too large to hold", WaveformSamples::Codes, "#9999999999" + preamble},
        {"codes: no preamble after the block", WaveformSamples::Codes, blockOf(1)},
        {"codes: no block", WaveformSamples::Codes, "9.9E+37" + preamble},
        {"codes: an empty block", WaveformSamples::Codes, "#10;1,0,0,1,1,0,0,1,0,0\n",
         "-230,\"Data corrupt or stale\""},
        {"codes: a refused command", WaveformSamples::Codes, "", "-113,\"Undefined header\""},
        {"codes: silence", WaveformSamples::Codes, "", "0,\"No error\"", true},
        {"volts: more than announced", WaveformSamples::Volts, blockOf(1, kPoints + 1)},
        {"volts: no block", WaveformSamples::Volts, "9.9E+37\n"},
        {"no such kind", WaveformSamples::Kind(7), blockOf(1)},
    };
    for (const auto& c : cases) {
        ScriptedScope s({{1, c.reply}});
        s.error = c.error;
        s.written->clear();
        WaveformSamples samples;
        try {
            s.scope.GetWaveformSamples(Tavrel_Channel_1, Tavrel_DataPoints_ALL, c.kind, samples);
            ADD_FAILURE() << c.name << " accepted";
        } catch (const ServerError& e) {
            EXPECT_FALSE(c.ioError) << c.name << ": " << e.what();
            EXPECT_EQ(e.message().contains(QString::fromLatin1(c.error.left(4))), c.error[0] == '-')
                << c.name << ": " << e.what();
        } catch (const CorvaneIOUtilsLib::IOError& e) {
            EXPECT_TRUE(c.ioError) << c.name << ": " << e.what();
        }
        EXPECT_EQ(s.written->isEmpty(), c.kind == WaveformSamples::Kind(7)) << c.name;
        s.error = "0,\"No error\"";
        EXPECT_TRUE(s.scope.IsCompatible()) << c.name;
    }
}

// The samples read through the simulated scope are the waveform GetWaveformData converts.
TEST(WaveformSamples, AgreeWithTheArraysThroughTheSimulator) {
    ScopeTavrel scope(simManager());
    scope.Open(kSimScope);
    scope.Reset();
    scope.Acquisition().SetPoints(10000);
    scope.AnalogChannels().Item(Tavrel_Channel_3).SetDisplay(Tavrel_On);
    scope.Digitize();
    QVector<double> time, data;
    scope.GetWaveformData(Tavrel_Channel_3, Tavrel_DataPoints_ALL, time, data);
    WaveformSamples codes, volts;
    scope.GetWaveformSamples(Tavrel_Channel_3, Tavrel_DataPoints_ALL, WaveformSamples::Codes, codes);
    scope.GetWaveformSamples(Tavrel_Channel_3, Tavrel_DataPoints_ALL, WaveformSamples::Volts, volts);
    ASSERT_EQ(codes.size(), data.size());
    ASSERT_EQ(volts.size(), data.size());
    for (qsizetype i = 0; i < data.size(); ++i) {
        ASSERT_DOUBLE_EQ(codes.voltsAt(i), data[i]) << i;
        ASSERT_DOUBLE_EQ(codes.timeAt(i), time[i]) << i;
        ASSERT_NEAR(volts.volts[i], data[i], 1e-5 * (1 + std::abs(data[i]))) << i;
    }
}

// Memory the driver hands out again: a buffer handed back is filled where it is, arrays the host has
// let go of are reused, and nothing the host still holds, in any form, is written.
TEST(WaveformReuse, ReusesOnlyWhatTheHostLetGoOf) {
    ScriptedScope s;
    const auto read = [&](QVector<double>& t, QVector<double>& v) {
        s.scope.GetWaveformData(Tavrel_Channel_1, Tavrel_DataPoints_ALL, t, v);
    };
    const double *lastTime = nullptr, *lastData = nullptr;
    {
        QVector<double> t, v;
        read(t, v); // transfer 1
        lastTime = t.constData();
        lastData = v.constData();
    }
    // New arrays after the host dropped the last ones: the same memory, the new transfer's values.
    QVector<double> t, v;
    read(t, v); // 2
    expectTransfer(t, v, 2, "new arrays");
    EXPECT_TRUE((t.constData() == lastTime && v.constData() == lastData) ||
                (t.constData() == lastData && v.constData() == lastTime));

    // Arrays handed back are filled where they are.
    const double* handedBack = v.constData();
    read(t, v); // 3
    expectTransfer(t, v, 3, "handed back");
    EXPECT_EQ(v.constData(), handedBack);

    // The host keeps those and asks with new arrays, or keeps a copy and hands the arrays back.
    QVector<double> t4, v4;
    read(t4, v4); // 4
    expectTransfer(t, v, 3, "kept while new arrays were filled");
    expectTransfer(t4, v4, 4, "the new arrays");
    const QVector<double> copyTime = t4, copyData = v4;
    read(t4, v4); // 5
    expectTransfer(copyTime, copyData, 4, "a copy of arrays handed back");
    expectTransfer(t4, v4, 5, "the arrays handed back");
    expectTransfer(t, v, 3, "still kept");

    // Every channel at once, a new list each time: lists the host holds are never written.
    const QList<ChannelWaveform> first = s.scope.GetAllWaveformData(Tavrel_DataPoints_ALL);  // 6, 7
    const QList<ChannelWaveform> second = s.scope.GetAllWaveformData(Tavrel_DataPoints_ALL); // 8, 9
    ASSERT_EQ(first.size(), 2);
    ASSERT_EQ(second.size(), 2);
    EXPECT_EQ(first[1].channel, Tavrel_Channel_3);
    for (int i = 0; i < 2; ++i) {
        expectTransfer(first[i].time, first[i].data, 6 + i, "first list");
        expectTransfer(second[i].time, second[i].data, 8 + i, "second list");
    }

    // Samples handed back land in the same buffer; a copy the host keeps is not written.
    WaveformSamples samples;
    const auto readCodes = [&] {
        s.scope.GetWaveformSamples(Tavrel_Channel_1, Tavrel_DataPoints_ALL, WaveformSamples::Codes, samples);
    };
    readCodes(); // 10
    const WaveformSamples kept = samples;
    readCodes(); // 11
    const quint16* buffer = samples.codes.constData();
    readCodes(); // 12
    EXPECT_EQ(samples.codes.constData(), buffer);
    for (int i = 0; i < kPoints; ++i) {
        ASSERT_EQ(kept.codes[i], codeOf(10, i)) << i;
        ASSERT_EQ(samples.codes[i], codeOf(12, i)) << i;
    }
}
