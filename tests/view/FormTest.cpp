// The control on a form: its configuration through a .ui file and QUiLoader, the designer plugin
// loaded as the designer loads it, and the widget's refusal of a bad document.

#include "control/ControlDocument.h"
#include "control/TavrelScope.h"
#include "pages/TavrelScopeWidget.h"

#include <QBuffer>
#include <QDir>
#include <QPluginLoader>
#include <QTemporaryDir>
#include <QUiLoader>
#include <QXmlStreamReader>
#include <QtUiPlugin/QDesignerCustomWidgetInterface>
#include <gtest/gtest.h>

namespace {

const QString kPluginDir = QStringLiteral(TAVREL_DESIGNER_PLUGIN_DIR);

// A form holding the control, as the designer saves it.
QByteArray formWith(const QString& document, bool showAtRunTime) {
    QByteArray ui;
    QXmlStreamWriter xml(&ui);
    xml.writeStartDocument();
    xml.writeStartElement("ui");
    xml.writeAttribute("version", "4.0");
    xml.writeTextElement("class", "Form");
    xml.writeStartElement("widget");
    xml.writeAttribute("class", "QWidget");
    xml.writeAttribute("name", "Form");
    xml.writeStartElement("widget");
    xml.writeAttribute("class", "TavrelScopeWidget");
    xml.writeAttribute("name", "scope");
    xml.writeStartElement("property");
    xml.writeAttribute("name", "document");
    xml.writeTextElement("string", document);
    xml.writeEndElement();
    xml.writeStartElement("property");
    xml.writeAttribute("name", "showAtRunTime");
    xml.writeTextElement("bool", showAtRunTime ? "true" : "false");
    xml.writeEndElement();
    xml.writeEndElement(); // scope
    xml.writeEndElement(); // Form
    xml.writeStartElement("customwidgets");
    xml.writeStartElement("customwidget");
    xml.writeTextElement("class", "TavrelScopeWidget");
    xml.writeTextElement("extends", "QWidget");
    xml.writeTextElement("header", "tavrel/Widgets.h");
    xml.writeEndElement();
    xml.writeEndElement();
    xml.writeEndElement(); // ui
    xml.writeEndDocument();
    return ui;
}

std::unique_ptr<QWidget> load(const QByteArray& ui) {
    QUiLoader loader;
    loader.clearPluginPaths();
    loader.addPluginPath(kPluginDir);
    QBuffer buffer;
    buffer.setData(ui);
    buffer.open(QIODevice::ReadOnly);
    return std::unique_ptr<QWidget>(loader.load(&buffer));
}

// A control configured the way a user leaves it in the pages: address, language, LAN list, a
// search criterion and a setup.
void configure(TavrelScope& control) {
    control.SetAddress(QStringLiteral("GPIB0::12::INSTR"));
    control.SetCountryCode(33);
    control.SetLANInstruments(QStringLiteral("TCPIP0::127.0.0.1::5025::SOCKET"));
    control.SetTXDelay(25);
    control.IOConfigurationControl().SetRS232BaudRate(1, 19200);
    control.Setups().Add(QStringLiteral("Bench_A")).SetComments(QStringLiteral("rise time, 10 ns"));
    control.Setups().Add(QStringLiteral("日本語の設定"));
}

struct Form : ::testing::Test {
    void SetUp() override { qputenv("TAVREL_IO", "sim"); }
};

} // namespace

TEST_F(Form, AConfiguredControlComesBackFromTheUiFileAsItWent) {
    TavrelScopeWidget designed;
    configure(designed.control());
    const QString document = designed.document();
    ASSERT_FALSE(document.isEmpty());

    const std::unique_ptr<QWidget> form = load(formWith(document, true));
    ASSERT_TRUE(form) << "QUiLoader did not build the form";
    auto* loaded = form->findChild<TavrelScopeWidget*>(QStringLiteral("scope"));
    ASSERT_TRUE(loaded) << "the plugin did not create the control";
    EXPECT_EQ(loaded->document(), document);
    EXPECT_TRUE(loaded->documentError().isEmpty()) << qPrintable(loaded->documentError());
    TavrelScope& control = loaded->control();
    EXPECT_EQ(control.Address(), QStringLiteral("GPIB0::12::INSTR"));
    EXPECT_EQ(control.CountryCode(), 33);
    EXPECT_EQ(control.TXDelay(), 25);
    EXPECT_EQ(control.IOConfigurationControl().SearchCriteriaBytes(),
              designed.control().IOConfigurationControl().SearchCriteriaBytes());
    ASSERT_EQ(control.Setups().Count(), 2);
    EXPECT_EQ(control.Setups().Item(1).Comments(), QStringLiteral("rise time, 10 ns"));
    EXPECT_EQ(control.Setups().Item(2).Name(), QStringLiteral("日本語の設定"));
}

