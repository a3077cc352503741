#pragma once

#include <QStringList>
#include <functional>

class QObject;

// Property pages are shown through this seam: the GUI layer installs a handler that shows the
// listed pages of a control opened at the preselected position (-1: the first page). Headless,
// nothing is shown.
using PropertyPagesHandler =
    std::function<void(QObject* control, const QStringList& pages, int preselectedPage)>;

void SetPropertyPagesHandler(PropertyPagesHandler handler);
void ShowPropertyPagesThroughSeam(QObject* control, const QStringList& pages, int preselectedPage);
