#pragma once

// Tavrel Scope Control on a form (Tavrel::Pages): the control as a widget, its property pages and
// its message boxes. InstallPropertyPages, once the QApplication exists, gives ShowPropertyPages its
// face.
#include "pages/ControlIcon.h"
#include "pages/MessageBoxes.h"
#include "pages/PropertyFrame.h"
#include "pages/TavrelScopeWidget.h"
#include "tavrel/TavrelScope.h"
