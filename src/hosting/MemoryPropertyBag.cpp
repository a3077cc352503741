#include "hosting/MemoryPropertyBag.h"

#include "base/Localization.h"
#include "base/TavrelError.h"

#include <limits>

namespace {

enum class Kind { Empty, Boolean, Integer, Text, Bytes, Other };

Kind kindOf(const QVariant& v) {
    if (!v.isValid()) return Kind::Empty;
    switch (v.metaType().id()) {
    case QMetaType::Bool:
        return Kind::Boolean;
    case QMetaType::Short:
    case QMetaType::UShort:
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::Long:
    case QMetaType::ULong:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
        return Kind::Integer;
    case QMetaType::QString:
        return Kind::Text;
    case QMetaType::QByteArray:
        return Kind::Bytes;
    default:
        return Kind::Other;
    }
}

QString kindName(Kind kind) {
    switch (kind) {
    case Kind::Empty:
        return QStringLiteral("empty");
    case Kind::Boolean:
        return QStringLiteral("a boolean");
    case Kind::Integer:
        return QStringLiteral("a number");
    case Kind::Text:
        return QStringLiteral("a text");
    case Kind::Bytes:
        return QStringLiteral("a byte array");
    case Kind::Other:
        break;
    }
    return QStringLiteral("an unsupported value");
}

} // namespace

bool PropertyValuesEqual(const QVariant& a, const QVariant& b) {
    const Kind ka = kindOf(a);
    const Kind kb = kindOf(b);
    if ((ka == Kind::Empty || ka == Kind::Bytes) && (kb == Kind::Empty || kb == Kind::Bytes))
        return a.toByteArray() == b.toByteArray() && (ka == kb || a.toByteArray().isEmpty());
    if (ka != kb) return false;
    if (ka == Kind::Integer) return a.toLongLong() == b.toLongLong();
    return a == b;
}

namespace {

// The range of the integer type the default has: a stored number outside it would be cut short.
bool fitsWidthOf(const QVariant& defaultValue, const QVariant& stored, QString& width) {
    bool ok = false;
    const qlonglong n = stored.toLongLong(&ok);
    const auto within = [&](auto type, const char* name) {
        using T = decltype(type);
        width = QString::fromLatin1(name);
        if (!ok) return false;
        if (n < 0)
            return std::numeric_limits<T>::is_signed &&
                   n >= static_cast<qlonglong>(std::numeric_limits<T>::min());
        return static_cast<qulonglong>(n) <= static_cast<qulonglong>(std::numeric_limits<T>::max());
    };
    switch (defaultValue.metaType().id()) {
    case QMetaType::Short:
        return within(qint16{}, "16-bit integer");
    case QMetaType::UShort:
        return within(quint16{}, "16-bit unsigned integer");
    case QMetaType::Int:
        return within(qint32{}, "32-bit integer");
    case QMetaType::UInt:
        return within(quint32{}, "32-bit unsigned integer");
    default:
        // 64-bit defaults: the document's reader already refuses what a 64-bit integer cannot hold.
        return ok || stored.metaType().id() == QMetaType::ULongLong;
    }
}

TavrelError refusedValue(const QString& origin, const QString& detail) {
    TavrelError error = InvalidPropertyValueError();
    error.withDetail(QStringLiteral("%1: %2").arg(origin, detail));
    return error;
}

} // namespace

MemoryPropertyBag::MemoryPropertyBag(QString origin) : m_origin(std::move(origin)) {}

QVariant MemoryPropertyBag::read(const QString& name, const QVariant& defaultValue) {
    const auto it = m_index.constFind(name);
    if (it == m_index.cend()) return defaultValue;
    const QVariant& stored = m_entries[*it].value;
    const Kind expected = kindOf(defaultValue);
    const Kind found = kindOf(stored);
    if (expected == Kind::Empty) return stored;
    if (expected != found)
        throw refusedValue(m_origin, QStringLiteral("the value of \"%1\" is %2 where %3 is expected.")
                                         .arg(name, kindName(found), kindName(expected)));
    QString width;
    if (expected == Kind::Integer && !fitsWidthOf(defaultValue, stored, width))
        throw refusedValue(m_origin, QStringLiteral("the value of \"%1\" (%2) does not fit a %3.")
                                         .arg(name, stored.toString(), width));
    return stored;
}

void MemoryPropertyBag::write(const QString& name, const QVariant& value, const QVariant& defaultValue) {
    if (PropertyValuesEqual(value, defaultValue))
        remove(name);
    else
        set(name, value);
}

QVariant MemoryPropertyBag::value(const QString& name) const {
    const auto it = m_index.constFind(name);
    return it == m_index.cend() ? QVariant() : m_entries[*it].value;
}

QStringList MemoryPropertyBag::keys() const {
    QStringList names;
    names.reserve(size());
    for (const Entry& entry : m_entries)
        if (!entry.removed) names.append(entry.name);
    return names;
}

void MemoryPropertyBag::clear() {
    m_entries.clear();
    m_index.clear();
}

void MemoryPropertyBag::set(const QString& name, const QVariant& value) {
    const auto it = m_index.constFind(name);
    if (it != m_index.cend()) {
        m_entries[*it].value = value;
        return;
    }
    m_index.insert(name, m_entries.size());
    m_entries.push_back({name, value});
}

bool MemoryPropertyBag::remove(const QString& name) {
    const auto it = m_index.find(name);
    if (it == m_index.end()) return false;
    m_entries[*it].removed = true;
    m_entries[*it].value = QVariant();
    m_index.erase(it);
    if (static_cast<qsizetype>(m_entries.size()) > 2 * m_index.size() + 16) {
        std::vector<Entry> kept;
        kept.reserve(m_index.size());
        for (Entry& entry : m_entries)
            if (!entry.removed) {
                m_index[entry.name] = kept.size();
                kept.push_back(std::move(entry));
            }
        m_entries = std::move(kept);
    }
    return true;
}
