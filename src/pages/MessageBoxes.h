#pragma once

// Gives the component's message boxes a face: QMessageBox, centered on the display, always shown on
// the GUI thread (a report from a search worker waits for the user there). Call once, after the
// application object exists; InstallPropertyPages does.
void InstallMessageBoxes();
