#pragma once

#include "iolib/IOBackend.h"

#include <QStringList>
#include <functional>
#include <memory>
#include <vector>

namespace CorvaneIOUtilsLib {

// Named sets of backends that stand in for the computer's ports when TAVREL_IO says "NAME" or
// "NAME:ARGUMENT". A backend library outside this one (the simulated bench) adds its name when it
// is linked in, so this library never depends on it.
class IOBackendRegistry {
public:
    // Makes the backends for an argument (null when TAVREL_IO has no ':'); throws IOError when the
    // argument is refused.
    using Factory = std::function<std::vector<std::unique_ptr<IOBackend>>(const QString& argument)>;

    // Adds or replaces a name. Returns true, so that a static initializer can call it.
    static bool add(const QString& name, Factory factory);
    // The factory of a name, or an empty one.
    static Factory find(const QString& name);
    static QStringList names();
};

} // namespace CorvaneIOUtilsLib
