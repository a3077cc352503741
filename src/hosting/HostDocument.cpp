#include "hosting/HostDocument.h"

#include "base/Localization.h"
#include "base/TavrelError.h"
#include "hosting/FileReplacement.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <cmath>
#include <limits>
#include <optional>

namespace {

// Host documents are small; a larger file is not one of ours, and none larger is ever written.
constexpr qint64 kMaximumDocumentSize = 64 * 1024 * 1024;

// The component's invalid-value error; the file and the reason go on the detail line.
[[noreturn]] void refuse(const QString& path, const QString& why) {
    TavrelError error = InvalidPropertyValueError();
    error.withDetail(QStringLiteral("Host document \"%1\": %2").arg(path, why));
    throw error;
}

QVariant fromJson(const QString& path, const QString& key, const QJsonValue& value) {
    switch (value.type()) {
    case QJsonValue::Bool:
        return value.toBool();
    case QJsonValue::Double: {
        const double d = value.toDouble();
        if (std::trunc(d) != d)
            refuse(path, QStringLiteral("the value of \"%1\" is not an integer.").arg(key));
        // From 2^53 on a JSON number no longer holds every integer exactly.
        if (std::fabs(d) >= 9007199254740992.0)
            refuse(path, QStringLiteral("the value of \"%1\" is out of range.").arg(key));
        const qint64 n = static_cast<qint64>(d);
        if (n >= std::numeric_limits<qint32>::min() && n <= std::numeric_limits<qint32>::max())
            return static_cast<qint32>(n);
        return n;
    }
    case QJsonValue::String:
        return value.toString();
    case QJsonValue::Object: {
        const QJsonObject object = value.toObject();
        if (object.size() == 1 && object.value(QStringLiteral("base64")).isString()) {
            const QByteArray text = object.value(QStringLiteral("base64")).toString().toLatin1();
            const auto decoded =
                QByteArray::fromBase64Encoding(text, QByteArray::AbortOnBase64DecodingErrors);
            if (decoded) return *decoded;
            refuse(path, QStringLiteral("the value of \"%1\" is not valid base64.").arg(key));
        }
        break;
    }
    default:
        break;
    }
    refuse(path, QStringLiteral("the value of \"%1\" is not a boolean, number, text or {\"base64\": ...} "
                                "byte array.")
                     .arg(key));
}

QJsonValue toJsonValue(const QVariant& value) {
    switch (value.metaType().id()) {
    case QMetaType::Bool:
        return value.toBool();
    case QMetaType::QString:
        return value.toString();
    case QMetaType::QByteArray:
        return QJsonObject{{QStringLiteral("base64"), QString::fromLatin1(value.toByteArray().toBase64())}};
    default:
        if (!value.isValid()) return QJsonObject{{QStringLiteral("base64"), QString()}};
        return static_cast<double>(value.toLongLong());
    }
}

// One JSON value in compact form, as QJsonDocument writes it inside an array.
QByteArray compact(const QJsonValue& value) {
    QByteArray text = QJsonDocument(QJsonArray{value}).toJson(QJsonDocument::Compact);
    return text.mid(1, text.size() - 2);
}

} // namespace

namespace HostDocument {

MemoryPropertyBag load(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        refuse(path, QStringLiteral("cannot be read (%1).").arg(file.errorString()));
    if (file.size() > kMaximumDocumentSize)
        refuse(path, QStringLiteral("is too large to be a host document."));
    return parse(file.readAll(), path);
}

MemoryPropertyBag parse(const QByteArray& content, const QString& source) {
    if (content.size() > kMaximumDocumentSize)
        refuse(source, QStringLiteral("is too large to be a host document."));
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(content, &error);
    if (error.error != QJsonParseError::NoError)
        refuse(source, QStringLiteral("is not valid JSON (%1 at offset %2).")
                           .arg(error.errorString())
                           .arg(error.offset));
    if (!document.isObject()) refuse(source, QStringLiteral("is not a JSON object of properties."));
    MemoryPropertyBag bag(source);
    const QJsonObject object = document.object();
    for (auto it = object.begin(); it != object.end(); ++it)
        bag.set(it.key(), fromJson(source, it.key(), it.value()));
    return bag;
}

} // namespace HostDocument

namespace {

// The document's text, or none as soon as it grows past sizeLimit.
std::optional<QByteArray> serialize(const MemoryPropertyBag& bag, qint64 sizeLimit) {
    // Written by hand because a JSON object of Qt sorts its keys; the document keeps write order.
    QByteArray out = "{";
    const QStringList keys = bag.keys();
    for (qsizetype i = 0; i < keys.size(); ++i) {
        out += i == 0 ? "\n  " : ",\n  ";
        out += compact(keys[i]) + ": " + compact(toJsonValue(bag.value(keys[i])));
        if (out.size() > sizeLimit) return std::nullopt;
    }
    out += keys.isEmpty() ? "}\n" : "\n}\n";
    if (out.size() > sizeLimit) return std::nullopt;
    return out;
}

} // namespace

namespace HostDocument {

QByteArray toJson(const MemoryPropertyBag& bag) {
    return *serialize(bag, std::numeric_limits<qint64>::max());
}

void save(const QString& path, const MemoryPropertyBag& bag) {
    // What load would refuse is never written: the user's previous document stays readable.
    const std::optional<QByteArray> text = serialize(bag, kMaximumDocumentSize);
    if (!text)
        refuse(path, QStringLiteral("was not saved: the document would be larger than the %1 bytes a host "
                                    "document may have; the previous document is unchanged.")
                         .arg(kMaximumDocumentSize));
    const QByteArray& content = *text;
    const QString failure = FileReplacement::Replace(path, content);
    if (!failure.isEmpty())
        refuse(path, QStringLiteral("was not saved (%1); the previous document is unchanged.").arg(failure));
}

} // namespace HostDocument
