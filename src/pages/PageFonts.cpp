#include "pages/PageFonts.h"

#include <QApplication>

QFont PageFont(const QString& name, int pointSize) {
    QFont font = QApplication::font();
    if (!name.isEmpty() && name.compare(QStringLiteral("MS Sans Serif"), Qt::CaseInsensitive) != 0)
        font.setFamily(name); // a font this computer lacks falls back to the closest it has
    if (pointSize > 0) font.setPointSize(pointSize);
    return font;
}
