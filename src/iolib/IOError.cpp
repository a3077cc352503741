#include "iolib/IOError.h"

#include "base/Localization.h"

namespace CorvaneIOUtilsLib {

IOError::IOError(Kind kind, const QString& message)
    : TavrelError(ErrorNumber::ConnectionFailed, Localized(104), message, kComponentHelpFile), m_kind(kind) {
    setWhat(message);
}

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
