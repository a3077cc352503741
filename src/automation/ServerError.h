#pragma once

#include "base/TavrelError.h"

#include <QString>

namespace BrumelTB {

// An operation the automation server refused: the instrument reported an error, answered what the
// server cannot use, or no connection is open. To a host it is the component's refusal
// (ErrorNumber::ServerRefused) with the message as its description. I/O failures arrive as the I/O
// library's IOError, the component's connection error.
class ServerError : public TavrelError {
public:
    explicit ServerError(const QString& message);
    const QString& message() const { return description(); }
};

} // namespace BrumelTB
