#pragma once

// Enumerations of our I/O utilities library (CorvaneIOUtilsLib). Like its serial settings, they
// start at 1 for "none".
namespace CorvaneIOUtilsLib {

enum RS232HandShake {
    RS232_HandShake_None = 1,
    RS232_HandShake_XON_XOFF = 2,
    RS232_HandShake_RTS_CTS = 3,
    RS232_HandShake_DTR_DSR = 4,
};

enum RS232Parity {
    RS232_Parity_None = 1,
    RS232_Parity_Odd = 2,
    RS232_Parity_Even = 3,
    RS232_Parity_Mark = 4,
    RS232_Parity_Space = 5,
};

// End-of-line handling of serial writes. A serial line has no END signal, so by default a write that
// does not already end in a line feed gets one, which completes a command written as "*IDN?" just as
// END does on GPIB. None sends the bytes exactly as given (a bare "\r\n", binary data).
enum RS232EndOut {
    RS232_EndOut_None = 0,
    RS232_EndOut_LineEnd = 1,
};

inline bool IsValidParity(int code) {
    return code >= RS232_Parity_None && code <= RS232_Parity_Space;
}
inline bool IsValidHandShake(int code) {
    return code >= RS232_HandShake_None && code <= RS232_HandShake_DTR_DSR;
}
inline bool IsValidEndOut(int code) {
    return code == RS232_EndOut_None || code == RS232_EndOut_LineEnd;
}

} // namespace CorvaneIOUtilsLib
