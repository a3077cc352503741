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

// Every sample against the preamble's definition, whatever the format.
void expectScaled(const WaveformPreamble& p, const QVector<double>& time, const QVector<double>& values,
                  const QList<double>& codes, const std::string& name) {
    ASSERT_EQ(values.size(), codes.size()) << name;
    ASSERT_EQ(time.size(), codes.size()) << name;
    for (qsizetype i = 0; i < codes.size(); ++i) {
        ASSERT_DOUBLE_EQ(time[i], (i - p.xReference) * p.xIncrement + p.xOrigin) << name << " " << i;
        ASSERT_DOUBLE_EQ(values[i], p.format == WaveformPreamble::Ascii
                                        ? codes[i]
                                        : (codes[i] - p.yReference) * p.yIncrement + p.yOrigin)
            << name << " " << i;
    }
}
QList<double> asDoubles(const QList<quint16>& codes) {
    return QList<double>(codes.begin(), codes.end());
}

} // namespace

TEST(WaveformPreamble, RefusesWhatIsNoPreamble) {
    for (const char* reply : {"", "1,0,5,1,2e-6,0,0,1,0", "1,0,5,1,2e-6,0,0,1,0,0,9",
                              "1,0,five,1,2e-6,0,0,1,0,0", "1,0,-5,1,2e-6,0,0,1,0,0",
                              // found by fuzzing: numbers no count or code can be
                              "1,7.7e60,8,1,1e-3,0,0,1e-3,0,0", "1,0,2.5,1,1e-3,0,0,1,0,0",
                              "1,0,1e300,1,1,0,0,1,0,0", "1,0,8,1,inf,0,0,1,0,0", "nan,0,8,1,1,0,0,1,0,0"})
        EXPECT_THROW(WaveformPreamble::Parse(QLatin1String(reply)), ServerError) << reply;
}

// The hand-worked values pin the scaling; expectScaled then holds every other case to the same rule.
TEST(WaveformConversion, ScalesEachFormatByThePreamble) {
    QVector<double> time(5), values(5);
    const double* inPlace = values.constData();
    ConvertWaveform(WaveformPreamble::Parse(kPreamble + QLatin1Char('\n')), words(kCodes, true), true, time,
                    values);
    const double expected[] = {-16.134, 0.25, 0.2505, 16.6335, -16.129};
    for (int i = 0; i < 5; ++i)
        EXPECT_DOUBLE_EQ(values[i], expected[i]) << i;
    EXPECT_DOUBLE_EQ(time[0], -1.002e-3);
    EXPECT_EQ(values.constData(), inPlace) << "arrays of the right size are filled where they are";

    // clang-format off
    const struct {
        const char* name;
        QString preamble;
        QByteArray data;
        bool lsbFirst;
        QList<double> codes;
    } cases[] = {
        {"WORD LSB first", kPreamble, words(kCodes, true), true, asDoubles(kCodes)},
        {"WORD MSB first", kPreamble, words(kCodes, false), false, asDoubles(kCodes)},
        {"BYTE", QStringLiteral("0,0,3,1,2e-6,-1e-3,1,5e-4,0.25,128"), QByteArray("\x00\x80\xff", 3), true, {0, 128, 255}},
        {"ASCii", QStringLiteral("4,0,3,1,2e-6,-1e-3,1,5e-4,0.25,0"), "+1.5E-01,-2.0E+00,3", true, {0.15, -2.0, 3.0}},
    };
    // clang-format on
    for (const auto& c : cases) {
        const WaveformPreamble p = WaveformPreamble::Parse(c.preamble);
        ConvertWaveform(p, c.data, c.lsbFirst, time, values);
        expectScaled(p, time, values, c.codes, c.name);
    }
    for (qsizetype bytes : {0, 9, 11, 12}) // a WORD block of another length than the preamble's
        EXPECT_THROW(
            ConvertWaveform(WaveformPreamble::Parse(kPreamble), QByteArray(bytes, '\0'), true, time, values),
            ServerError)
            << bytes;

    const QByteArray logicBlock = words(kCodes, false);
    QVector<quint16> logic(kCodes.size());
    time.resize(kCodes.size());
    ConvertLogicSlice(WaveformPreamble::Parse(kPreamble),
                      reinterpret_cast<const uchar*>(logicBlock.constData()), 0, kCodes.size(), false,
                      time.data(), logic.data());
    EXPECT_EQ(logic, QVector<quint16>(kCodes.begin(), kCodes.end())) << "logic words are kept raw";
}

// A record long enough for the wide conversion, cut in slices that start and end off its stride: every
// sample must come out as the preamble defines it, wherever its slice begins.
TEST(WaveformConversion, SlicesOfALongRecordMatchThePreamble) {
    WaveformPreamble p = WaveformPreamble::Parse(kPreamble);
    p.points = 1000;
    QList<quint16> codes;
    for (int i = 0; i < p.points; ++i)
        codes.append(static_cast<quint16>(i % 3 == 0 ? 65535 - i : i * 61));
    const QList<int> cuts[] = {
        {1000}, {8, 64, 512, 1000}, {1, 7, 20, 333, 998, 1000}, {1, 2, 3, 4, 5, 6, 7, 8, 9, 1000}};
    for (bool lsbFirst : {true, false}) {
        const QByteArray data = words(codes, lsbFirst);
        for (const QList<int>& slices : cuts) {
            QVector<double> time(p.points, -1), values(p.points, -1);
            int first = 0;
            for (int cut : slices) {
                ConvertSlice(p, reinterpret_cast<const uchar*>(data.constData()) + 2 * first, first,
                             cut - first, lsbFirst, time.data(), values.data());
                first = cut;
            }
            expectScaled(p, time, values, asDoubles(codes),
                         (lsbFirst ? "LSB first, cuts " : "MSB first, cuts ") +
                             std::to_string(slices.size()));
        }
    }
}

