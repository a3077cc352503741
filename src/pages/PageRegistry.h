#pragma once

#include <QString>
#include <QStringList>
#include <functional>

class PropertyPage;
class QWidget;
class TavrelScope;

// The property pages by the names the control lists ("TavrelPPSrchIO", "TavrelPPSetup", ...). Each
// page's own file adds itself, so the frame and the screenshot gallery know every page linked in.
namespace PageRegistry {
using Factory = std::function<PropertyPage*(QWidget* parent)>;
// Returns true, so that a static initializer can call it.
bool add(const QString& name, Factory factory);
// A new page, or null for a name no page has.
PropertyPage* create(const QString& name, QWidget* parent = nullptr);
QStringList names();
} // namespace PageRegistry

// The dialogs, each in a state worth showing, for the screenshot gallery and the text-fit tests. The
// factory builds the dialog for the control without showing it.
namespace DialogGallery {
using Factory = std::function<QWidget*(TavrelScope& control, QWidget* parent)>;
bool add(const QString& name, Factory factory);
QWidget* create(const QString& name, TavrelScope& control, QWidget* parent = nullptr);
QStringList names();
} // namespace DialogGallery
