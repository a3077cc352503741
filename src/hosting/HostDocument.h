#pragma once

#include "hosting/MemoryPropertyBag.h"

// The host document on disk: a UTF-8 JSON object that maps each key to its value, keys in write
// order. Booleans are JSON booleans, integers numbers, texts strings, and byte arrays objects
// {"base64": "..."}. Saving replaces the file atomically, so a failed save leaves the old document.
namespace HostDocument {

// Raises the invalid-value error, its detail naming the file (and the key, for a bad value), when
// the file cannot be read, is too large, is not valid JSON, or holds a value no property can have.
MemoryPropertyBag load(const QString& path);
// The same from a document's text (a form's property, a pasted document); source names it in errors.
MemoryPropertyBag parse(const QByteArray& content, const QString& source);
QByteArray toJson(const MemoryPropertyBag& bag);
// Raises the same error when the document would be larger than load accepts, or when any write,
// the sync or the rename fails; the previous document is then unchanged.
void save(const QString& path, const MemoryPropertyBag& bag);

} // namespace HostDocument
