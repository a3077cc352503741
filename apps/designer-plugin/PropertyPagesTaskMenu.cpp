#include "PropertyPagesTaskMenu.h"

#include "pages/TavrelScopeWidget.h"

#include <QAction>

PropertyPagesTaskMenu::PropertyPagesTaskMenu(TavrelScopeWidget* widget, QObject* parent)
    : QObject(parent), m_widget(widget), m_action(new QAction(QStringLiteral("Property Pages…"), this)) {
    // The widget tells the form about every change the pages make (see the plugin's createWidget).
    connect(m_action, &QAction::triggered, m_widget, &TavrelScopeWidget::showPropertyPages);
}

QAction* PropertyPagesTaskMenu::preferredEditAction() const {
    return m_action;
}

QList<QAction*> PropertyPagesTaskMenu::taskActions() const {
    return {m_action};
}

PropertyPagesTaskMenuFactory::PropertyPagesTaskMenuFactory(QExtensionManager* parent)
    : QExtensionFactory(parent) {}

QObject* PropertyPagesTaskMenuFactory::createExtension(QObject* object, const QString& iid,
                                                       QObject* parent) const {
    if (iid != Q_TYPEID(QDesignerTaskMenuExtension)) return nullptr;
    if (auto* widget = qobject_cast<TavrelScopeWidget*>(object))
        return new PropertyPagesTaskMenu(widget, parent);
    return nullptr;
}
