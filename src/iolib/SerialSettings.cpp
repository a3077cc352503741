#include "iolib/SerialSettings.h"

#include "iolib/IOError.h"

namespace CorvaneIOUtilsLib {

void SerialSettings::validate(const QString& resource) const {
    auto refuse = [&](const QString& what) {
        throw IOError(IOError::Unsupported, resource + QStringLiteral(": ") + what);
    };
    if (baudRate <= 0) refuse(QStringLiteral("baud rate %1 is not supported").arg(baudRate));
    if (!IsValidParity(parity))
        refuse(QStringLiteral("parity code %1 is not supported (1 none .. 5 space)").arg(parity));
    if (dataBits < 5 || dataBits > 8)
        refuse(QStringLiteral("%1 data bits are not supported (5..8)").arg(dataBits));
    if (stopBits != 1 && stopBits != 2)
        refuse(QStringLiteral("%1 stop bits are not supported (1 or 2)").arg(stopBits));
    if (!IsValidHandShake(handshake))
        refuse(QStringLiteral("handshake code %1 is not supported (1 none .. 4 DTR/DSR)").arg(handshake));
}

} // namespace CorvaneIOUtilsLib
