#pragma once

#include <QColor>
#include <QImage>
#include <QList>
#include <QString>
#include <QVector>

// One trace of a waveform plot: its samples' times (s) and values (V, or logic levels).
struct PlotSeries {
    QString name;
    QColor colour;
    QVector<double> time;
    QVector<double> values;
};

// A plot of waveforms: axes with labelled ticks, a grid, one colour per trace and a legend. Long
// traces are drawn as the minimum and maximum of each pixel column, so a million points cost no
// more than a thousand. Text needs a QGuiApplication (the offscreen platform will do).
QImage RenderWaveformPlot(const QList<PlotSeries>& series, const QString& title,
                          QSize size = QSize(1000, 600));

// The colour each analog channel has on the scope's screen and in plots (channel 1..4).
QColor ChannelColour(int channel);
