#include "control/ControlDocument.h"

#include "control/TavrelScope.h"
#include "hosting/HostDocument.h"

namespace ControlDocument {

void Load(TavrelScope& control, const QString& path) {
    MemoryPropertyBag bag = HostDocument::load(path);
    control.ReadProperties(bag);
}

void Save(TavrelScope& control, const QString& path) {
    // Write-properties into a fresh store, as a host does when it saves: the document holds
    // exactly what the control wrote, in the order it wrote it.
    MemoryPropertyBag bag(path);
    control.WriteProperties(bag);
    HostDocument::save(path, bag);
}

} // namespace ControlDocument
