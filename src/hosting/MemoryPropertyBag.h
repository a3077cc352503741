#pragma once

#include "base/PropertyBag.h"

#include <QHash>
#include <QStringList>
#include <vector>

// A property store in memory that keeps its keys in write order. `origin` names where its content
// came from (a document path) in the errors it raises. Every key is found through a hash, so that
// loading a document takes time in proportion to its size.
class MemoryPropertyBag : public PropertyBag {
public:
    explicit MemoryPropertyBag(QString origin = QStringLiteral("property store"));

    QVariant read(const QString& name, const QVariant& defaultValue) override;
    void write(const QString& name, const QVariant& value, const QVariant& defaultValue) override;
    QString origin() const override { return m_origin; }

    bool contains(const QString& name) const { return m_index.contains(name); }
    QVariant value(const QString& name) const;
    QStringList keys() const;
    qsizetype size() const { return m_index.size(); }
    void clear();
    // Stores a value as it is, without the default rule (loading a document).
    void set(const QString& name, const QVariant& value);
    // Forgets a key; true when it was there.
    bool remove(const QString& name);

private:
    struct Entry {
        QString name;
        QVariant value;
        bool removed = false;
    };

    // Entries stay in write order; a removed one is only marked, and the list is compacted when
    // the marked ones are the larger part.
    std::vector<Entry> m_entries;
    QHash<QString, std::size_t> m_index;
    QString m_origin;
};