TEST_F(Form, TheFormsPropertyAndAHostDocumentFileAreTheSameJson) {
    TavrelScopeWidget widget;
    configure(widget.control());
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("host.json"));
    ControlDocument::Save(widget.control(), path);
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QByteArray saved = file.readAll();
    EXPECT_EQ(saved, widget.document().toUtf8());
    // And a document pasted into the property is taken whole.
    TavrelScopeWidget pasted;
    pasted.setDocument(QString::fromUtf8(saved));
    EXPECT_EQ(pasted.document(), widget.document());
}

TEST_F(Form, ABadDocumentChangesNothingAndSaysWhy) {
    TavrelScopeWidget widget;
    configure(widget.control());
    const QString before = widget.document();
    const struct {
        const char* name;
        QString document;
    } bad[] = {
        {"not JSON", QStringLiteral("{\"Address\": ")},
        {"not an object", QStringLiteral("[1, 2]")},
        {"a refused language after a good address",
         QStringLiteral("{\"Address\": \"GPIB0::3::INSTR\", \"CountryCode\": 99999}")},
        {"a number for a text", QStringLiteral("{\"Address\": 5}")},
        {"a value of no property's type", QStringLiteral("{\"TXDelay\": [1]}")},
    };
    for (const auto& b : bad) {
        widget.setDocument(b.document);
        EXPECT_FALSE(widget.documentError().isEmpty()) << b.name;
        EXPECT_EQ(widget.document(), before) << b.name;
    }
    // The form itself still loads; the control keeps a new control's configuration.
    const std::unique_ptr<QWidget> form = load(formWith(QStringLiteral("{oops"), true));
    ASSERT_TRUE(form);
    auto* loaded = form->findChild<TavrelScopeWidget*>(QStringLiteral("scope"));
    ASSERT_TRUE(loaded);
    EXPECT_FALSE(loaded->documentError().isEmpty());
    EXPECT_EQ(loaded->document(), TavrelScopeWidget().document());
}

TEST_F(Form, AtRunTimeTheHostChoosesWhetherTheControlShows) {
    for (const bool show : {true, false}) {
        const std::unique_ptr<QWidget> form = load(formWith(QString(), show));
        ASSERT_TRUE(form);
        form->show();
        auto* loaded = form->findChild<TavrelScopeWidget*>(QStringLiteral("scope"));
        ASSERT_TRUE(loaded);
        EXPECT_EQ(loaded->showAtRunTime(), show);
        EXPECT_EQ(loaded->isVisible(), show);
        // A form designer shows it whatever the host chose.
        loaded->setDesignMode(true);
        EXPECT_TRUE(loaded->isVisible());
    }
}

TEST(DesignerPlugin, LoadsFromTheBuildTreeAndDescribesTheControl) {
    QPluginLoader loader(QDir(kPluginDir).filePath(QStringLiteral("libtavrel-designer.so")));
    ASSERT_TRUE(loader.load()) << qPrintable(loader.errorString());
    auto* plugin = qobject_cast<QDesignerCustomWidgetInterface*>(loader.instance());
    ASSERT_TRUE(plugin);
    EXPECT_EQ(plugin->name(), QStringLiteral("TavrelScopeWidget"));
    EXPECT_EQ(plugin->includeFile(), QStringLiteral("tavrel/Widgets.h"));
    EXPECT_FALSE(plugin->icon().isNull());
    EXPECT_FALSE(plugin->isContainer());

    std::unique_ptr<QWidget> widget(plugin->createWidget(nullptr));
    ASSERT_TRUE(qobject_cast<TavrelScopeWidget*>(widget.get()));

    // The DOM XML is well formed and names the same class as the plugin.
    QXmlStreamReader xml(plugin->domXml());
    QStringList classes;
    while (!xml.atEnd())
        if (xml.readNext() == QXmlStreamReader::StartElement && xml.name() == QLatin1String("widget"))
            classes.append(xml.attributes().value(QLatin1String("class")).toString());
    EXPECT_FALSE(xml.hasError()) << qPrintable(xml.errorString());
    EXPECT_EQ(classes, QStringList{plugin->name()});
}
