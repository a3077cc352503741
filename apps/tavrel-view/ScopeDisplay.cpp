#include "ScopeDisplay.h"

#include "control/EngineeringText.h"
#include "control/MinMaxColumns.h"
#include "control/WaveformPlot.h"

#include <QMouseEvent>
#include <QPainter>
#include <QPolygonF>
#include <QWheelEvent>
#include <algorithm>
#include <cmath>

namespace {

constexpr int kDivisionsX = 10;
constexpr int kDivisionsY = 8;
constexpr int kHeader = 24;
constexpr int kFooter = 26;
constexpr int kSide = 18;
constexpr int kLaneHeight = 12;
constexpr int kLanes = 8; // the first pod, D0..D7
constexpr int kCursorGrab = 6;
const QColor kBackground(12, 14, 18);
const QColor kGrid(70, 74, 82);
const QColor kText(220, 222, 226);
const QColor kLogic(0, 200, 220);
const QColor kCursor(240, 240, 240);

QString slopeText(Tavrel_TriggerSlope slope) {
    return slope == Tavrel_TriggerSlope_Negative ? QStringLiteral("↓") : QStringLiteral("↑");
}

QString sourceText(Tavrel_TriggerSource source) {
    if (source >= Tavrel_TriggerSource_Channel1 && source <= Tavrel_TriggerSource_Channel4)
        return QStringLiteral("CH%1").arg(int(source));
    if (source == Tavrel_TriggerSource_External) return QStringLiteral("EXT");
    if (source == Tavrel_TriggerSource_Line) return QStringLiteral("LINE");
    return QStringLiteral("D%1").arg(int(source) - int(Tavrel_TriggerSource_Logic_D0));
}

QString couplingText(Tavrel_ProbeCoupling coupling) {
    switch (coupling) {
    case Tavrel_ProbeCoupling_AC:
        return QStringLiteral("AC");
    case Tavrel_ProbeCoupling_GND:
        return QStringLiteral("GND");
    default:
        return QStringLiteral("DC");
    }
}

} // namespace

ScopeDisplay::ScopeDisplay(QWidget* parent) : QWidget(parent) {
    setAttribute(Qt::WA_OpaquePaintEvent);
    setMouseTracking(true);
    setMinimumSize(480, 320);
}

void ScopeDisplay::setSettings(const ScopeSettings& settings) {
    m_frame.settings = settings;
    // A new timebase on the scope shows its screen again; the view's own zoom is for the record.
    if (settings.timeScale != m_shownScale || settings.timePosition != m_shownPosition) {
        m_shownScale = settings.timeScale;
        m_shownPosition = settings.timePosition;
        showScopeScreen();
    }
    update();
}

void ScopeDisplay::setFrame(const ScopeFrame& frame) {
    m_frame = frame;
    setSettings(frame.settings);
    if (!m_cursorsPlaced) {
        const double scale = frame.settings.timeScale;
        placeCursor(0, frame.settings.timePosition - 2 * scale);
        placeCursor(1, frame.settings.timePosition + 2 * scale);
        m_cursorsPlaced = true;
    }
    update();
}

void ScopeDisplay::setStatusText(const QString& text) {
    m_status = text;
    update();
}

void ScopeDisplay::setBanner(const QString& text) {
    m_banner = text;
    update();
}

void ScopeDisplay::showScopeScreen() {
    const double half = kDivisionsX / 2.0 * m_frame.settings.timeScale;
    m_windowStart = m_frame.settings.timePosition - half;
    m_windowEnd = m_frame.settings.timePosition + half;
    emitWindow();
    update();
}

void ScopeDisplay::zoom(double factor, double about) {
    const double width = (m_windowEnd - m_windowStart) * factor;
    // No narrower than a few samples of the densest record, no wider than a thousand screens.
    const double narrowest = std::max(1e-15, m_frame.settings.timeScale * 1e-6);
    const double widest = m_frame.settings.timeScale * kDivisionsX * 1000;
    if (!(width >= narrowest && width <= widest)) return;
    const double share = (about - m_windowStart) / (m_windowEnd - m_windowStart);
    m_windowStart = about - share * width;
    m_windowEnd = m_windowStart + width;
    emitWindow();
    update();
}

void ScopeDisplay::pan(double seconds) {
    m_windowStart += seconds;
    m_windowEnd += seconds;
    emitWindow();
    update();
}

void ScopeDisplay::placeCursor(int index, double time) {
    m_cursors[std::clamp(index, 0, 1)] = time;
    emit cursorsChanged(m_cursors[0], m_cursors[1]);
    update();
}

