#include "discovery/DiscoveryContext.h"

#include "base/CDebug.h"
#include "base/Localization.h"

CallerContext CallerContext::capture() {
    return {StringOffset(), ComponentDiagnostics()};
}

void CallerContext::apply() const {
    SetStringOffset(stringOffset);
    SetComponentDiagnostics(diagnostics);
}
