#include "SetupTestSupport.h"

#include "automation/ServerError.h"
#include "control/TavrelScope.h"
#include "iolib/IOError.h"
#include "iolib/IOManager.h"
#include "iolib/IOSession.h"
#include "setups/SetupSupport.h"
#include "setups/SetupsTavrelScope.h"
#include "sim/SimBench.h"
#include "sim/iobackend/SimBackend.h"
#include "support/DiagnosticsCapture.h"

#include <QTemporaryDir>

namespace {

using Manager = std::shared_ptr<CorvaneIOUtilsLib::IOManager>;
const QString kScope = QStringLiteral("GPIB0::7::INSTR");
const char* const kIncompatible = "The setup is not compatible with the instrument.";
const char* const kEmpty = "The setup data for the instrument is empty.";

// The default bench, its scope at GPIB0::7 given faults.
Manager bench(const QByteArray& faults = {}) {
    QByteArray json = tavrelsim::SimBench::defaultBenchJson();
    if (!faults.isEmpty())
        json.replace(R"("firmware": "A.01.02"})", R"("firmware": "A.01.02", "faults": )" + faults + "}");
    return tavrelsim::simulatedIOManager(tavrelsim::SimBench::fromJson(json, QStringLiteral("test")));
}

// A control connected to an address of a bench, and a second connection beside it as another
// program on the bus would have.
struct Connected {
    Manager manager;
    TavrelScope control;
    explicit Connected(Manager m = bench(), const QString& address = kScope) : manager(std::move(m)) {
        control.SetIOManager(manager);
        control.SetAddress(address);
        control.Initialize();
    }
    QString query(const QString& command, const QString& address = kScope) {
        return manager->Open(address)->Query(command).trimmed();
    }
    void write(const QString& command, const QString& address = kScope) {
        manager->Open(address)->WriteString(command + u'\n');
    }
    SetupTavrelScope& add(const QString& name) { return control.Setups().Add(name); }
    QString last() const { return control.Setups().LastInstrumentSetup(); }
};

} // namespace

TEST(SetupTransfer, GetSaveLoadSendRestoresTheScope) {
    QTemporaryDir dir;
    Connected scope;
    const QString original = scope.query(":CHAN1:SCAL?");
    SetupTavrelScope& got = scope.add("Bench");
    got.SetComments("as found");
    got.GetFromInstrument();
    EXPECT_EQ(QStringList({got.Comments(), got.Model(), got.Version()}),
              QStringList({"as found", "TV100A", "A.01.02"}));
    EXPECT_TRUE(got.LearnString().toByteArray().startsWith("#3")) << "the block as received, header included";
    EXPECT_EQ(scope.last(), "Bench");

    // Saved as .scp whatever the extension, without the name, which loading keeps.
    const QString file = dir.filePath("bench.stp");
    got.SaveToFile(file);
    const QByteArray content = fileBytes(file);
    EXPECT_TRUE(content.contains("|scp|1|TV100A|Corvane Technologies||A.01.02|as found|"));
    EXPECT_TRUE(content.endsWith(got.LearnString().toByteArray()));
    EXPECT_FALSE(content.contains("Bench"));
    SetupTavrelScope& loaded = scope.add("Loaded");
    fillSetup(loaded, "Loaded", "TV200B", "B.00.01", QByteArray("#11x"), "old");
    loaded.ReadFromFile(file);
    EXPECT_EQ(loaded.LearnString(), got.LearnString());
    EXPECT_EQ(QStringList({loaded.Name(), loaded.Comments(), loaded.Model(), loaded.Version()}),
              QStringList({"Loaded", "as found", "TV100A", "A.01.02"}));

    scope.write(":CHAN1:SCAL 2");
    ASSERT_NE(scope.query(":CHAN1:SCAL?"), original);
    loaded.SendToInstrument();
    EXPECT_EQ(scope.query(":CHAN1:SCAL?"), original);
    EXPECT_EQ(scope.query(":SYST:ERR?"), "0,\"No error\"");
    EXPECT_EQ(scope.last(), "Loaded");
}

