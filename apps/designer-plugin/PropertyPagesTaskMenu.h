#pragma once

#include <QtDesigner/QDesignerTaskMenuExtension>
#include <QtDesigner/QExtensionFactory>

class QAction;
class TavrelScopeWidget;

// The task-menu entry "Property Pages…": the control's pages on the selected widget, at design time.
// What they apply is written back into the form.
class PropertyPagesTaskMenu : public QObject, public QDesignerTaskMenuExtension {
    Q_OBJECT
    Q_INTERFACES(QDesignerTaskMenuExtension)
public:
    PropertyPagesTaskMenu(TavrelScopeWidget* widget, QObject* parent);

    QAction* preferredEditAction() const override;
    QList<QAction*> taskActions() const override;

private:
    TavrelScopeWidget* m_widget;
    QAction* m_action;
};

class PropertyPagesTaskMenuFactory : public QExtensionFactory {
    Q_OBJECT
public:
    explicit PropertyPagesTaskMenuFactory(QExtensionManager* parent = nullptr);

protected:
    QObject* createExtension(QObject* object, const QString& iid, QObject* parent) const override;
};
