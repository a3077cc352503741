#include "base/MessageBoxSeam.h"

#include <mutex>

namespace {
std::mutex g_mutex;
MessageBoxHandler g_handler;
} // namespace

void SetMessageBoxHandler(MessageBoxHandler handler) {
    std::lock_guard lock(g_mutex);
    g_handler = std::move(handler);
}

bool HasMessageBoxHandler() {
    std::lock_guard lock(g_mutex);
    return static_cast<bool>(g_handler);
}

int ShowMessageBox(const MessageBoxRequest& request) {
    MessageBoxHandler handler;
    {
        std::lock_guard lock(g_mutex);
        handler = g_handler;
    }
    return handler ? handler(request) : kMessageBoxResultOK;
}
