#include "TavrelScopeDesignerPlugin.h"

#include "PropertyPagesTaskMenu.h"
#include "pages/ControlIcon.h"
#include "pages/PropertyFrame.h"
#include "pages/TavrelScopeWidget.h"

#include <QtDesigner/QDesignerFormEditorInterface>
#include <QtDesigner/QDesignerFormWindowCursorInterface>
#include <QtDesigner/QDesignerFormWindowInterface>
#include <QtDesigner/QExtensionManager>

TavrelScopeDesignerPlugin::TavrelScopeDesignerPlugin(QObject* parent) : QObject(parent) {}

QString TavrelScopeDesignerPlugin::name() const {
    return QStringLiteral("TavrelScopeWidget");
}

QString TavrelScopeDesignerPlugin::group() const {
    return QStringLiteral("Instruments");
}

QString TavrelScopeDesignerPlugin::toolTip() const {
    return QStringLiteral("Tavrel Scope Control");
}

QString TavrelScopeDesignerPlugin::whatsThis() const {
    return QStringLiteral("Finds a Tavrel-series oscilloscope, connects to it, keeps named setups and drives "
                          "the scope. Its configuration is kept in the form's \"document\" property.");
}

QString TavrelScopeDesignerPlugin::includeFile() const {
    return QStringLiteral("tavrel/Widgets.h");
}

QIcon TavrelScopeDesignerPlugin::icon() const {
    return ControlIcon();
}

QWidget* TavrelScopeDesignerPlugin::createWidget(QWidget* parent) {
    auto* widget = new TavrelScopeWidget(parent);
    // A form loader (QUiLoader) creates the control through this plugin too, without a designer: the
    // control is then at run time.
    if (!m_core) return widget;
    widget->setDesignMode(true);
    // A change made through the widget (a property of the control, the pages) reaches the form's
    // document property, so the form saves it and undo knows it.
    connect(widget, &TavrelScopeWidget::documentChanged, widget, [widget] {
        if (QDesignerFormWindowInterface* form = QDesignerFormWindowInterface::findFormWindow(widget))
            form->cursor()->setWidgetProperty(widget, QStringLiteral("document"), widget->document());
    });
    return widget;
}

void TavrelScopeDesignerPlugin::initialize(QDesignerFormEditorInterface* core) {
    if (m_initialized) return;
    InstallPropertyPages();
    m_core = core;
    if (core) {
        QExtensionManager* manager = core->extensionManager();
        manager->registerExtensions(new PropertyPagesTaskMenuFactory(manager),
                                    Q_TYPEID(QDesignerTaskMenuExtension));
    }
    m_initialized = true;
}

QString TavrelScopeDesignerPlugin::domXml() const {
    return QStringLiteral(R"(<ui language="c++">
 <widget class="TavrelScopeWidget" name="tavrelScope">
  <property name="geometry">
   <rect><x>0</x><y>0</y><width>240</width><height>48</height></rect>
  </property>
 </widget>
 <customwidgets>
  <customwidget>
   <class>TavrelScopeWidget</class>
   <extends>QWidget</extends>
   <header>tavrel/Widgets.h</header>
  </customwidget>
 </customwidgets>
</ui>
)");
}
