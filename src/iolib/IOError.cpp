#include "iolib/IOError.h"

namespace CorvaneIOUtilsLib {

IOError::IOError(Kind kind, const QString& message)
    : std::runtime_error(message.toStdString()), m_kind(kind) {}

QString IOError::kindName(Kind kind) {
    switch (kind) {
    case NotFound:
        return QStringLiteral("NotFound");
    case Unsupported:
        return QStringLiteral("Unsupported");
    case Timeout:
        return QStringLiteral("Timeout");
    case Dropped:
        return QStringLiteral("Dropped");
    case Truncated:
        return QStringLiteral("Truncated");
    case Protocol:
        return QStringLiteral("Protocol");
    case Io:
        return QStringLiteral("Io");
    case TooLarge:
        return QStringLiteral("TooLarge");
    case BadAddress:
        return QStringLiteral("BadAddress");
    }
    return QStringLiteral("Unknown");
}

} // namespace CorvaneIOUtilsLib
