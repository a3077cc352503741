#include "iolib/IOTrace.h"

#include <mutex>

namespace CorvaneIOUtilsLib {

namespace {
std::mutex& hookMutex() {
    static std::mutex mutex;
    return mutex;
}
std::function<void(const QString&)>& hookSlot() {
    static std::function<void(const QString&)> hook;
    return hook;
}
} // namespace

void SetTraceHook(std::function<void(const QString&)> hook) {
    std::lock_guard lock(hookMutex());
    hookSlot() = std::move(hook);
}

void Trace(const QString& message) {
    std::function<void(const QString&)> hook;
    {
        std::lock_guard lock(hookMutex());
        hook = hookSlot();
    }
    // Called outside the lock so that a hook may itself set a new hook or trace.
    if (hook) hook(message);
}

} // namespace CorvaneIOUtilsLib
