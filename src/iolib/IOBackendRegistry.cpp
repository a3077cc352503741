#include "iolib/IOBackendRegistry.h"

#include <QMap>
#include <mutex>

namespace CorvaneIOUtilsLib {

namespace {

// Built on first use: registrations run from static initializers of other libraries.
struct Registry {
    std::mutex mutex;
    QMap<QString, IOBackendRegistry::Factory> factories;
};

Registry& registry() {
    static Registry instance;
    return instance;
}

} // namespace

bool IOBackendRegistry::add(const QString& name, Factory factory) {
    Registry& r = registry();
    std::lock_guard lock(r.mutex);
    r.factories.insert(name, std::move(factory));
    return true;
}

IOBackendRegistry::Factory IOBackendRegistry::find(const QString& name) {
    Registry& r = registry();
    std::lock_guard lock(r.mutex);
    return r.factories.value(name);
}

QStringList IOBackendRegistry::names() {
    Registry& r = registry();
    std::lock_guard lock(r.mutex);
    return r.factories.keys();
}

} // namespace CorvaneIOUtilsLib
