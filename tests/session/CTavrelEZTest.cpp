#include "control/CTavrelEZ.h"
#include "control/TavrelError.h"
#include "control/TavrelScope.h"
#include "hosting/MemoryPropertyBag.h"
#include "iolib/IOManager.h"
#include "sim/SimBench.h"
#include "support/DiagnosticsCapture.h"

#include <gtest/gtest.h>

namespace {

std::shared_ptr<CorvaneIOUtilsLib::IOManager> defaultBench() {
    return std::make_shared<CorvaneIOUtilsLib::IOManager>(tavrelsim::SimBench::defaultBench());
}

struct Session {
    CTavrelEZ ez;
    QStringList changes;
    QStringList names;
    Session() {
        ez.SetIOManager(defaultBench());
        QObject::connect(&ez, &CTavrelEZ::PropertyChanged, [this](const QString& n) { changes.append(n); });
        QObject::connect(&ez, &CTavrelEZ::ConnectionNameChanged, [this](const QString& n) { names.append(n); });
    }
};

} // namespace

TEST(CTavrelEZ, TXDelayAcceptsZeroAndRefusesNegatives) {
    DiagnosticsCapture capture;
    Session s;
    s.ez.SetTXDelay(50);
    EXPECT_TRUE(s.changes.isEmpty()) << "an unchanged value raises no notification";
    s.ez.SetTXDelay(0);
    EXPECT_EQ(s.ez.TXDelay(), 0);
    EXPECT_EQ(s.changes, QStringList{QStringLiteral("TXDelay")});
    try {
        s.ez.SetTXDelay(-1);
        FAIL() << "a negative delay was accepted";
    } catch (const TavrelError& e) {
        EXPECT_EQ(e.number(), ErrorNumber::InvalidPropertyValue);
        EXPECT_EQ(e.description(), QStringLiteral("Invalid property value."));
    }
    EXPECT_EQ(s.ez.TXDelay(), 0);
    EXPECT_TRUE(capture.hasReportWith({QStringLiteral("Assertion: false"), QStringLiteral("File: CTavrelEZ"),
                                       QStringLiteral("Function: Let TXDelay"), QStringLiteral("Location: Else")}));
}

TEST(CTavrelEZ, ComAddressWithoutHandshakeIsStoredAndReported) {
    DiagnosticsCapture capture;
    Session s;
    s.ez.SetAutomationServerAddress(QStringLiteral("com1::baud=19200"));
    EXPECT_EQ(s.ez.AutomationServerAddress(), QStringLiteral("com1::baud=19200"));
    ASSERT_EQ(capture.reports.size(), 1);
    EXPECT_TRUE(capture.hasReportWith(
        {QStringLiteral("Assertion: (InStr(1, strAddress, HANDSHAKE_ADDRESS_KEYWORD, vbTextCompare) > 0)"),
         QStringLiteral("Function: AutomationServerAddress")}));
    s.ez.SetAutomationServerAddress(QStringLiteral("COM1::Handshake=DTR_DSR"));
    EXPECT_EQ(capture.reports.size(), 1);
}

TEST(CTavrelEZ, InitializeOpensTheServerAndClosingClearsTheFlag) {
    const struct {
        const char* address;
        bool reset, checkId;
    } cases[] = {{"GPIB0::7::INSTR", false, false},
                 {"GPIB0::12::INSTR", true, true},
                 {"COM1::Handshake=XON_XOFF", true, true}};
    for (const auto& c : cases) {
        Session s;
        s.ez.SetAutomationServerAddress(QLatin1String(c.address));
        s.ez.SetResetOnInitialize(c.reset);
        s.ez.SetCheckIDOnInitialize(c.checkId);
        ASSERT_NO_THROW(s.ez.Initialize()) << c.address;
        EXPECT_TRUE(s.ez.InstrumentConnected());
        EXPECT_EQ(s.ez.ConnectionName(), QString::fromLatin1(c.address).section(QStringLiteral("::Handshake"), 0, 0))
            << c.address;
        EXPECT_EQ(s.names, QStringList{s.ez.ConnectionName()});
        // The same address again leaves the connection open; another one closes it.
        s.ez.SetAutomationServerAddress(QLatin1String(c.address));
        EXPECT_TRUE(s.ez.InstrumentConnected());
        s.ez.SetAutomationServerAddress(QStringLiteral("GPIB0::12::INSTR") == QLatin1String(c.address)
                                            ? QStringLiteral("GPIB0::7::INSTR")
                                            : QStringLiteral("GPIB0::12::INSTR"));
        EXPECT_FALSE(s.ez.InstrumentConnected());
        s.ez.CloseConnection(); // closing when nothing is open is harmless
        EXPECT_FALSE(s.ez.InstrumentConnected());
    }
}

