#pragma once

#include <QString>
#include <functional>

namespace CorvaneIOUtilsLib {

// Where the library's notes go (a fallback it took, a library it could not load). The control routes
// them to its diagnostics; without a hook they are dropped. The hook may be called from any thread.
void SetTraceHook(std::function<void(const QString&)> hook);

// Internal: hands one note to the hook.
void Trace(const QString& message);

} // namespace CorvaneIOUtilsLib
