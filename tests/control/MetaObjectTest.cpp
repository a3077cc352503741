// Late-bound hosts reach the control's properties and methods through its meta-object alone.

#include "base/Localization.h"
#include "base/MessageBoxSeam.h"
#include "base/TavrelError.h"
#include "control/TavrelScope.h"
#include "support/Errors.h"

#include <QMetaMethod>
#include <QMetaProperty>
#include <QTemporaryDir>
#include <gtest/gtest.h>

namespace {

class MetaObjectTest : public ::testing::Test {
protected:
    MetaObjectTest() { SetComponentFolder(m_folder.path()); }
    ~MetaObjectTest() override {
        SetComponentFolder(QString());
        SetMessageBoxHandler(nullptr);
    }
    QTemporaryDir m_folder;
    TavrelScope m_control;
};

QMetaProperty property(const QMetaObject& meta, const char* name) {
    return meta.property(meta.indexOfProperty(name));
}

} // namespace

TEST_F(MetaObjectTest, EveryDesignablePropertyWritesThroughTheControlsOwnSetter) {
    struct Case {
        const char* name;
        QVariant value;
    };
    for (const Case& c :
         {Case{"Address", QStringLiteral("GPIB0::12::INSTR")}, Case{"CountryCode", 33},
          Case{"FontName", QStringLiteral("Arial")}, Case{"FontSize", 12}, Case{"DebugEnabled", true},
          Case{"DTROnly", true}, Case{"SupportMessageMode", 2},
          Case{"LastIOHandshakeAddress", QStringLiteral("COM1")}, Case{"InitialSearchMode", true},
          Case{"DontShowSetupIOConfigurationWarning", true}, Case{"TXDelay", 25},
          Case{"ResetOnInitialize", true}, Case{"CheckIDOnInitialize", true}}) {
        const QMetaProperty p = property(TavrelScope::staticMetaObject, c.name);
        ASSERT_TRUE(p.isValid() && p.isWritable() && p.isDesignable()) << c.name;
        ASSERT_TRUE(p.write(&m_control, c.value)) << c.name;
        EXPECT_EQ(p.read(&m_control), c.value) << c.name;
    }
    EXPECT_EQ(m_control.CountryCode(), 33);
}

TEST_F(MetaObjectTest, RefusedValuesRaiseTheComponentsErrorAndChangeNothing) {
    for (const auto& [name, refused] :
         {std::pair{"FontSize", QVariant(40000)}, std::pair{"CountryCode", QVariant(999)},
          std::pair{"TXDelay", QVariant(-5)}}) {
        const QVariant value = refused;
        const QMetaProperty p = property(TavrelScope::staticMetaObject, name);
        const QVariant before = p.read(&m_control);
        EXPECT_NE(ErrorNumberOf([&] { p.write(&m_control, value); }), 0) << name;
        EXPECT_EQ(p.read(&m_control), before) << name;
    }
}

TEST_F(MetaObjectTest, RuntimeStateIsReadOnlyAndHiddenFromPropertyEditors) {
    for (const char* name :
         {"HelpFile", "InstrumentConnected", "ConnectionName", "AutomationServerAddress"}) {
        const QMetaProperty p = property(TavrelScope::staticMetaObject, name);
        ASSERT_TRUE(p.isValid()) << name;
        EXPECT_FALSE(p.isWritable()) << name;
        EXPECT_FALSE(p.isDesignable()) << name;
    }
    EXPECT_FALSE(m_control.property("InstrumentConnected").toBool());
}

TEST_F(MetaObjectTest, TheIOConfigurationsActivePortIsSetThroughItsGadget) {
    const QMetaProperty port = property(CIOconfiguration::staticMetaObject, "ActiveIOPort");
    ASSERT_TRUE(port.writeOnGadget(&m_control.IOConfigurationControl(), QStringLiteral("GPIB0")));
    const QMetaProperty address = property(CIOconfiguration::staticMetaObject, "ActivePortGPIBAddress");
    ASSERT_TRUE(address.writeOnGadget(&m_control.IOConfigurationControl(), 9));
    EXPECT_EQ(m_control.IOConfigurationControl().ActivePortGPIBAddress(), 9);
    EXPECT_FALSE(property(CIOconfiguration::staticMetaObject, "ActiveAddressString").isWritable());
}

TEST_F(MetaObjectTest, HostMethodsAreInvokableByName) {
    for (const char* signature :
         {"Initialize()", "CloseConnection()", "Digitize()", "AutoScale()", "Run()", "SingleTrigger()",
          "StopTrigger()", "AboutBox()", "ShowPropertyPages(int)"}) {
        EXPECT_GE(TavrelScope::staticMetaObject.indexOfMethod(signature), 0) << signature;
    }
    int shown = 0;
    SetMessageBoxHandler([&](const MessageBoxRequest&) {
        ++shown;
        return kMessageBoxResultOK;
    });
    EXPECT_TRUE(QMetaObject::invokeMethod(&m_control, "AboutBox", Qt::DirectConnection));
    EXPECT_EQ(shown, 1);
}