void ScopeDisplay::emitWindow() {
    emit windowChanged(m_windowStart, m_windowEnd);
}

QRect ScopeDisplay::graticule(const QRect& rect) const {
    const int lanes = m_frame.settings.podOn ? kLanes * kLaneHeight + 6 : 0;
    QRect area = rect.adjusted(kSide, kHeader, -kSide, -kFooter - lanes);
    // Whole pixels per division keep the grid's lines sharp.
    const int dx = std::max(1, area.width() / kDivisionsX);
    const int dy = std::max(1, area.height() / kDivisionsY);
    return {area.left() + (area.width() - dx * kDivisionsX) / 2, area.top(), dx * kDivisionsX,
            dy * kDivisionsY};
}

double ScopeDisplay::timeAt(int x, const QRect& area) const {
    return m_windowStart + (m_windowEnd - m_windowStart) * (x - area.left()) / std::max(1, area.width());
}

int ScopeDisplay::xAt(double time, const QRect& area) const {
    return area.left() + static_cast<int>(std::lround((time - m_windowStart) / (m_windowEnd - m_windowStart) *
                                                      area.width()));
}

void ScopeDisplay::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    paintScope(painter, rect());
}

void ScopeDisplay::paintScope(QPainter& painter, const QRect& rect) const {
    painter.fillRect(rect, kBackground);
    const QRect area = graticule(rect);
    drawGraticule(painter, area);
    painter.save();
    painter.setClipRect(area.adjusted(0, 0, 1, 1));
    for (const ChannelTrace& trace : m_frame.traces)
        drawTrace(painter, area, trace);
    painter.restore();
    if (m_frame.settings.podOn)
        drawLogic(painter, QRect(area.left(), area.bottom() + 6, area.width(), kLanes * kLaneHeight));
    drawMarkers(painter, area);
    drawCursors(painter, area);
    drawLabels(painter, rect, area);
    if (!m_banner.isEmpty()) drawBanner(painter, area);
}

void ScopeDisplay::drawBanner(QPainter& painter, const QRect& area) const {
    QFont font = painter.font();
    font.setPixelSize(15);
    font.setBold(true);
    painter.setFont(font);
    const QRect box =
        area.adjusted(area.width() / 8, area.height() / 3, -area.width() / 8, -area.height() / 3);
    painter.fillRect(box, QColor(60, 20, 20, 230));
    painter.setPen(QColor(255, 120, 100));
    painter.drawRect(box);
    painter.setPen(kText);
    painter.drawText(box.adjusted(12, 8, -12, -8), Qt::AlignCenter | Qt::TextWordWrap, m_banner);
}

void ScopeDisplay::drawGraticule(QPainter& painter, const QRect& area) const {
    const int dx = area.width() / kDivisionsX;
    const int dy = area.height() / kDivisionsY;
    QPen dotted(kGrid, 1, Qt::DotLine);
    painter.setPen(dotted);
    for (int i = 1; i < kDivisionsX; ++i)
        painter.drawLine(area.left() + i * dx, area.top(), area.left() + i * dx, area.bottom());
    for (int i = 1; i < kDivisionsY; ++i)
        painter.drawLine(area.left(), area.top() + i * dy, area.right(), area.top() + i * dy);
    // The center axes carry minor ticks, five to a division, as on the scope's screen.
    painter.setPen(QPen(kGrid, 1));
    const QPoint center = area.center();
    for (int i = 0; i <= kDivisionsX * 5; ++i) {
        const int x = area.left() + i * dx / 5;
        painter.drawLine(x, center.y() - 3, x, center.y() + 3);
    }
    for (int i = 0; i <= kDivisionsY * 5; ++i) {
        const int y = area.top() + i * dy / 5;
        painter.drawLine(center.x() - 3, y, center.x() + 3, y);
    }
    painter.drawRect(area);
}

