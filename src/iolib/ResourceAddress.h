#pragma once

#include "iolib/SerialSettings.h"

#include <QString>

namespace CorvaneIOUtilsLib {

// A parsed instrument address:
//   "GPIB<board>::<primary>::INSTR"                 (board optional, "::INSTR" optional)
//   "COM<n>" or "COM<n>::Baud=..,Handshake=..,Parity=..,Size=..,Stop=.."
//   "TCPIP<n>::<host>::<port>::SOCKET"
// Prefixes and keywords are case-insensitive; blanks are ignored in COM addresses.
class ResourceAddress {
public:
    enum Kind { Gpib, Com, TcpSocket };

    // Throws IOError: BadAddress for text that is not an address, Unsupported for real address forms
    // that this library does not open (other TCPIP forms, USB, GPIB interfaces).
    static ResourceAddress parse(const QString& text);

    Kind kind = Gpib;
    int board = 0;         // GPIB board
    int primary = 0;       // GPIB primary address 0..30
    int comPort = 0;       // COM port number
    SerialSettings serial; // defaults overridden by the address's keywords
    QString host;          // TCPIP host
    quint16 tcpPort = 0;   // TCPIP port
    int lanBoard = 0;      // the n of TCPIP<n>

    // The resource name a session reports: "GPIB0::7::INSTR", "COM1", "TCPIP0::host::5025::SOCKET".
    QString resourceName() const;
    // The port the address lives on: "GPIB0", "COM1", "TCPIP0".
    QString portName() const;
};

} // namespace CorvaneIOUtilsLib
