#pragma once

#include "base/PropertyBag.h"

#include <QList>
#include <QPair>

// A property store in memory that keeps its keys in write order. `origin` names where its content
// came from (a document path) in the errors it raises.
class MemoryPropertyBag : public PropertyBag {
public:
    explicit MemoryPropertyBag(QString origin = QStringLiteral("property store"));

    QVariant read(const QString& name, const QVariant& defaultValue) override;
    void write(const QString& name, const QVariant& value, const QVariant& defaultValue) override;

    bool contains(const QString& name) const;
    QVariant value(const QString& name) const;
    QStringList keys() const;
    qsizetype size() const { return m_entries.size(); }
    void clear() { m_entries.clear(); }
    // Stores a value as it is, without the default rule (loading a document).
    void set(const QString& name, const QVariant& value);
    const QString& origin() const { return m_origin; }

private:
    qsizetype indexOf(const QString& name) const;

    QString m_origin;
    QList<QPair<QString, QVariant>> m_entries;
};