void ScopeDisplay::drawTrace(QPainter& painter, const QRect& area, const ChannelTrace& trace) const {
    const qsizetype n = trace.volts.size();
    if (n == 0 || trace.channel < 1 || trace.channel > 4) return;
    const ChannelSettings& settings = m_frame.settings.channels[trace.channel - 1];
    const double perDivision = area.height() / double(kDivisionsY);
    const double scale = settings.scale > 0 ? settings.scale : 1;
    const auto yAt = [&](double v) {
        const double y = area.center().y() - (v - settings.offset) / scale * perDivision;
        return std::clamp(y, double(area.top() - 2), double(area.bottom() + 2));
    };
    painter.setPen(QPen(ChannelColour(trace.channel), 1));
    const double span = m_windowEnd - m_windowStart;
    QPolygonF line;
    const SampleRange visible =
        n > 1 ? SamplesInWindow(n, trace.first, trace.increment, m_windowStart, m_windowEnd)
              : SampleRange{0, n};
    if (visible.end - visible.begin > 2 * area.width()) {
        const QVector<ColumnSpan> spans =
            MinMaxColumns(trace.volts.constData(), n, trace.first, trace.increment, m_windowStart,
                          m_windowEnd, area.width());
        line.reserve(2 * spans.size());
        for (int c = 0; c < spans.size(); ++c) {
            if (spans[c].empty) continue;
            const double x = area.left() + c + 0.5;
            line << QPointF(x, yAt(spans[c].high)) << QPointF(x, yAt(spans[c].low));
        }
    } else {
        // Few samples in the window: each one, with its neighbours outside so the line reaches the edge.
        const qsizetype begin = std::max<qsizetype>(0, visible.begin - 1);
        const qsizetype end = std::min(n, visible.end + 1);
        line.reserve(end - begin);
        for (qsizetype i = begin; i < end; ++i) {
            const double t = trace.first + i * trace.increment;
            line << QPointF(area.left() + (t - m_windowStart) / span * area.width(), yAt(trace.volts[i]));
        }
    }
    painter.drawPolyline(line);
}

void ScopeDisplay::drawLogic(QPainter& painter, const QRect& lanes) const {
    const LogicTrace& logic = m_frame.logic;
    painter.setPen(kText);
    QFont small = painter.font();
    small.setPixelSize(9);
    painter.setFont(small);
    for (int bit = 0; bit < kLanes; ++bit)
        painter.drawText(QRect(lanes.left() - kSide, lanes.top() + bit * kLaneHeight, kSide - 2, kLaneHeight),
                         Qt::AlignRight | Qt::AlignVCenter, QStringLiteral("D%1").arg(bit));
    if (logic.words.isEmpty() || !(logic.increment > 0)) return;
    const QVector<BitColumn> columns = BitColumns(logic.words.constData(), logic.words.size(), logic.first,
                                                  logic.increment, m_windowStart, m_windowEnd, lanes.width());
    painter.setPen(QPen(kLogic, 1));
    for (int bit = 0; bit < kLanes; ++bit) {
        const double high = lanes.top() + bit * kLaneHeight + 2;
        const double low = high + kLaneHeight - 4;
        const quint16 mask = quint16(1u << bit);
        QPolygonF line;
        for (int c = 0; c < columns.size(); ++c) {
            if (columns[c].empty) continue;
            const double x = lanes.left() + c + 0.5;
            if (columns[c].allHigh & mask)
                line << QPointF(x, high);
            else if (!(columns[c].anyHigh & mask))
                line << QPointF(x, low);
            else
                line << QPointF(x, low) << QPointF(x, high); // it changed within the column
        }
        painter.drawPolyline(line);
    }
}

void ScopeDisplay::drawMarkers(QPainter& painter, const QRect& area) const {
    const ScopeSettings& s = m_frame.settings;
    const double perDivision = area.height() / double(kDivisionsY);
    QFont font = painter.font();
    font.setPixelSize(11);
    font.setBold(true);
    painter.setFont(font);
    // Each displayed channel's ground level on the left edge.
    for (int i = 0; i < 4; ++i) {
        if (!s.channels[i].on || !(s.channels[i].scale > 0)) continue;
        const double y = area.center().y() + s.channels[i].offset / s.channels[i].scale * perDivision;
        const int yy = static_cast<int>(std::clamp(y, double(area.top()), double(area.bottom())));
        const QRect tag(area.left() - kSide, yy - 7, kSide - 2, 14);
        painter.fillRect(tag, ChannelColour(i + 1));
        painter.setPen(kBackground);
        painter.drawText(tag, Qt::AlignCenter, QString::number(i + 1));
    }
    // The trigger level on the right edge, for an analog source; the trigger's time on the top edge.
    if (s.triggerSource >= Tavrel_TriggerSource_Channel1 &&
        s.triggerSource <= Tavrel_TriggerSource_Channel4) {
        const ChannelSettings& c = s.channels[s.triggerSource - 1];
        if (c.scale > 0) {
            const double y = area.center().y() - (s.triggerLevel - c.offset) / c.scale * perDivision;
            const int yy = static_cast<int>(std::clamp(y, double(area.top()), double(area.bottom())));
            painter.setPen(ChannelColour(s.triggerSource));
            painter.drawText(QRect(area.right() + 2, yy - 7, kSide - 2, 14), Qt::AlignCenter,
                             QStringLiteral("T"));
        }
    }
    const int tx = xAt(0, area);
    if (tx >= area.left() && tx <= area.right()) {
        painter.setPen(QColor(255, 150, 0));
        painter.drawText(QRect(tx - 8, area.top() - 15, 16, 14), Qt::AlignCenter, QStringLiteral("▼"));
    }
}

