#include "AutomationTestSupport.h"
#include "automation/ScopeTavrel.h"
#include "automation/ServerError.h"
#include "automation/WaveformPreamble.h"

#include <QtEndian>
#include <gtest/gtest.h>

using namespace BrumelTB;

namespace {

QByteArray block(const QByteArray& data) {
    const QByteArray length = QByteArray::number(data.size());
    return '#' + QByteArray::number(length.size()) + length + data + '\n';
}

QByteArray words(const QList<quint16>& codes, bool lsbFirst) {
    QByteArray out;
    for (quint16 c : codes) {
        const quint16 raw = lsbFirst ? qToLittleEndian(c) : qToBigEndian(c);
        out.append(reinterpret_cast<const char*>(&raw), 2);
    }
    return out;
}

// format WORD, 5 points, 2 µs apart starting at -1 ms with reference sample 1; 0.5 mV per code
// around code 32768 at 0.25 V.
const QString kPreamble =
    QStringLiteral("1,0,5,1,+2.000000E-06,-1.000000E-03,1,+5.000000E-04,+2.500000E-01,32768");
const QList<quint16> kCodes = {0, 32768, 32769, 65535, 10}; // 10 = 0x000a, a line feed inside the data

double expectedTime(int i) {
    return (i - 1) * 2e-6 - 1e-3;
}
double expectedValue(quint16 code) {
    return (code - 32768.0) * 5e-4 + 0.25;
}

} // namespace

TEST(WaveformPreamble, ParsesTheTenFields) {
    const WaveformPreamble p = WaveformPreamble::Parse(kPreamble + QLatin1Char('\n'));
    EXPECT_EQ(p.format, WaveformPreamble::Word);
    EXPECT_EQ(p.points, 5);
    EXPECT_EQ(p.count, 1);
    EXPECT_DOUBLE_EQ(p.xIncrement, 2e-6);
    EXPECT_DOUBLE_EQ(p.xOrigin, -1e-3);
    EXPECT_DOUBLE_EQ(p.xReference, 1);
    EXPECT_DOUBLE_EQ(p.yIncrement, 5e-4);
    EXPECT_DOUBLE_EQ(p.yOrigin, 0.25);
    EXPECT_DOUBLE_EQ(p.yReference, 32768);
}

TEST(WaveformPreamble, RefusesWhatIsNoPreamble) {
    for (const char* reply : {"", "1,0,5,1,2e-6,0,0,1,0", "1,0,5,1,2e-6,0,0,1,0,0,9",
                              "1,0,five,1,2e-6,0,0,1,0,0", "1,0,-5,1,2e-6,0,0,1,0,0"})
        EXPECT_THROW(WaveformPreamble::Parse(QLatin1String(reply)), ServerError) << reply;
}

TEST(WaveformConversion, WordsInEitherByteOrder) {
    const WaveformPreamble p = WaveformPreamble::Parse(kPreamble);
    for (bool lsbFirst : {true, false}) {
        QVector<double> time, values;
        ConvertWaveform(p, words(kCodes, lsbFirst), lsbFirst, time, values);
        ASSERT_EQ(values.size(), kCodes.size());
        ASSERT_EQ(time.size(), kCodes.size());
        for (int i = 0; i < kCodes.size(); ++i) {
            EXPECT_DOUBLE_EQ(time[i], expectedTime(i)) << i;
            EXPECT_DOUBLE_EQ(values[i], expectedValue(kCodes[i])) << i << (lsbFirst ? " LSB" : " MSB");
        }
    }
}

TEST(WaveformConversion, BytesAndAscii) {
    WaveformPreamble p = WaveformPreamble::Parse(kPreamble);
    p.format = WaveformPreamble::Byte;
    p.points = 3;
    p.yReference = 128;
    QVector<double> time, values;
    ConvertWaveform(p, QByteArray("\x00\x80\xff", 3), true, time, values);
    EXPECT_EQ(values, (QVector<double>{-128 * 5e-4 + 0.25, 0.25, 127 * 5e-4 + 0.25}));

    p.format = WaveformPreamble::Ascii;
    ConvertWaveform(p, QByteArray("+1.5E-01,-2.0E+00,3"), true, time, values);
    EXPECT_EQ(values, (QVector<double>{0.15, -2.0, 3.0}));
    EXPECT_DOUBLE_EQ(time[2], expectedTime(2));
}

TEST(WaveformConversion, RefusesABlockOfAnotherLength) {
    const WaveformPreamble p = WaveformPreamble::Parse(kPreamble);
    QVector<double> time, values;
    for (qsizetype bytes : {0, 9, 11, 12})
        EXPECT_THROW(ConvertWaveform(p, QByteArray(bytes, '\0'), true, time, values), ServerError) << bytes;
}

