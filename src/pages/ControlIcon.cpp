#include "pages/ControlIcon.h"

#include <QPainter>
#include <QPainterPath>

QPixmap ControlIconPixmap(int size) {
    QPixmap pixmap(size, size);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    const double s = size;
    // The instrument's body, its screen, and a trace across the screen.
    painter.setPen(QPen(QColor(70, 70, 80), s / 24));
    painter.setBrush(QColor(200, 204, 212));
    painter.drawRoundedRect(QRectF(s * 0.04, s * 0.12, s * 0.92, s * 0.76), s * 0.08, s * 0.08);
    painter.setBrush(QColor(20, 30, 40));
    painter.setPen(Qt::NoPen);
    const QRectF screen(s * 0.12, s * 0.2, s * 0.56, s * 0.6);
    painter.drawRect(screen);
    QPainterPath trace;
    trace.moveTo(screen.left(), screen.center().y());
    for (int i = 1; i <= 4; ++i) {
        const double x = screen.left() + screen.width() * i / 4;
        const double y =
            (i % 2) ? screen.top() + screen.height() * 0.25 : screen.bottom() - screen.height() * 0.25;
        trace.lineTo(x - screen.width() / 8, y);
        trace.lineTo(x, screen.center().y());
    }
    painter.setPen(QPen(QColor(230, 190, 0), s / 20));
    painter.setBrush(Qt::NoBrush);
    painter.drawPath(trace);
    // Two knobs.
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(70, 70, 80));
    painter.drawEllipse(QPointF(s * 0.82, s * 0.36), s * 0.06, s * 0.06);
    painter.drawEllipse(QPointF(s * 0.82, s * 0.62), s * 0.06, s * 0.06);
    return pixmap;
}

QIcon ControlIcon() {
    QIcon icon;
    for (int size : {16, 22, 32, 48, 64})
        icon.addPixmap(ControlIconPixmap(size));
    return icon;
}
