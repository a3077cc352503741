#include "control/PropertyPagesSeam.h"

#include <mutex>

namespace {
std::mutex g_mutex;
PropertyPagesHandler g_handler;
} // namespace

void SetPropertyPagesHandler(PropertyPagesHandler handler) {
    std::lock_guard lock(g_mutex);
    g_handler = std::move(handler);
}

void ShowPropertyPagesThroughSeam(QObject* control, const QStringList& pages, int preselectedPage) {
    PropertyPagesHandler handler;
    {
        std::lock_guard lock(g_mutex);
        handler = g_handler;
    }
    if (handler) handler(control, pages, preselectedPage);
}
