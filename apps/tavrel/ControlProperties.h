#pragma once

#include <QJsonObject>
#include <QString>
#include <QStringList>

class TavrelScope;

// The control's properties as the tool shows and sets them by name.
namespace ControlProperties {

QStringList SettableNames();
// Assigns one property through the control's own let; the text is converted to its type first.
void Set(TavrelScope& control, const QString& name, const QString& value);
// The control's properties, with its I/O configuration under "IOConfiguration".
QJsonObject ToJson(TavrelScope& control);
// The same, readably, one "name: value" line each.
QStringList ToLines(TavrelScope& control);

} // namespace ControlProperties
