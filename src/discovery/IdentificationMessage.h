#pragma once

#include "base/TavrelError.h"

#include <QString>

// The texts of the instrument test, in the calling thread's language. Lines end with "\r\n"
// because hosts show these texts in message boxes as they are.

// text, two line breaks, "At address:", two line breaks, four blanks and the address: all of it for a
// GPIB address, only the port part (before the first "::") for anything else.
QString AppendAddressAt(const QString& text, const QString& address, bool isGPIB);

// The XON/XOFF caution shown under a successful test of a COM port: the long English layout, or the
// three paragraphs that every other language has.
QString HandshakeCaution();

// The test's message for a result code. Codes 1 and 2 have messages although no query produces them;
// any code outside 0..5 reports the assertion and throws IdentificationQueryError.
QString IdentificationMessage(qint16 code, const QString& address, const QString& reply, bool isGPIB,
                              bool handshakeCaution);

// The invalid-value error for a result code that should not happen: text 110 (GPIB) or 109 (RS-232)
// with the address block appended.
TavrelError IdentificationQueryError(const QString& address, bool isGPIB);
