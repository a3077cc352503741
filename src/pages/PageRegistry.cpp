#include "pages/PageRegistry.h"

#include <QMap>
#include <mutex>

namespace {

template <typename Factory> struct Registry {
    std::mutex mutex;
    QMap<QString, Factory> factories;

    bool add(const QString& name, Factory factory) {
        std::lock_guard lock(mutex);
        factories.insert(name, std::move(factory));
        return true;
    }
    Factory find(const QString& name) {
        std::lock_guard lock(mutex);
        return factories.value(name);
    }
    QStringList names() {
        std::lock_guard lock(mutex);
        return factories.keys();
    }
};

// Function-local, so that registering from another file's static initializer finds it built.
Registry<PageRegistry::Factory>& pages() {
    static Registry<PageRegistry::Factory> registry;
    return registry;
}

Registry<DialogGallery::Factory>& dialogs() {
    static Registry<DialogGallery::Factory> registry;
    return registry;
}

} // namespace

bool PageRegistry::add(const QString& name, Factory factory) {
    return pages().add(name, std::move(factory));
}

PropertyPage* PageRegistry::create(const QString& name, QWidget* parent) {
    const Factory factory = pages().find(name);
    return factory ? factory(parent) : nullptr;
}

QStringList PageRegistry::names() {
    return pages().names();
}

bool DialogGallery::add(const QString& name, Factory factory) {
    return dialogs().add(name, std::move(factory));
}

QWidget* DialogGallery::create(const QString& name, TavrelScope& control, QWidget* parent) {
    const Factory factory = dialogs().find(name);
    return factory ? factory(control, parent) : nullptr;
}

QStringList DialogGallery::names() {
    return dialogs().names();
}
