#pragma once

#include "iolib/IOSession.h"
#include "iolib/ResourceAddress.h"

#include <QList>
#include <QStringList>
#include <memory>

namespace CorvaneIOUtilsLib {

// One way of reaching instruments (a kind of bus, or the simulated bench), as the I/O manager uses
// it. list and open may be called from several threads at once.
class IOBackend {
public:
    virtual ~IOBackend() = default;

    // The address kinds this backend opens and lists.
    virtual QList<ResourceAddress::Kind> kinds() const = 0;
    // Resource strings of what is present. literalPrefix is the upper-case text a wanted entry must
    // begin with (may be empty); a backend uses it to skip probing ports that cannot match.
    virtual QStringList list(const QString& literalPrefix) = 0;
    virtual std::unique_ptr<IOSession> open(const ResourceAddress& address) = 0;

    // True when entries of a port named portName ("GPIB0", "COM3") can begin with literalPrefix.
    static bool couldMatch(const QString& literalPrefix, const QString& portName) {
        return portName.startsWith(literalPrefix) || literalPrefix.startsWith(portName);
    }
};

} // namespace CorvaneIOUtilsLib
