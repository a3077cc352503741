#pragma once

#include "base/Diagnostics.h"
#include "base/PropertyBag.h"
#include "base/TavrelError.h"

#include <optional>
#include <utility>

// Reads or writes an object's state one step at a time, each key or owned object a step. A failed
// step is reported and the steps after it still run, so the host gets everything that could be
// read; the first failure is raised once all have run, its detail naming the store and the key
// that was being read or written when it happened.
class PropertySteps {
public:
    PropertySteps(PropertyBag& bag, QString className, QString procedureName)
        : m_store(bag), m_className(std::move(className)), m_procedureName(std::move(procedureName)) {}

    PropertyBag& store() { return m_store; }

    template <typename Step> void operator()(Step&& step) {
        m_store.lastKey.clear();
        // The steps report their own failures, so the procedures they call do not.
        const ReportingFrame frame;
        try {
            std::forward<Step>(step)();
        } catch (TavrelError& error) {
            if (error.detail().isEmpty() && !m_store.lastKey.isEmpty())
                error.withDetail(QStringLiteral("%1: the value of \"%2\" is refused.")
                                     .arg(m_store.origin(), m_store.lastKey));
            ReportFailure(error, m_className, m_procedureName);
            if (!m_first) m_first = error;
        }
    }

    void finish() {
        if (m_first) throw *m_first;
    }

private:
    // Passes every call on and remembers the key of the last one.
    class KeyTrackingBag : public PropertyBag {
    public:
        explicit KeyTrackingBag(PropertyBag& bag) : m_bag(bag) {}
        QVariant read(const QString& name, const QVariant& defaultValue) override {
            lastKey = name;
            return m_bag.read(name, defaultValue);
        }
        void write(const QString& name, const QVariant& value, const QVariant& defaultValue) override {
            lastKey = name;
            m_bag.write(name, value, defaultValue);
        }
        QString origin() const override { return m_bag.origin(); }
        QString lastKey;

    private:
        PropertyBag& m_bag;
    };

    KeyTrackingBag m_store;
    QString m_className;
    QString m_procedureName;
    std::optional<TavrelError> m_first;
};
