// The view's and the plots' decimation: every sample inside the window lands in exactly one pixel
// column, so no spike is lost, whatever the record's length, the plot's width or the zoom.

#include "control/MinMaxColumns.h"

#include <gtest/gtest.h>
#include <random>

namespace {

constexpr qsizetype kRecord = 1000000;

// The column whose span holds the spike's value, or -1.
int columnHolding(const QVector<ColumnSpan>& spans, double value) {
    for (int c = 0; c < spans.size(); ++c)
        if (!spans[c].empty && spans[c].high == value) return c;
    return -1;
}

} // namespace

TEST(MinMaxColumns, ASpikeOneSampleWideIsDrawnWhereverItIs) {
    QVector<double> samples(kRecord, 0.0);
    std::mt19937 random(7);
    QList<qsizetype> positions = {0, 1, 499999, 500000, kRecord - 2, kRecord - 1};
    for (int i = 0; i < 6; ++i)
        positions.append(std::uniform_int_distribution<qsizetype>(0, kRecord - 1)(random));
    const double first = -5e-3;
    const double increment = 1e-8; // 10 ms of record
    for (const int columns : {1, 997, 1000, 1920}) {
        for (const qsizetype at : positions) {
            samples[at] = 3.5;
            const auto spans = MinMaxColumns(samples.constData(), kRecord, first, increment, first,
                                             first + kRecord * increment, columns);
            const int column = columnHolding(spans, 3.5);
            // Found, in its column (a sample on a column's border may fall to either side of it).
            ASSERT_GE(column, 0) << "spike at " << at << ", " << columns << " columns";
            EXPECT_NEAR(column, double(at * columns / kRecord), 1.0) << "spike at " << at;
            // A negative spike shows as the column's minimum.
            samples[at] = -2.0;
            const auto low = MinMaxColumns(samples.constData(), kRecord, first, increment, first,
                                           first + kRecord * increment, columns);
            bool seen = false;
            for (const ColumnSpan& span : low)
                seen = seen || (!span.empty && span.low == -2.0);
            EXPECT_TRUE(seen) << "negative spike at " << at;
            samples[at] = 0.0;
        }
    }
}

TEST(MinMaxColumns, EverySampleOfTheWindowIsCountedOnce) {
    // Samples 0..n-1 with value i: the columns' spans tile the window's index range without a gap.
    const qsizetype n = 12345;
    QVector<double> ramp(n);
    for (qsizetype i = 0; i < n; ++i)
        ramp[i] = double(i);
    const struct {
        double start, end;
        int columns;
    } windows[] = {{0, 12345, 100}, {100.5, 2000.25, 333}, {-50, 500, 64}, {12000, 20000, 7}, {3, 4, 10}};
    for (const auto& w : windows) {
        const auto spans = MinMaxColumns(ramp.constData(), n, 0, 1, w.start, w.end, w.columns);
        const SampleRange range = SamplesInWindow(n, 0, 1, w.start, w.end);
        double expected = double(range.begin);
        for (const ColumnSpan& span : spans) {
            if (span.empty) continue;
            EXPECT_EQ(span.low, expected) << w.start << ".." << w.end;
            expected = span.high + 1;
        }
        EXPECT_EQ(expected, double(range.end)) << w.start << ".." << w.end;
    }
}

TEST(MinMaxColumns, DegenerateInputsGiveEmptyColumns) {
    const double values[] = {1, 2, 3};
    const struct {
        qsizetype count;
        double increment, start, end;
        int columns;
    } cases[] = {{0, 1, 0, 3, 10},   {3, 0, 0, 3, 10},     {3, -1, 0, 3, 10}, {3, 1, 3, 0, 10},
                 {3, 1, 10, 20, 10}, {3, 1, -20, -10, 10}, {3, 1, 0, 3, 0}};
    for (const auto& c : cases) {
        const auto spans = MinMaxColumns(values, c.count, 0, c.increment, c.start, c.end, c.columns);
        EXPECT_EQ(spans.size(), c.columns);
        for (const ColumnSpan& span : spans)
            EXPECT_TRUE(span.empty);
    }
}

TEST(BitColumns, AnEdgeAndAOneSampleGlitchShowInTheirColumn) {
    QVector<quint16> words(100000, 0);
    for (qsizetype i = 50000; i < words.size(); ++i)
        words[i] = 0x01;  // D0 rises in the middle
    words[70001] |= 0x80; // D7 high for one sample
    const auto columns = BitColumns(words.constData(), words.size(), 0, 1, 0, 100000, 1000);
    EXPECT_EQ(columns[499].anyHigh & 0x01, 0);
    EXPECT_EQ(columns[500].allHigh & 0x01, 0x01);
    EXPECT_EQ(columns[700].anyHigh & 0x80, 0x80);
    EXPECT_EQ(columns[700].allHigh & 0x80, 0);
    EXPECT_EQ(columns[701].anyHigh & 0x80, 0);
}
