#include "hosting/MemoryPropertyBag.h"

#include "base/Localization.h"
#include "base/TavrelError.h"

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

MemoryPropertyBag::MemoryPropertyBag(QString origin) : m_origin(std::move(origin)) {}

qsizetype MemoryPropertyBag::indexOf(const QString& name) const {
    for (qsizetype i = 0; i < m_entries.size(); ++i)
        if (m_entries[i].first == name) return i;
    return -1;
}

QVariant MemoryPropertyBag::read(const QString& name, const QVariant& defaultValue) {
    const qsizetype i = indexOf(name);
    if (i < 0) return defaultValue;
    const QVariant& stored = m_entries[i].second;
    const Kind expected = kindOf(defaultValue);
    const Kind found = kindOf(stored);
    if (expected == Kind::Empty || expected == found) return stored;
    throw TavrelError(ErrorNumber::InvalidPropertyValue, Localized(104),
                      QStringLiteral("%1: the value of \"%2\" is %3 where %4 is expected.")
                          .arg(m_origin, name, kindName(found), kindName(expected)),
                      kComponentHelpFile);
}

void MemoryPropertyBag::write(const QString& name, const QVariant& value, const QVariant& defaultValue) {
    const qsizetype i = indexOf(name);
    if (PropertyValuesEqual(value, defaultValue)) {
        if (i >= 0) m_entries.removeAt(i);
        return;
    }
    if (i >= 0)
        m_entries[i].second = value;
    else
        m_entries.append({name, value});
}

bool MemoryPropertyBag::contains(const QString& name) const {
    return indexOf(name) >= 0;
}

QVariant MemoryPropertyBag::value(const QString& name) const {
    const qsizetype i = indexOf(name);
    return i < 0 ? QVariant() : m_entries[i].second;
}

QStringList MemoryPropertyBag::keys() const {
    QStringList names;
    for (const auto& entry : m_entries)
        names.append(entry.first);
    return names;
}

void MemoryPropertyBag::set(const QString& name, const QVariant& value) {
    const qsizetype i = indexOf(name);
    if (i >= 0)
        m_entries[i].second = value;
    else
        m_entries.append({name, value});
}
