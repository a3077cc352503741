#pragma once

#include <QFont>
#include <QString>

// The font of the pages and dialogs from the control's FontName and FontSize (texts 102 and 103 of
// its language). "MS Sans Serif", the name every language gives, is the system's own sans-serif
// font here; a size of 0 or less keeps the system's size.
QFont PageFont(const QString& name, int pointSize);
