#pragma once

#include <QString>
#include <QVariant>

// The host document's property store. Values are booleans, integers, texts or byte arrays; an
// invalid QVariant is the empty value. A value equal to its default is not stored.
class PropertyBag {
public:
    virtual ~PropertyBag() = default;

    // The stored value, or the default when the key is absent. A stored value whose type does not
    // fit the default's type, or an integer outside the default's width, raises an error naming the
    // store and the key; an invalid default accepts any stored value.
    virtual QVariant read(const QString& name, const QVariant& defaultValue) = 0;
    virtual void write(const QString& name, const QVariant& value, const QVariant& defaultValue) = 0;
    // Where the stored values came from (a document's path), for errors that name it.
    virtual QString origin() const { return QStringLiteral("property store"); }
};

// Whether two property values are equal as stored values (integers compare by value whatever their
// width; an empty byte array equals the empty value).
bool PropertyValuesEqual(const QVariant& a, const QVariant& b);
