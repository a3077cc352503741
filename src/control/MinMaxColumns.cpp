#include "control/MinMaxColumns.h"

#include <algorithm>
#include <cmath>

namespace {

// The first sample at or after time t, clamped to [0, count].
qsizetype firstSampleFrom(double t, qsizetype count, double first, double increment) {
    const double index = std::ceil((t - first) / increment);
    if (!(index > 0)) return 0; // also NaN
    if (index >= static_cast<double>(count)) return count;
    return static_cast<qsizetype>(index);
}

// Calls take(column, begin, end) for every column holding samples. Column c starts at the sample
// where column c - 1 ended, so no sample is counted twice or skipped.
template <typename Take>
void forEachColumn(qsizetype count, double first, double increment, double windowStart, double windowEnd,
                   int columns, Take&& take) {
    if (columns <= 0 || count <= 0 || !(increment > 0) || !(windowEnd > windowStart)) return;
    const double width = (windowEnd - windowStart) / columns;
    qsizetype begin = firstSampleFrom(windowStart, count, first, increment);
    for (int c = 0; c < columns && begin < count; ++c) {
        const qsizetype end = c + 1 == columns
                                  ? firstSampleFrom(windowEnd, count, first, increment)
                                  : firstSampleFrom(windowStart + (c + 1) * width, count, first, increment);
        if (end > begin) take(c, begin, end);
        begin = std::max(begin, end);
    }
}

} // namespace

SampleRange SamplesInWindow(qsizetype count, double first, double increment, double windowStart,
                            double windowEnd) {
    if (count <= 0 || !(increment > 0) || !(windowEnd > windowStart)) return {};
    return {firstSampleFrom(windowStart, count, first, increment),
            firstSampleFrom(windowEnd, count, first, increment)};
}

QVector<ColumnSpan> MinMaxColumns(const double* values, qsizetype count, double first, double increment,
                                  double windowStart, double windowEnd, int columns) {
    QVector<ColumnSpan> spans(std::max(columns, 0));
    forEachColumn(count, first, increment, windowStart, windowEnd, columns,
                  [&](int c, qsizetype begin, qsizetype end) {
                      const auto [low, high] = std::minmax_element(values + begin, values + end);
                      spans[c] = {*low, *high, false};
                  });
    return spans;
}

QVector<BitColumn> BitColumns(const quint16* words, qsizetype count, double first, double increment,
                              double windowStart, double windowEnd, int columns) {
    QVector<BitColumn> bits(std::max(columns, 0));
    forEachColumn(count, first, increment, windowStart, windowEnd, columns,
                  [&](int c, qsizetype begin, qsizetype end) {
                      quint16 anyHigh = 0;
                      quint16 allHigh = 0xffff;
                      for (qsizetype i = begin; i < end; ++i) {
                          anyHigh |= words[i];
                          allHigh &= words[i];
                      }
                      bits[c] = {anyHigh, allHigh, false};
                  });
    return bits;
}
