#include "control/CTavrelEZ.h"
#include "control/TavrelScope.h"
#include "hosting/MemoryPropertyBag.h"
#include "iolib/IOManager.h"
#include "sim/SimBench.h"
#include "sim/iobackend/SimBackend.h"
#include "support/DiagnosticsCapture.h"
#include "support/Errors.h"

#include <gtest/gtest.h>

namespace {

std::shared_ptr<CorvaneIOUtilsLib::IOManager> defaultBench() {
    return tavrelsim::simulatedIOManager(tavrelsim::SimBench::defaultBench());
}

struct Session {
    CTavrelEZ ez;
    QStringList changes, names;
    Session() {
        ez.SetIOManager(defaultBench());
        QObject::connect(&ez, &CTavrelEZ::PropertyChanged, [this](const QString& n) { changes.append(n); });
        QObject::connect(&ez, &CTavrelEZ::ConnectionNameChanged,
                         [this](const QString& n) { names.append(n); });
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
    const std::optional<TavrelError> error = ErrorOf([&] { s.ez.SetTXDelay(-1); });
    ASSERT_TRUE(error.has_value()) << "a negative delay was accepted";
    EXPECT_EQ(error->number(), ErrorNumber::InvalidPropertyValue);
    EXPECT_EQ(error->description(), QStringLiteral("Invalid property value."));
    EXPECT_EQ(s.ez.TXDelay(), 0);
    EXPECT_TRUE(capture.hasReportWith(
        {"Assertion: false", "File: CTavrelEZ", "Function: Let TXDelay", "Location: Else"}));
}

TEST(CTavrelEZ, ComAddressWithoutHandshakeIsStoredAndReported) {
    DiagnosticsCapture capture;
    Session s;
    s.ez.SetAutomationServerAddress(QStringLiteral("com1::baud=19200"));
    EXPECT_EQ(s.ez.AutomationServerAddress(), QStringLiteral("com1::baud=19200"));
    ASSERT_EQ(capture.reports.size(), 1);
    EXPECT_TRUE(capture.hasReportWith(
        {"Assertion: (InStr(1, strAddress, HANDSHAKE_ADDRESS_KEYWORD, vbTextCompare) > 0)",
         "Function: AutomationServerAddress"}));
    s.ez.SetAutomationServerAddress(QStringLiteral("COM1::Handshake=DTR_DSR"));
    EXPECT_EQ(capture.reports.size(), 1);
}

TEST(CTavrelEZ, InitializeOpensTheServerOrRaisesWhatWentWrong) {
    // failure: empty when the address connects; "identity" for the identity check's error; otherwise
    // a part of the failure's own description.
    const struct {
        const char* address;
        bool reset, checkId;
        const char* failure;
    } cases[] = {
        {"GPIB0::7::INSTR", false, false, ""},
        {"GPIB0::12::INSTR", true, true, ""},
        {"COM1::Handshake=XON_XOFF", true, true, ""},
        {"GPIB0::3::INSTR", false, true, "identity"},         // answers, but is no Tavrel scope
        {"GPIB0::22::INSTR", true, false, "no reply within"}, // never answers the reset's completion query
        {"GPIB2::7::INSTR", false, false, "does not exist"},  // no such board
        {"GPIB0::9::INSTR", false, false, "no instrument"},   // nothing at that address
        {"COM3::Handshake=XON_XOFF", false, false, "COM3 does not exist"},
        {"LPT1", false, false, "LPT1"}, // an address the library cannot read
    };
    const QString identityFailure =
        QStringLiteral("Connection to instrument did not succeed\r\n%1\r\ndue to an I/O initialization "
                       "failure.\r\nGo to the Search Instruments or Set I/O property page and retest.");
    for (const auto& c : cases) {
        SCOPED_TRACE(c.address);
        const QString address = QString::fromLatin1(c.address);
        const QString failure = QString::fromLatin1(c.failure);
        DiagnosticsCapture capture;
        Session s;
        s.ez.SetAutomationServerAddress(address);
        s.ez.SetResetOnInitialize(c.reset);
        s.ez.SetCheckIDOnInitialize(c.checkId);
        capture.reports.clear();
        const std::optional<TavrelError> error = ErrorOf([&] { s.ez.Initialize(); });
        EXPECT_EQ(s.ez.InstrumentConnected(), failure.isEmpty());
        if (!failure.isEmpty()) {
            ASSERT_TRUE(error.has_value());
            EXPECT_EQ(error->hexNumber(), QStringLiteral("0x8004003B"));
            EXPECT_EQ(error->source(), QStringLiteral("Tavrel Scope Control"));
            EXPECT_EQ(error->helpFile(), QStringLiteral("Tavrel.hlp"));
            if (failure == QStringLiteral("identity")) {
                EXPECT_EQ(error->description(), identityFailure.arg(address));
            } else {
                EXPECT_TRUE(error->description().contains(failure)) << error->description().toStdString();
                EXPECT_FALSE(error->description().contains(QStringLiteral("did not succeed")));
            }
            EXPECT_TRUE(
                capture.hasReportWith({error->description(), "File: CTavrelEZ", "Function: Initialize"}))
                << capture.reports.join(QStringLiteral("|")).toStdString();
            continue;
        }
        ASSERT_FALSE(error.has_value()) << error->description().toStdString();
        EXPECT_EQ(s.ez.ConnectionName(), address.section(QStringLiteral("::Handshake"), 0, 0));
        EXPECT_EQ(s.names, QStringList{s.ez.ConnectionName()});
        // The same address again leaves the connection open; another one closes it.
        s.ez.SetAutomationServerAddress(address);
        EXPECT_TRUE(s.ez.InstrumentConnected());
        s.ez.SetAutomationServerAddress(address.startsWith(QStringLiteral("GPIB0::12")) ? "GPIB0::7::INSTR"
                                                                                        : "GPIB0::12::INSTR");
        EXPECT_FALSE(s.ez.InstrumentConnected());
        s.ez.CloseConnection(); // closing when nothing is open is harmless
        EXPECT_FALSE(s.ez.InstrumentConnected());
    }

    // Without an I/O manager there is nothing to open the server with.
    CTavrelEZ bare;
    bare.SetAutomationServerAddress(QStringLiteral("GPIB0::7::INSTR"));
    const std::optional<TavrelError> error = ErrorOf([&] { bare.Initialize(); });
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->description(), QStringLiteral("Could not create Tavrel automation server."));
}

TEST(CTavrelEZ, KeysKeepTheirHistoricSpelling) {
    Session s;
    s.ez.SetTXDelay(10);
    s.ez.SetResetOnInitialize(true);
    s.ez.SetCheckIDOnInitialize(true);
    MemoryPropertyBag bag;
    s.ez.WriteProperties(bag);
    EXPECT_EQ(bag.keys(), (QStringList{"TXDelay", "ResetOnIntialize", "CheckIDOnIntialize"}));
    CTavrelEZ restored;
    restored.ReadProperties(bag);
    EXPECT_EQ(restored.TXDelay(), 10);
    EXPECT_TRUE(restored.ResetOnInitialize() && restored.CheckIDOnInitialize());
}

TEST(CTavrelEZ, ReadingGoesOnPastARefusedDelay) {
    MemoryPropertyBag bag;
    bag.write(QStringLiteral("TXDelay"), -5, 0);
    bag.write(QStringLiteral("ResetOnIntialize"), true, false);
    bag.write(QStringLiteral("CheckIDOnIntialize"), true, false);
    CTavrelEZ restored;
    const std::optional<TavrelError> error = ErrorOf([&] { restored.ReadProperties(bag); });
    ASSERT_TRUE(error.has_value());
    EXPECT_TRUE(error->detail().contains(QStringLiteral("\"TXDelay\""))) << error->detail().toStdString();
    EXPECT_TRUE(restored.ResetOnInitialize() && restored.CheckIDOnInitialize());
}

TEST(TavrelScopeSession, DebugEnabledReachesTheSessionWhenSet) {
    TavrelScope control;
    for (const bool enabled : {true, false}) {
        control.SetDebugEnabled(enabled);
        EXPECT_EQ(control.Session().DebugEnabled(), enabled);
    }
}

TEST(TavrelScopeSession, ControlOpensItsActiveAddress) {
    TavrelScope control;
    control.SetIOManager(defaultBench());
    control.SetAddress(QStringLiteral("GPIB0::12::INSTR"));
    control.SetCheckIDOnInitialize(true);
    control.Initialize();
    EXPECT_EQ(control.ConnectionName(), QStringLiteral("GPIB0::12::INSTR"));
    control.SetAddress(QStringLiteral("COM1"));
    control.Initialize();
    EXPECT_EQ(control.AutomationServerAddress(), QStringLiteral("COM1::Handshake=XON_XOFF"));
    EXPECT_TRUE(control.InstrumentConnected());
    control.CloseConnection();
    EXPECT_FALSE(control.InstrumentConnected());
}