// Every shape of reply to a transfer, each on a fresh session whose next reply must still be read right.
TEST(WaveformTransfer, SelectsTheSourceAndKeepsTheSessionInStep) {
    QList<quint16> many; // larger than several read slices, so that samples fall across slice boundaries
    for (int i = 0; i < 300001; ++i)
        many.append(static_cast<quint16>(static_cast<quint32>(i) * 7919u));
    const QString sel =
        QStringLiteral(":WAVeform:SOURce CHANnel%1;FORMat WORD;BYTeorder LSBFirst;POINts %2;PREamble?");
    // clang-format off
    const struct {
        const char* name;
        Tavrel_AnalogChannels channel;
        Tavrel_WaveformPoints points;
        QString preamble;
        QByteArray data;
        QList<quint16> codes; // empty: refused
        QString select;       // the first command sent; empty: not checked
        const char* error = "0,\"No error\"";
    } cases[] = {
        {"five samples", Tavrel_Channel_2, Tavrel_DataPoints_ALL, kPreamble, block(words(kCodes, true)), kCodes, sel.arg(2).arg("MAXimum")},
        {"250 points", Tavrel_Channel_4, Tavrel_DataPoints_250, kPreamble, block(words(kCodes, true)), kCodes, sel.arg(4).arg(250)},
        {"no line end after the block", Tavrel_Channel_1, Tavrel_DataPoints_ALL, kPreamble, block(words(kCodes, true)).chopped(1), kCodes, {}},
        {"many slices", Tavrel_Channel_1, Tavrel_DataPoints_ALL, QStringLiteral("1,0,300001,1,1E-06,0,0,1,0,0"), block(words(many, true)), many, {}},
        {"fewer samples than announced", Tavrel_Channel_1, Tavrel_DataPoints_ALL, kPreamble, block(words(kCodes.mid(1), true)), {}, {}},
        {"more samples than announced", Tavrel_Channel_1, Tavrel_DataPoints_ALL, kPreamble, block(words(kCodes + kCodes, true)), {}, {}},
        {"no block at all", Tavrel_Channel_1, Tavrel_DataPoints_ALL, kPreamble, "9.9E+37\n", {}, {}},
        {"a preamble of BYTE data", Tavrel_Channel_1, Tavrel_DataPoints_ALL, QStringLiteral("0,0,5,1,1,0,0,1,0,0"), block("xxxxx"), {}, {}},
        {"an empty block", Tavrel_Channel_1, Tavrel_DataPoints_ALL, QStringLiteral("1,0,0,1,1,0,0,1,0,0"), "#10\n", {}, {}, "-230,\"Data corrupt or stale\""},
        {"no channel 5", Tavrel_AnalogChannels(5), Tavrel_DataPoints_ALL, kPreamble, {}, {}, {}},
        {"no 300 points", Tavrel_Channel_1, Tavrel_WaveformPoints(300), kPreamble, {}, {}, {}},
    };
    // clang-format on
    for (const auto& c : cases) {
        auto written = std::make_shared<QStringList>();
        auto manager = scriptedManager(
            [&](const QByteArray& line) -> QByteArray {
                if (line.endsWith("PREamble?")) return c.preamble.toLatin1() + '\n';
                if (line == ":WAVeform:DATA?") return c.data;
                if (line == "*IDN?") return "CORVANE TECHNOLOGIES,TV100A,1,A.01.02\n";
                return line == ":SYSTem:ERRor?" ? QByteArray(c.error) + '\n' : QByteArray();
            },
            written);
        ScopeTavrel scope(manager);
        scope.Open(QStringLiteral("GPIB0::1::INSTR"));
        written->clear();
        QVector<double> time, data;
        try {
            scope.GetWaveformData(c.channel, c.points, time, data);
            EXPECT_FALSE(c.codes.isEmpty()) << c.name << " accepted";
            expectScaled(WaveformPreamble::Parse(c.preamble), time, data, asDoubles(c.codes), c.name);
        } catch (const ServerError& e) {
            EXPECT_TRUE(c.codes.isEmpty()) << c.name << ": " << e.what();
            EXPECT_EQ(e.message().contains(QStringLiteral("-230")), c.error[0] == '-')
                << c.name << ": " << e.what();
            EXPECT_EQ(written->isEmpty(), c.data.isEmpty()) << c.name << ": a refused argument sends nothing";
        }
        if (!c.select.isEmpty()) {
            EXPECT_EQ(*written, (QStringList{c.select, QStringLiteral(":WAVeform:DATA?")})) << c.name;
        }
        EXPECT_TRUE(scope.IsCompatible()) << c.name << ": the next reply is read as it should";
    }
}