TEST(CTavrelEZ, FailedConnectionsRaiseTheConnectionError) {
    const struct {
        const char* address;
        bool reset, checkId;
    } cases[] = {
        {"GPIB0::3::INSTR", false, true},  // answers, but is no Tavrel scope
        {"GPIB0::22::INSTR", true, false}, // never answers the reset's completion query
        {"GPIB2::7::INSTR", false, false}, // no such board
        {"GPIB0::9::INSTR", false, false}, // nothing at that address
        {"COM3::Handshake=XON_XOFF", false, false},
    };
    for (const auto& c : cases) {
        Session s;
        s.ez.SetAutomationServerAddress(QLatin1String(c.address));
        s.ez.SetResetOnInitialize(c.reset);
        s.ez.SetCheckIDOnInitialize(c.checkId);
        try {
            s.ez.Initialize();
            ADD_FAILURE() << c.address << " connected";
        } catch (const TavrelError& e) {
            EXPECT_EQ(e.hexNumber(), QStringLiteral("0x8004003B")) << c.address;
            EXPECT_EQ(e.source(), QStringLiteral("Tavrel Scope Control"));
            EXPECT_TRUE(e.description().startsWith(
                QStringLiteral("Connection to instrument did not succeed\r\n%1\r\ndue to an I/O initialization "
                               "failure.\r\nGo to the Search Instruments or Set I/O property page and retest.")
                    .arg(QLatin1String(c.address))))
                << c.address << ": " << e.description().toStdString();
            EXPECT_EQ(e.helpFile(), QStringLiteral("Tavrel.hlp"));
        }
        EXPECT_FALSE(s.ez.InstrumentConnected()) << c.address;
    }
}

TEST(CTavrelEZ, KeysKeepTheirHistoricSpelling) {
    Session s;
    s.ez.SetTXDelay(10);
    s.ez.SetResetOnInitialize(true);
    s.ez.SetCheckIDOnInitialize(true);
    MemoryPropertyBag bag;
    s.ez.WriteProperties(bag);
    EXPECT_EQ(bag.keys(), (QStringList{QStringLiteral("TXDelay"), QStringLiteral("ResetOnIntialize"),
                                       QStringLiteral("CheckIDOnIntialize")}));
    CTavrelEZ restored;
    restored.ReadProperties(bag);
    EXPECT_EQ(restored.TXDelay(), 10);
    EXPECT_TRUE(restored.ResetOnInitialize());
    EXPECT_TRUE(restored.CheckIDOnInitialize());
}

TEST(TavrelScopeSession, ControlOpensItsActiveAddress) {
    TavrelScope control;
    control.SetIOManager(defaultBench());
    control.SetAddress(QStringLiteral("GPIB0::12::INSTR"));
    control.SetCheckIDOnInitialize(true);
    control.Initialize();
    EXPECT_TRUE(control.InstrumentConnected());
    EXPECT_EQ(control.ConnectionName(), QStringLiteral("GPIB0::12::INSTR"));
    control.SetAddress(QStringLiteral("COM1"));
    control.Initialize();
    EXPECT_EQ(control.AutomationServerAddress(), QStringLiteral("COM1::Handshake=XON_XOFF"));
    EXPECT_TRUE(control.InstrumentConnected());
    control.CloseConnection();
    EXPECT_FALSE(control.InstrumentConnected());
}