void ScopeDisplay::drawCursors(QPainter& painter, const QRect& area) const {
    QFont font = painter.font();
    font.setPixelSize(10);
    font.setBold(false);
    painter.setFont(font);
    for (int i = 0; i < 2; ++i) {
        const int x = xAt(m_cursors[i], area);
        if (x < area.left() || x > area.right()) continue;
        painter.setPen(QPen(kCursor, 1, Qt::DashLine));
        painter.drawLine(x, area.top(), x, area.bottom());
        painter.setPen(kCursor);
        painter.drawText(QRect(x + 2, area.top() + 2, 20, 12), Qt::AlignLeft,
                         QStringLiteral("C%1").arg(i + 1));
    }
}

void ScopeDisplay::drawLabels(QPainter& painter, const QRect& rect, const QRect& area) const {
    const ScopeSettings& s = m_frame.settings;
    QFont font = painter.font();
    font.setPixelSize(12);
    font.setBold(false);
    painter.setFont(font);
    painter.setPen(kText);
    const double viewScale = (m_windowEnd - m_windowStart) / kDivisionsX;
    const QString header =
        QStringLiteral("%1/div   %2 %3   %4 %5 %6")
            .arg(EngineeringText(viewScale, QStringLiteral("s")), tr("center"),
                 EngineeringText((m_windowStart + m_windowEnd) / 2, QStringLiteral("s")), tr("trigger"),
                 sourceText(s.triggerSource) + u' ' + slopeText(s.triggerSlope),
                 EngineeringText(s.triggerLevel, QStringLiteral("V")));
    painter.drawText(QRect(area.left(), rect.top() + 4, area.width(), kHeader - 8),
                     Qt::AlignLeft | Qt::AlignVCenter, header);
    painter.drawText(QRect(area.left(), rect.top() + 4, area.width(), kHeader - 8),
                     Qt::AlignRight | Qt::AlignVCenter, m_status);
    // One box a channel along the bottom: its scale, offset and coupling.
    const int width = area.width() / 4;
    for (int i = 0; i < 4; ++i) {
        const QRect box(area.left() + i * width, rect.bottom() - kFooter + 5, width - 6, kFooter - 8);
        const ChannelSettings& c = s.channels[i];
        painter.setPen(c.on ? ChannelColour(i + 1) : kGrid);
        painter.drawRect(box);
        const QString text =
            QStringLiteral("%1  %2/div  %3  %4")
                .arg(i + 1)
                .arg(EngineeringText(c.scale, QStringLiteral("V")),
                     EngineeringText(c.offset, QStringLiteral("V")), couplingText(c.coupling));
        painter.drawText(box.adjusted(4, 0, -2, 0), Qt::AlignLeft | Qt::AlignVCenter,
                         painter.fontMetrics().elidedText(text, Qt::ElideRight, box.width() - 6));
    }
}

void ScopeDisplay::wheelEvent(QWheelEvent* event) {
    const QRect area = graticule(rect());
    const double notches = event->angleDelta().y() / 120.0;
    if (notches != 0) zoom(std::pow(0.8, notches), timeAt(int(event->position().x()), area));
    event->accept();
}

void ScopeDisplay::mousePressEvent(QMouseEvent* event) {
    const QRect area = graticule(rect());
    const int x = int(event->position().x());
    m_dragging = 2;
    for (int i = 0; i < 2; ++i)
        if (std::abs(xAt(m_cursors[i], area) - x) <= kCursorGrab) m_dragging = i;
    m_dragX = x;
}

void ScopeDisplay::mouseMoveEvent(QMouseEvent* event) {
    const QRect area = graticule(rect());
    const int x = int(event->position().x());
    if (m_dragging < 0) {
        bool near = false;
        for (double cursor : m_cursors)
            near = near || std::abs(xAt(cursor, area) - x) <= kCursorGrab;
        QWidget::setCursor(near ? Qt::SizeHorCursor : Qt::ArrowCursor);
        return;
    }
    if (m_dragging < 2)
        placeCursor(m_dragging, timeAt(x, area));
    else
        pan(-(timeAt(x, area) - timeAt(m_dragX, area)));
    m_dragX = x;
}

void ScopeDisplay::mouseReleaseEvent(QMouseEvent*) {
    m_dragging = -1;
}

void ScopeDisplay::mouseDoubleClickEvent(QMouseEvent*) {
    showScopeScreen();
}
