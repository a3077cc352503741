#include "sim/ScreenImage.h"

#include "sim/Acquisition.h"

#include <QBuffer>
#include <QPainter>
#include <algorithm>

namespace tavrelsim {
namespace {

constexpr int LaneHeight = 12; // a logic input's lane, stacked up from the bottom edge

double codeToY(double code) {
    return (65535.0 - code) * (ScreenImage::Height - 1) / 65535.0;
}

// The samples falling into pixel column x: [first, last).
std::pair<qsizetype, qsizetype> columnRange(qsizetype n, int x) {
    return {n * x / ScreenImage::Width,
            std::max(n * (x + 1) / ScreenImage::Width, n * x / ScreenImage::Width + 1)};
}

void drawGraticule(QPainter& p) {
    p.setPen(QColor(64, 64, 64));
    for (int d = 1; d < 10; ++d)
        p.drawLine(d * ScreenImage::Width / 10, 0, d * ScreenImage::Width / 10, ScreenImage::Height - 1);
    for (int d = 1; d < 8; ++d)
        p.drawLine(0, d * ScreenImage::Height / 8, ScreenImage::Width - 1, d * ScreenImage::Height / 8);
    p.setPen(QColor(128, 128, 128));
    p.drawRect(0, 0, ScreenImage::Width - 1, ScreenImage::Height - 1);
    p.drawLine(ScreenImage::Width / 2, 0, ScreenImage::Width / 2, ScreenImage::Height - 1);
    p.drawLine(0, ScreenImage::Height / 2, ScreenImage::Width - 1, ScreenImage::Height / 2);
}

// Each pixel column shows the span of the samples it covers, joined to the column before.
void drawAnalog(QPainter& p, const WaveformRecord& r, QRgb colour) {
    if (r.isEmpty()) return;
    p.setPen(QColor(colour));
    const quint16* s = r.samples->data();
    const qsizetype n = r.size();
    if (n < ScreenImage::Width) {
        QPolygonF line;
        for (qsizetype i = 0; i < n; ++i)
            line << QPointF(double(i) * (ScreenImage::Width - 1) / double(std::max<qsizetype>(n - 1, 1)),
                            codeToY(s[i]));
        p.drawPolyline(line);
        return;
    }
    quint16 previous = s[0];
    for (int x = 0; x < ScreenImage::Width; ++x) {
        const auto [first, last] = columnRange(n, x);
        const auto [lo, hi] = std::minmax_element(s + first, s + last);
        const quint16 low = std::min(*lo, previous), high = std::max(*hi, previous);
        p.drawLine(QPointF(x, codeToY(high)), QPointF(x, codeToY(low)));
        previous = s[last - 1];
    }
}

void drawPod(QPainter& p, const WaveformRecord& logic, int firstBit) {
    if (logic.isEmpty()) return;
    p.setPen(QColor(ScreenImage::podColour()));
    const quint16* s = logic.samples->data();
    const qsizetype n = logic.size();
    for (int x = 0; x < ScreenImage::Width; ++x) {
        const auto [first, last] = columnRange(n, x);
        quint16 any = 0, all = 0xFFFF;
        for (qsizetype i = first; i < last; ++i) {
            any |= s[i];
            all &= s[i];
        }
        for (int bit = firstBit; bit < firstBit + 8; ++bit) {
            const int bottom = ScreenImage::Height - 2 - bit * LaneHeight, top = bottom - LaneHeight + 4;
            const bool high = all & (1 << bit), low = !(any & (1 << bit));
            if (high || low)
                p.drawPoint(x, high ? top : bottom);
            else
                p.drawLine(x, top, x, bottom); // it changed within the column
        }
    }
}

} // namespace

QRgb ScreenImage::channelColour(int channel) {
    constexpr QRgb colours[] = {qRgb(255, 255, 0), qRgb(0, 255, 0), qRgb(51, 153, 255), qRgb(255, 51, 153)};
    return colours[channel];
}

QRgb ScreenImage::traceColour(int memory) {
    constexpr QRgb colours[] = {qRgb(255, 128, 0), qRgb(192, 192, 255), qRgb(128, 255, 255),
                                qRgb(255, 255, 255)};
    return colours[memory];
}

QRgb ScreenImage::podColour() {
    return qRgb(64, 224, 208);
}

QImage ScreenImage::render(const ScopeState& state, Acquisition* acquisition,
                           const std::array<WaveformRecord, ScopeState::TraceCount>& traces) {
    QImage image(Width, Height, QImage::Format_RGB32);
    image.fill(Qt::black);
    QPainter p(&image);
    drawGraticule(p);
    for (int m = 0; m < ScopeState::TraceCount; ++m) {
        if (state.traceDisplay[size_t(m)]) drawAnalog(p, traces[size_t(m)], traceColour(m));
    }
    if (acquisition) {
        for (int pod = 0; pod < ScopeState::PodCount; ++pod) {
            if (state.pods[size_t(pod)].display) drawPod(p, acquisition->record(ScopeSource::Logic), 8 * pod);
        }
        for (int c = 0; c < ScopeState::ChannelCount; ++c) {
            if (state.channels[size_t(c)].display)
                drawAnalog(p, acquisition->record(ScopeSource::Channel1 + c), channelColour(c));
        }
    }
    p.end();
    return image;
}

QByteArray ScreenImage::encode(const QImage& image, const char* format) {
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, format);
    return bytes;
}

} // namespace tavrelsim
