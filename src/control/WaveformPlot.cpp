#include "control/WaveformPlot.h"

#include "control/EngineeringText.h"
#include "control/MinMaxColumns.h"

#include <QPainter>
#include <QPainterPath>
#include <algorithm>
#include <cmath>

namespace {

constexpr int kLeft = 80;
constexpr int kRight = 20;
constexpr int kTop = 40;
constexpr int kBottom = 50;
constexpr int kXDivisions = 10;
constexpr int kYDivisions = 8;

struct Range {
    double low = 0;
    double high = 1;
};

Range rangeOf(const QList<PlotSeries>& series, bool time) {
    double low = std::numeric_limits<double>::infinity();
    double high = -low;
    for (const PlotSeries& s : series) {
        const QVector<double>& v = time ? s.time : s.values;
        if (v.isEmpty()) continue;
        const auto [mn, mx] = std::minmax_element(v.begin(), v.end());
        low = std::min(low, *mn);
        high = std::max(high, *mx);
    }
    if (!std::isfinite(low)) return {};
    if (high - low < 1e-15) {
        const double pad = std::max(std::fabs(low) * 0.1, 1e-3);
        return {low - pad, high + pad};
    }
    if (!time) {
        const double pad = (high - low) * 0.05;
        return {low - pad, high + pad};
    }
    return {low, high};
}

void drawSeries(QPainter& painter, const PlotSeries& s, const QRect& area, Range x, Range y) {
    const qsizetype n = std::min(s.time.size(), s.values.size());
    if (n == 0) return;
    const auto px = [&](double t) { return area.left() + (t - x.low) / (x.high - x.low) * area.width(); };
    const auto py = [&](double v) { return area.bottom() - (v - y.low) / (y.high - y.low) * area.height(); };
    painter.setPen(QPen(s.colour, 1.2));
    QPainterPath path;
    if (n <= area.width() * 2 || !(s.time[n - 1] > s.time[0])) {
        path.moveTo(px(s.time[0]), py(s.values[0]));
        for (qsizetype i = 1; i < n; ++i)
            path.lineTo(px(s.time[i]), py(s.values[i]));
    } else {
        // The minimum and maximum of every pixel column, joined column to column. A record's samples
        // are evenly spaced; the last one is taken in by widening the window half a sample.
        const double increment = (s.time[n - 1] - s.time[0]) / static_cast<double>(n - 1);
        const QVector<ColumnSpan> spans = MinMaxColumns(s.values.constData(), n, s.time[0], increment, x.low,
                                                        x.high + increment / 2, area.width());
        bool first = true;
        for (int c = 0; c < spans.size(); ++c) {
            if (spans[c].empty) continue;
            const double column = area.left() + c;
            if (first)
                path.moveTo(column, py(spans[c].high));
            else
                path.lineTo(column, py(spans[c].high));
            path.lineTo(column, py(spans[c].low));
            first = false;
        }
    }
    painter.drawPath(path);
}

} // namespace

QColor ChannelColour(int channel) {
    static const QColor colours[] = {QColor(230, 190, 0), QColor(0, 170, 60), QColor(40, 110, 230),
                                     QColor(210, 40, 120)};
    return colours[std::clamp(channel, 1, 4) - 1];
}

QImage RenderWaveformPlot(const QList<PlotSeries>& series, const QString& title, QSize size) {
    QImage image(size, QImage::Format_RGB32);
    image.fill(Qt::white);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRect area(kLeft, kTop, size.width() - kLeft - kRight, size.height() - kTop - kBottom);
    const Range x = rangeOf(series, true);
    const Range y = rangeOf(series, false);

    painter.setPen(QPen(QColor(225, 225, 225), 1));
    for (int i = 0; i <= kXDivisions; ++i) {
        const int gx = area.left() + area.width() * i / kXDivisions;
        painter.drawLine(gx, area.top(), gx, area.bottom());
    }
    for (int i = 0; i <= kYDivisions; ++i) {
        const int gy = area.top() + area.height() * i / kYDivisions;
        painter.drawLine(area.left(), gy, area.right(), gy);
    }
    painter.setPen(QPen(Qt::black, 1));
    painter.drawRect(area);
    QFont font = painter.font();
    font.setPixelSize(12);
    painter.setFont(font);
    for (int i = 0; i <= kXDivisions; i += 2) {
        const double t = x.low + (x.high - x.low) * i / kXDivisions;
        const int gx = area.left() + area.width() * i / kXDivisions;
        painter.drawText(QRect(gx - 50, area.bottom() + 4, 100, 16), Qt::AlignHCenter,
                         EngineeringText(t, QStringLiteral("s")));
    }
    for (int i = 0; i <= kYDivisions; i += 2) {
        const double v = y.low + (y.high - y.low) * i / kYDivisions;
        const int gy = area.bottom() - area.height() * i / kYDivisions;
        painter.drawText(QRect(0, gy - 8, kLeft - 6, 16), Qt::AlignRight | Qt::AlignVCenter,
                         EngineeringText(v, QStringLiteral("V")));
    }
    painter.drawText(QRect(area.left(), area.bottom() + 24, area.width(), 16), Qt::AlignHCenter,
                     QStringLiteral("time"));
    font.setPixelSize(15);
    painter.setFont(font);
    painter.drawText(QRect(area.left(), 8, area.width(), 22), Qt::AlignLeft | Qt::AlignVCenter, title);

    painter.setClipRect(area);
    for (const PlotSeries& s : series)
        drawSeries(painter, s, area, x, y);
    painter.setClipping(false);

    font.setPixelSize(12);
    painter.setFont(font);
    int legendX = area.right() - 110 * static_cast<int>(series.size());
    for (const PlotSeries& s : series) {
        painter.fillRect(QRect(legendX, 14, 14, 10), s.colour);
        painter.setPen(Qt::black);
        painter.drawText(QRect(legendX + 18, 8, 90, 22), Qt::AlignLeft | Qt::AlignVCenter, s.name);
        legendX += 110;
    }
    return image;
}
