#pragma once

#include <QObject>
#include <QtUiPlugin/QDesignerCustomWidgetInterface>

// Puts TavrelScopeWidget in the form designer's widget box, and gives it the "Property Pages…"
// entry of the task menu.
class TavrelScopeDesignerPlugin : public QObject, public QDesignerCustomWidgetInterface {
    Q_OBJECT
    Q_PLUGIN_METADATA(IID "org.qt-project.Qt.QDesignerCustomWidgetInterface")
    Q_INTERFACES(QDesignerCustomWidgetInterface)
public:
    explicit TavrelScopeDesignerPlugin(QObject* parent = nullptr);

    QString name() const override;
    QString group() const override;
    QString toolTip() const override;
    QString whatsThis() const override;
    QString includeFile() const override;
    QIcon icon() const override;
    bool isContainer() const override { return false; }
    QWidget* createWidget(QWidget* parent) override;
    bool isInitialized() const override { return m_initialized; }
    void initialize(QDesignerFormEditorInterface* core) override;
    QString domXml() const override;

private:
    bool m_initialized = false;
    QDesignerFormEditorInterface* m_core = nullptr;
};