TEST(WaveformConversion, ArraysOfTheRightSizeAreFilledInPlace) {
    const WaveformPreamble p = WaveformPreamble::Parse(kPreamble);
    QVector<double> time(5), values(5);
    const double* timeBefore = time.constData();
    const double* valuesBefore = values.constData();
    ConvertWaveform(p, words(kCodes, true), true, time, values);
    EXPECT_EQ(time.constData(), timeBefore);
    EXPECT_EQ(values.constData(), valuesBefore);
}

// A record long enough for the wide conversion, cut in slices that start and end off its stride: every
// sample must come out as the preamble defines it, wherever its slice begins.
TEST(WaveformConversion, SlicesOfALongRecordMatchThePreamble) {
    WaveformPreamble p = WaveformPreamble::Parse(kPreamble);
    constexpr int kPoints = 1000;
    QList<quint16> codes;
    for (int i = 0; i < kPoints; ++i)
        codes.append(static_cast<quint16>(i % 3 == 0 ? 65535 - i : i * 61));
    p.points = kPoints;
    const struct {
        const char* name;
        QList<int> cuts; // slice boundaries after 0
    } cases[] = {
        {"Whole", {kPoints}},
        {"StrideAligned", {8, 64, 512, kPoints}},
        {"OffStride", {1, 7, 20, 333, 998, kPoints}},
        {"SingleSamples", {1, 2, 3, 4, 5, 6, 7, 8, 9, kPoints}},
    };
    for (bool lsbFirst : {true, false}) {
        const QByteArray data = words(codes, lsbFirst);
        const auto* bytes = reinterpret_cast<const uchar*>(data.constData());
        for (const auto& c : cases) {
            QVector<double> time(kPoints, -1), values(kPoints, -1);
            int first = 0;
            for (int cut : c.cuts) {
                ConvertSlice(p, bytes + 2 * first, first, cut - first, lsbFirst, time.data(), values.data());
                first = cut;
            }
            for (int i = 0; i < kPoints; ++i) {
                ASSERT_DOUBLE_EQ(time[i], (i - p.xReference) * p.xIncrement + p.xOrigin)
                    << c.name << " " << i;
                ASSERT_DOUBLE_EQ(values[i], expectedValue(codes[i]))
                    << c.name << " " << i << (lsbFirst ? " LSB" : " MSB");
            }
        }
    }
}

TEST(WaveformConversion, LogicWordsAreKeptRaw) {
    WaveformPreamble p = WaveformPreamble::Parse(kPreamble);
    QVector<double> time;
    QVector<quint16> codes;
    ConvertLogic(p, words(kCodes, true), true, time, codes);
    EXPECT_EQ(codes, QVector<quint16>(kCodes.begin(), kCodes.end()));
    EXPECT_DOUBLE_EQ(time[4], expectedTime(4));
}

TEST(WaveformTransfer, SelectsTheSourceAndScalesWithItsPreamble) {
    auto written = std::make_shared<QStringList>();
    auto manager = scriptedManager(
        [](const QByteArray& line) -> QByteArray {
            if (line.endsWith("PREamble?")) return kPreamble.toLatin1() + '\n';
            if (line == ":WAVeform:DATA?") return block(words(kCodes, true));
            return {};
        },
        written);
    ScopeTavrel scope(manager);
    scope.Open(QStringLiteral("GPIB0::1::INSTR"));

    const struct {
        Tavrel_AnalogChannels channel;
        Tavrel_WaveformPoints points;
        const char* select;
    } cases[] = {
        {Tavrel_Channel_2, Tavrel_DataPoints_ALL,
         ":WAVeform:SOURce CHANnel2;FORMat WORD;BYTeorder LSBFirst;POINts MAXimum;PREamble?"},
        {Tavrel_Channel_4, Tavrel_DataPoints_250,
         ":WAVeform:SOURce CHANnel4;FORMat WORD;BYTeorder LSBFirst;POINts 250;PREamble?"},
    };
    for (const auto& c : cases) {
        written->clear();
        QVector<double> time, data;
        scope.GetWaveformData(c.channel, c.points, time, data);
        EXPECT_EQ(*written, (QStringList{QLatin1String(c.select), QStringLiteral(":WAVeform:DATA?")}));
        ASSERT_EQ(data.size(), kCodes.size());
        for (int i = 0; i < kCodes.size(); ++i) {
            EXPECT_DOUBLE_EQ(data[i], expectedValue(kCodes[i]));
            EXPECT_DOUBLE_EQ(time[i], expectedTime(i));
        }
    }

    written->clear();
    QVector<double> time, data;
    EXPECT_THROW(
        scope.GetWaveformData(static_cast<Tavrel_AnalogChannels>(5), Tavrel_DataPoints_ALL, time, data),
        ServerError);
    EXPECT_THROW(scope.GetWaveformData(Tavrel_Channel_1, static_cast<Tavrel_WaveformPoints>(300), time, data),
                 ServerError);
    EXPECT_TRUE(written->isEmpty()) << "a refused argument sends nothing";
}

