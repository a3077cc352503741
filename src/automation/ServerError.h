#pragma once

#include <QString>
#include <stdexcept>

namespace BrumelTB {

// An operation the automation server refused: the instrument reported an error, answered what the
// server cannot use, or no connection is open. I/O failures arrive as the I/O library's IOError.
class ServerError : public std::runtime_error {
public:
    explicit ServerError(const QString& message) : std::runtime_error(message.toStdString()) {}
    QString message() const { return QString::fromUtf8(what()); }
};

} // namespace BrumelTB
