#pragma once

#include "ScopeFrame.h"

#include <QWidget>

// The scope's screen, drawn by us: a 10 x 8 division graticule, each channel at its own scale and
// offset, the logic pod's lines below, and two time cursors. A record longer than the screen is wide
// is drawn as the minimum and maximum of every pixel column, so a million points draw as fast as a
// thousand and a spike one sample wide stays visible. The wheel zooms the time axis about the
// pointer, dragging pans it, double-click shows the scope's own screen again; the cursors are dragged
// by their lines.
class ScopeDisplay : public QWidget {
    Q_OBJECT
public:
    explicit ScopeDisplay(QWidget* parent = nullptr);

    void setFrame(const ScopeFrame& frame);
    void setSettings(const ScopeSettings& settings);
    void setStatusText(const QString& text);
    // A message across the screen's middle (the instrument stopped answering); empty: none.
    void setBanner(const QString& text);
    const ScopeFrame& frame() const { return m_frame; }

    // Paints the whole screen into any painter: the widget's, or an image's.
    void paintScope(QPainter& painter, const QRect& rect) const;

    double windowStart() const { return m_windowStart; }
    double windowEnd() const { return m_windowEnd; }
    // Narrows (factor < 1) or widens the time window about a time; pans it by some seconds.
    void zoom(double factor, double about);
    void pan(double seconds);
    void showScopeScreen();

    double cursor(int index) const { return m_cursors[index]; }
    void placeCursor(int index, double time);

    QSize sizeHint() const override { return {820, 560}; }

signals:
    void cursorsChanged(double t1, double t2);
    void windowChanged(double start, double end);

protected:
    void paintEvent(QPaintEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;

private:
    QRect graticule(const QRect& rect) const;
    double timeAt(int x, const QRect& area) const;
    int xAt(double time, const QRect& area) const;
    void drawGraticule(QPainter& painter, const QRect& area) const;
    void drawTrace(QPainter& painter, const QRect& area, const ChannelTrace& trace) const;
    void drawLogic(QPainter& painter, const QRect& lanes) const;
    void drawMarkers(QPainter& painter, const QRect& area) const;
    void drawCursors(QPainter& painter, const QRect& area) const;
    void drawLabels(QPainter& painter, const QRect& rect, const QRect& area) const;
    void drawBanner(QPainter& painter, const QRect& area) const;
    void emitWindow();

    ScopeFrame m_frame;
    QString m_status;
    QString m_banner;
    double m_windowStart = -5e-3;
    double m_windowEnd = 5e-3;
    double m_cursors[2] = {-2e-3, 2e-3};
    bool m_cursorsPlaced = false;
    double m_shownScale = 0;
    double m_shownPosition = 0;
    int m_dragging = -1; // the cursor being dragged; 2 while panning
    int m_dragX = 0;
};