TEST(SetupTransfer, RefusedSendsSendNothing) {
    QVariant learnString; // the TV100A's, which any scope would act on or complain about
    {
        Connected source;
        SetupTavrelScope& s = source.add("S");
        s.GetFromInstrument();
        learnString = s.LearnString();
    }
    const struct {
        const char *address, *model, *version;
        bool withLearnString;
        const char* description;
    } cases[] = {{"GPIB0::7::INSTR", "", "", false, kEmpty},
                 {"GPIB0::7::INSTR", "", "", true, kIncompatible},
                 {"GPIB0::12::INSTR", "TV100A", "X.XX.XX", true, kIncompatible},
                 {"GPIB0::7::INSTR", "TV100A", "A.01.03", true, kIncompatible},
                 {"GPIB0::7::INSTR", "TV100A", "A.01.03", false, kEmpty}};
    for (const auto& c : cases) {
        const QString address = QLatin1String(c.address);
        Connected scope(bench(), address);
        scope.write(":CHAN1:SCAL 2", address);
        SetupTavrelScope& setup = scope.add("Refused");
        fillSetup(setup, "Refused", c.model, c.version, c.withLearnString ? learnString : QVariant());
        const auto e = ErrorOf([&] { setup.SendToInstrument(); });
        expectError(e, 0x80040011u, c.description);
        EXPECT_EQ(e->source(), "Send Setup");
        EXPECT_EQ(scope.query(":CHAN1:SCAL?", address), "+2.000000E+00") << c.address;
        EXPECT_EQ(scope.query(":SYST:ERR?", address), "0,\"No error\"");
        EXPECT_EQ(scope.last(), QString());
    }
}

TEST(SetupTransfer, AnEmptyLearnStringWithAModelReachesTheServer) {
    Connected scope;
    // Model and version pass the test; the Empty learn string goes to the server, which refuses it,
    // and its refusal comes through unchanged.
    SetupTavrelScope& hollow = scope.add("Hollow");
    fillSetup(hollow, "Hollow", "TV100A", "A.01.02");
    EXPECT_THROW(hollow.SendToInstrument(), BrumelTB::ServerError);
    const auto shown = ErrorOf([&] {
        SetupSupport::WithTransferErrors(SetupSupport::kSendSetupTitle, ErrorNumber::SendRefused,
                                         [&] { hollow.SendToInstrument(); });
    });
    expectError(shown, 0x80040011u);
    EXPECT_EQ(shown->source(), "Send Setup");
    EXPECT_EQ(scope.last(), QString());
}

TEST(SetupTransfer, WhatAFailedGetHadTakenStays) {
    Connected noComma(bench(R"({"no_comma": true})"));
    SetupTavrelScope& half = noComma.add("Half");
    {
        DiagnosticsCapture refusal;
        EXPECT_THROW(half.GetFromInstrument(), BrumelTB::ServerError);
        // The instrument answered and refused: that is not a lost connection.
        EXPECT_TRUE(
            refusal.hasReportWith({"Error Code: -2147220991 0x80040201", "Function: GetFromInstrument"}));
        EXPECT_FALSE(refusal.hasReportWith({"Error Code: -2147221445 0x8004003B"}));
    }
    EXPECT_TRUE(half.LearnString().toByteArray().startsWith("#3")) << "replaced before the model failed";
    EXPECT_EQ(half.Model(), QString());
    EXPECT_EQ(noComma.last(), QString());

    Connected dropping(bench(R"({"drop_after_bytes": 100})"));
    SetupTavrelScope& dropped = dropping.add("Dropped");
    EXPECT_THROW(dropped.GetFromInstrument(), CorvaneIOUtilsLib::IOError);
    EXPECT_FALSE(dropped.LearnString().isValid());
    dropping.control.Initialize();
    DiagnosticsCapture capture;
    const auto shown = ErrorOf([&] {
        SetupSupport::WithTransferErrors(SetupSupport::kGetSetupTitle, ErrorNumber::ConnectionFailed,
                                         [&] { dropped.GetFromInstrument(); });
    });
    expectError(shown, 0x8004003Bu);
    EXPECT_EQ(shown->source(), "Get Setup");
    EXPECT_TRUE(capture.hasReportWith({"File: Setup", "Function: GetFromInstrument"}));

    dropping.control.CloseConnection();
    expectError(ErrorOf([&] { dropped.GetFromInstrument(); }), 0x8004003Bu);
}

TEST(SetupTransfer, AMissingSessionIsReportedThenFails) {
    for (const bool get : {true, false}) {
        DiagnosticsCapture capture;
        SetupsTavrelScope setups;
        SetupTavrelScope& setup = setups.Add("Orphan");
        expectError(ErrorOf([&] { get ? setup.GetFromInstrument() : setup.SendToInstrument(); }), 91);
        EXPECT_TRUE(capture.hasReportWith(
            {"Assertion: (Not (m_ctavrelez Is Nothing))", "Function: Get CTavrelEZPtr"}));
        EXPECT_TRUE(capture.hasReportWith(
            {get ? "Assertion: (Not (m_setup.CTavrelEZPtr Is Nothing))"
                 : "Assertion: (Not (m_setups.CTavrelEZPtr Is Nothing))",
             "File: Setup", get ? "Function: GetFromInstrument" : "Function: SendToInstrument"}));
    }
}
