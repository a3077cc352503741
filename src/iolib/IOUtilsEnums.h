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

inline bool IsValidParity(int code) { return code >= RS232_Parity_None && code <= RS232_Parity_Space; }

} // namespace CorvaneIOUtilsLib
