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

QByteArray ToJson(TavrelScope& control) {
    MemoryPropertyBag bag(QStringLiteral("document"));
    control.WriteProperties(bag);
    return HostDocument::toJson(bag);
}

void FromJson(TavrelScope& control, const QByteArray& json, const QString& source) {
    MemoryPropertyBag bag = HostDocument::parse(json, source);
    control.ReadProperties(bag);
}

} // namespace ControlDocument
