#pragma once

#include <QIcon>
#include <QPixmap>

// The component's icon, drawn rather than loaded so that it needs no resource file: a scope's
// screen with a trace. The form designer's widget box shows it too.
QPixmap ControlIconPixmap(int size);
QIcon ControlIcon();
