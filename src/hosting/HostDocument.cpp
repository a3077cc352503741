#include "hosting/HostDocument.h"

#include "base/Localization.h"
#include "base/TavrelError.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>
#include <cmath>

namespace {

// Host documents are small; a larger file is not one of ours.
constexpr qint64 kMaximumDocumentSize = 64 * 1024 * 1024;

[[noreturn]] void refuse(const QString& path, const QString& why) {
    throw TavrelError(ErrorNumber::InvalidPropertyValue, Localized(104),
                      QStringLiteral("Host document \"%1\": %2").arg(path, why), kComponentHelpFile);
}

QVariant fromJson(const QString& path, const QString& key, const QJsonValue& value) {
    switch (value.type()) {
    case QJsonValue::Bool:
        return value.toBool();
    case QJsonValue::Double: {
        const double d = value.toDouble();
        if (std::trunc(d) != d || std::fabs(d) > 9007199254740992.0)
            refuse(path, QStringLiteral("the value of \"%1\" is not an integer.").arg(key));
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
    const QByteArray content = file.readAll();
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(content, &error);
    if (error.error != QJsonParseError::NoError)
        refuse(path, QStringLiteral("is not valid JSON (%1 at offset %2).")
                         .arg(error.errorString())
                         .arg(error.offset));
    if (!document.isObject()) refuse(path, QStringLiteral("is not a JSON object of properties."));
    MemoryPropertyBag bag(path);
    const QJsonObject object = document.object();
    for (auto it = object.begin(); it != object.end(); ++it)
        bag.set(it.key(), fromJson(path, it.key(), it.value()));
    return bag;
}

QByteArray toJson(const MemoryPropertyBag& bag) {
    // Written by hand because a JSON object of Qt sorts its keys; the document keeps write order.
    QByteArray out = "{";
    const QStringList keys = bag.keys();
    for (qsizetype i = 0; i < keys.size(); ++i) {
        out += i == 0 ? "\n  " : ",\n  ";
        out += compact(keys[i]) + ": " + compact(toJsonValue(bag.value(keys[i])));
    }
    out += keys.isEmpty() ? "}\n" : "\n}\n";
    return out;
}

void save(const QString& path, const MemoryPropertyBag& bag) {
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        refuse(path, QStringLiteral("cannot be written (%1).").arg(file.errorString()));
    const QByteArray content = toJson(bag);
    if (file.write(content) != content.size() || !file.commit())
        refuse(path, QStringLiteral("could not be saved (%1); the previous document is unchanged.")
                         .arg(file.errorString()));
}

} // namespace HostDocument
