#pragma once

#include <QtGlobal>

// What an identification found at one address. The codes are shared by the instrument test, the
// search and the Search Instruments page, and stay 16-bit integers because hosts see them as such.
namespace IdentificationResult {
constexpr qint16 Supported = 0;         // a comma-separated reply; every model counts as supported
constexpr qint16 UnsupportedTavrel = 1; // kept with its message, though no query produces it
constexpr qint16 NotTavrel = 2;         // likewise
constexpr qint16 NotIEEE488 = 3;        // something answered, but without any comma
constexpr qint16 NotFound = 4;          // no reply, or the exchange failed
constexpr qint16 PortNotFound = 5;      // the session could not be opened
constexpr qint16 WrongAddressKind = 6;  // a COM address for the GPIB query or the other way round
} // namespace IdentificationResult
