#include "discovery/DiscoveryContext.h"

#include "control/CDebug.h"
#include "control/Localization.h"

CallerContext CallerContext::capture() {
    return {StringOffset(), ComponentDiagnostics()};
}

void CallerContext::apply() const {
    SetStringOffset(stringOffset);
    SetComponentDiagnostics(diagnostics);
}
