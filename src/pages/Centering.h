#pragma once

#include <QString>

class QWidget;

// Keeps the component's message boxes and its property frame in the middle of the display, whatever
// the host's windows do. Failed checks are reported to the diagnostics under
// "BrumelCtrlLib::MsgBoxAutoCenter" and the helper goes on.

// A message box as hosts know them (buttons and icon in buttons, the result as the button's number),
// centered on the display of its parent, owner or the active window.
int MsgBoxCentered(const QString& prompt, int buttons = 0, const QString& title = {},
                   const QString& helpFile = {}, int helpContext = 0, QWidget* parent = nullptr);
// Moves the frame that holds a property page so that its center is at (centerX, centerY), keeping its
// size; a page without a frame stays where it is.
void CenterPropertyPage(QWidget* propertyPage, int centerX, int centerY);