TEST(WaveformTransfer, BlocksOfEveryShapeKeepTheSessionInStep) {
    // Larger than several read slices, so that samples are placed across slice boundaries.
    QList<quint16> many;
    for (int i = 0; i < 300001; ++i)
        many.append(static_cast<quint16>(i * 7919));
    const QString manyPreamble = QStringLiteral("1,0,300001,1,1E-06,0,0,1,0,0");
    const struct {
        const char* name;
        QString preamble;
        QByteArray data;
        qsizetype points; // -1: refused
    } cases[] = {
        {"five samples", kPreamble, block(words(kCodes, true)), 5},
        {"no line end after the block", kPreamble, block(words(kCodes, true)).chopped(1), 5},
        {"many slices", manyPreamble, block(words(many, true)), 300001},
        {"fewer samples than announced", kPreamble, block(words(kCodes.mid(1), true)), -1},
        {"more samples than announced", kPreamble, block(words(kCodes + kCodes, true)), -1},
        {"no block at all", kPreamble, QByteArray("9.9E+37\n"), -1},
        {"a preamble of BYTE data", QStringLiteral("0,0,5,1,1,0,0,1,0,0"), block(QByteArray(5, 'x')), -1},
    };
    for (const auto& c : cases) {
        auto manager = scriptedManager(
            [&](const QByteArray& line) -> QByteArray {
                if (line.endsWith("PREamble?")) return c.preamble.toLatin1() + '\n';
                if (line == ":WAVeform:DATA?") return c.data;
                if (line == "*IDN?") return "CORVANE TECHNOLOGIES,TV100A,1,A.01.02\n";
                if (line == ":SYSTem:ERRor?") return "0,\"No error\"\n";
                return {};
            },
            std::make_shared<QStringList>());
        ScopeTavrel scope(manager);
        scope.Open(QStringLiteral("GPIB0::1::INSTR"));
        QVector<double> time, data;
        if (c.points < 0) {
            EXPECT_THROW(scope.GetWaveformData(Tavrel_Channel_1, Tavrel_DataPoints_ALL, time, data),
                         ServerError)
                << c.name;
        } else {
            scope.GetWaveformData(Tavrel_Channel_1, Tavrel_DataPoints_ALL, time, data);
            ASSERT_EQ(data.size(), c.points) << c.name;
            const WaveformPreamble p = WaveformPreamble::Parse(c.preamble);
            const QList<quint16>& codes = c.points == 5 ? kCodes : many;
            for (qsizetype i = 0; i < c.points; ++i) {
                ASSERT_DOUBLE_EQ(data[i], (codes[i] - p.yReference) * p.yIncrement + p.yOrigin)
                    << c.name << " " << i;
                ASSERT_DOUBLE_EQ(time[i], (i - p.xReference) * p.xIncrement + p.xOrigin)
                    << c.name << " " << i;
            }
        }
        EXPECT_TRUE(scope.IsCompatible()) << c.name << ": the next reply is read as it should";
    }
}

TEST(WaveformTransfer, AnEmptyBlockReportsTheInstrumentsError) {
    auto written = std::make_shared<QStringList>();
    auto manager = scriptedManager(
        [](const QByteArray& line) -> QByteArray {
            if (line.endsWith("PREamble?")) return "1,0,0,1,1,0,0,1,0,0\n";
            if (line == ":WAVeform:DATA?") return "#10\n";
            if (line == ":SYSTem:ERRor?") return "-230,\"Data corrupt or stale\"\n";
            return {};
        },
        written);
    ScopeTavrel scope(manager);
    scope.Open(QStringLiteral("GPIB0::1::INSTR"));
    QVector<double> time, data;
    try {
        scope.GetWaveformData(Tavrel_Channel_1, Tavrel_DataPoints_ALL, time, data);
        FAIL() << "an empty block was accepted";
    } catch (const ServerError& e) {
        EXPECT_TRUE(e.message().contains(QStringLiteral("-230"))) << e.what();
    }
}
