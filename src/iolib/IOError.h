#pragma once

#include "base/TavrelError.h"

#include <QString>

namespace CorvaneIOUtilsLib {

// Every failure of the I/O library: what went wrong, as a kind callers can act on, and a message
// that names the resource and says what was expected. To a host it is the component's connection
// error (ErrorNumber::ConnectionFailed) with that message as its description.
class IOError : public TavrelError {
public:
    enum Kind {
        NotFound,    // the port, board or host is not there
        Unsupported, // the address form, setting or request is not supported
        Timeout,     // nothing arrived (or could be sent) within the timeout
        Dropped,     // the connection went away
        Truncated,   // a reply stopped before its announced or required end
        Protocol,    // the reply does not have the expected form
        Io,          // the operating system or driver reported a failure
        TooLarge,    // the reply is larger than the read takes
        BadAddress,  // the address string cannot be parsed
    };

    IOError(Kind kind, const QString& message);

    Kind kind() const { return m_kind; }
    const QString& message() const { return description(); }
    static QString kindName(Kind kind);

private:
    Kind m_kind;
};

} // namespace CorvaneIOUtilsLib
