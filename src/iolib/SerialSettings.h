#pragma once

#include "iolib/IOUtilsEnums.h"

#include <QString>

namespace CorvaneIOUtilsLib {

// Framing and flow control of a serial port, in the library's codes (see IOUtilsEnums.h).
struct SerialSettings {
    int baudRate = 9600;
    int parity = RS232_Parity_None;
    int dataBits = 8;
    int stopBits = 1;
    int handshake = RS232_HandShake_XON_XOFF;

    bool operator==(const SerialSettings&) const = default;

    // Throws IOError(Unsupported) naming the first value that no serial port can take.
    void validate(const QString& resource) const;
};

} // namespace CorvaneIOUtilsLib
