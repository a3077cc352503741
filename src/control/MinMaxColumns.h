#pragma once

#include <QVector>
#include <QtGlobal>

// The lowest and highest sample that falls in one pixel column of a plot; empty when none does.
struct ColumnSpan {
    double low = 0;
    double high = 0;
    bool empty = true;
};

// Evenly spaced samples (sample i at first + i * increment) seen through the time window
// [windowStart, windowEnd) on `columns` pixel columns: the minimum and maximum of each column.
// Every sample inside the window lands in exactly one column, so a spike one sample wide is never
// lost, and a million samples cost one pass over them however narrow the plot is.
QVector<ColumnSpan> MinMaxColumns(const double* values, qsizetype count, double first, double increment,
                                  double windowStart, double windowEnd, int columns);

// The same for the logic pod's words: per column, the bits high in some sample and those high in every
// one. A bit in anyHigh but not in allHigh changed within the column.
struct BitColumn {
    quint16 anyHigh = 0;
    quint16 allHigh = 0;
    bool empty = true;
};
QVector<BitColumn> BitColumns(const quint16* words, qsizetype count, double first, double increment,
                              double windowStart, double windowEnd, int columns);

// The index range [begin, end) of the samples inside the window.
struct SampleRange {
    qsizetype begin = 0;
    qsizetype end = 0;
};
SampleRange SamplesInWindow(qsizetype count, double first, double increment, double windowStart,
                            double windowEnd);
