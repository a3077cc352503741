#pragma once

#include <QStringList>
#include <functional>

// Property pages are shown through this seam: the GUI layer installs a handler that shows the
// listed pages opened at the preselected position (-1: the first page). Headless, nothing is shown.
using PropertyPagesHandler = std::function<void(const QStringList& pages, int preselectedPage)>;

void SetPropertyPagesHandler(PropertyPagesHandler handler);
void ShowPropertyPagesThroughSeam(const QStringList& pages, int preselectedPage);
