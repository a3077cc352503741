#pragma once

#include <QByteArray>
#include <QString>

class TavrelScope;

// A control kept in a host document file: read-properties from it, write-properties into it.
namespace ControlDocument {

// Reads the control's saved state; raises the document's or the control's error.
void Load(TavrelScope& control, const QString& path);
// Writes the control's whole state as a new document, replacing the file atomically.
void Save(TavrelScope& control, const QString& path);
// The same document as text, for a host that keeps it elsewhere (a form designer's property).
QByteArray ToJson(TavrelScope& control);
void FromJson(TavrelScope& control, const QByteArray& json, const QString& source);

} // namespace ControlDocument
