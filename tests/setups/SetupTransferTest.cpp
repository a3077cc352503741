#include "SetupTestSupport.h"

#include "automation/ServerError.h"
#include "control/TavrelScope.h"
#include "iolib/IOError.h"
#include "iolib/IOManager.h"
#include "iolib/IOSession.h"
#include "setups/SetupSupport.h"
#include "setups/SetupsTavrelScope.h"
#include "sim/SimBench.h"
#include "support/DiagnosticsCapture.h"

#include <QTemporaryDir>

namespace {

using Manager = std::shared_ptr<CorvaneIOUtilsLib::IOManager>;
const QString kScope = QStringLiteral("GPIB0::7::INSTR");

// The default bench, its scope at GPIB0::7 given faults.
Manager bench(const QByteArray& faults = {}) {
    QByteArray json = tavrelsim::SimBench::defaultBenchJson();
    if (!faults.isEmpty())
        json.replace(R"("firmware": "A.01.02"})", R"("firmware": "A.01.02", "faults": )" + faults + "}");
    return std::make_shared<CorvaneIOUtilsLib::IOManager>(
        tavrelsim::SimBench::fromJson(json, QStringLiteral("test")));
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
        auto io = manager->Open(address);
        return io->Query(command).trimmed();
    }
    void write(const QString& command, const QString& address = kScope) {
        manager->Open(address)->WriteString(command + u'\n');
    }
    SetupTavrelScope& add(const QString& name) { return control.Setups().Add(name); }
    QString last() const { return control.Setups().LastInstrumentSetup(); }
};

template <typename E, typename F> bool raises(F&& f) {
    try {
        f();
    } catch (const E&) {
        return true;
    }
    return false;
}

} // namespace

TEST(SetupTransfer, GetSaveLoadSendRestoresTheScope) {
    QTemporaryDir dir;
    Connected scope;
    const QString original = scope.query(QStringLiteral(":CHAN1:SCAL?"));
    SetupTavrelScope& got = scope.add(QStringLiteral("Bench"));
    got.SetComments(QStringLiteral("as found"));
    got.GetFromInstrument();
    EXPECT_EQ(got.Model(), QStringLiteral("TV100A"));
    EXPECT_EQ(got.Version(), QStringLiteral("A.01.02"));
    EXPECT_EQ(got.Comments(), QStringLiteral("as found"));
    EXPECT_TRUE(got.LearnString().toByteArray().startsWith("#3")) << "the block as received, header included";
    EXPECT_EQ(scope.last(), QStringLiteral("Bench"));

    const QString file = dir.filePath(QStringLiteral("bench.scp"));
    got.SaveToFile(file);
    SetupTavrelScope& loaded = scope.add(QStringLiteral("Loaded"));
    loaded.ReadFromFile(file);
    EXPECT_EQ(loaded.LearnString(), got.LearnString());

    scope.write(QStringLiteral(":CHAN1:SCAL 2"));
    ASSERT_NE(scope.query(QStringLiteral(":CHAN1:SCAL?")), original);
    loaded.SendToInstrument();
    EXPECT_EQ(scope.query(QStringLiteral(":CHAN1:SCAL?")), original);
    EXPECT_EQ(scope.query(QStringLiteral(":SYST:ERR?")), QStringLiteral("0,\"No error\""));
    EXPECT_EQ(scope.last(), QStringLiteral("Loaded"));
}

TEST(SetupTransfer, RefusedSendsSendNothing) {
    QVariant learnString; // the TV100A's, which any scope would act on or complain about
    {
        Connected source;
        SetupTavrelScope& s = source.add(QStringLiteral("S"));
        s.GetFromInstrument();
        learnString = s.LearnString();
    }
    const struct {
        const char *address, *model, *version;
        bool withLearnString;
        int description;
    } cases[] = {
        {"GPIB0::7::INSTR", "", "", false, 692},
        {"GPIB0::7::INSTR", "", "", true, 691},
        {"GPIB0::12::INSTR", "TV100A", "X.XX.XX", true, 691},
        {"GPIB0::7::INSTR", "TV100A", "A.01.03", true, 691},
        {"GPIB0::7::INSTR", "TV100A", "A.01.03", false, 692},
    };
    const QString texts[] = {QStringLiteral("The setup is not compatible with the instrument."),
                             QStringLiteral("The setup data for the instrument is empty.")};
    for (const auto& c : cases) {
        const QString address = QLatin1String(c.address);
        Connected scope(bench(), address);
        scope.write(QStringLiteral(":CHAN1:SCAL 2"), address);
        SetupTavrelScope& setup = scope.add(QStringLiteral("Refused"));
        fillSetup(setup, QStringLiteral("Refused"), QLatin1String(c.model), QLatin1String(c.version),
                  c.withLearnString ? learnString : QVariant());
        const auto e = errorOf([&] { setup.SendToInstrument(); });
        expectError(e, 0x80040011u, texts[c.description - 691]);
        EXPECT_EQ(e->source(), QStringLiteral("Send Setup"));
        EXPECT_EQ(scope.query(QStringLiteral(":CHAN1:SCAL?"), address), QStringLiteral("+2.000000E+00"));
        EXPECT_EQ(scope.query(QStringLiteral(":SYST:ERR?"), address), QStringLiteral("0,\"No error\""));
        EXPECT_EQ(scope.last(), QString());
    }
}

TEST(SetupTransfer, AnEmptyLearnStringWithAModelReachesTheServer) {
    Connected scope;
    // Model and version pass the test; the Empty learn string goes to the server, which refuses it,
    // and its refusal comes through unchanged.
    SetupTavrelScope& hollow = scope.add(QStringLiteral("Hollow"));
    fillSetup(hollow, QStringLiteral("Hollow"), QStringLiteral("TV100A"), QStringLiteral("A.01.02"));
    EXPECT_TRUE(raises<BrumelTB::ServerError>([&] { hollow.SendToInstrument(); }));
    const auto shown = errorOf([&] {
        SetupSupport::WithTransferErrors(SetupSupport::kSendSetupTitle, ErrorNumber::SendRefused,
                                         [&] { hollow.SendToInstrument(); });
    });
    expectError(shown, 0x80040011u);
    EXPECT_EQ(shown->source(), QStringLiteral("Send Setup"));
    EXPECT_EQ(scope.last(), QString());
}

TEST(SetupTransfer, WhatAFailedGetHadTakenStays) {
    Connected noComma(bench(R"({"no_comma": true})"));
    SetupTavrelScope& half = noComma.add(QStringLiteral("Half"));
    EXPECT_TRUE(raises<BrumelTB::ServerError>([&] { half.GetFromInstrument(); }));
    EXPECT_TRUE(half.LearnString().toByteArray().startsWith("#3")) << "replaced before the model failed";
    EXPECT_EQ(half.Model(), QString());
    EXPECT_EQ(noComma.last(), QString());

    Connected dropping(bench(R"({"drop_after_bytes": 100})"));
    SetupTavrelScope& dropped = dropping.add(QStringLiteral("Dropped"));
    EXPECT_TRUE(raises<CorvaneIOUtilsLib::IOError>([&] { dropped.GetFromInstrument(); }));
    EXPECT_FALSE(dropped.LearnString().isValid());
    dropping.control.Initialize();
    DiagnosticsCapture capture;
    const auto shown = errorOf([&] {
        SetupSupport::WithTransferErrors(SetupSupport::kGetSetupTitle, ErrorNumber::ConnectionFailed,
                                         [&] { dropped.GetFromInstrument(); });
    });
    expectError(shown, 0x8004003Bu);
    EXPECT_EQ(shown->source(), QStringLiteral("Get Setup"));
    EXPECT_TRUE(capture.hasReportWith(
        {QStringLiteral("File: Setup"), QStringLiteral("Function: GetFromInstrument")}));

    dropping.control.CloseConnection();
    expectError(errorOf([&] { dropped.GetFromInstrument(); }), 0x8004003Bu);
}

TEST(SetupTransfer, AMissingSessionIsReportedThenFails) {
    for (const bool get : {true, false}) {
        DiagnosticsCapture capture;
        SetupsTavrelScope setups;
        SetupTavrelScope& setup = setups.Add(QStringLiteral("Orphan"));
        expectError(errorOf([&] { get ? setup.GetFromInstrument() : setup.SendToInstrument(); }), 91);
        EXPECT_TRUE(capture.hasReportWith({QStringLiteral("Assertion: (Not (m_ctavrelez Is Nothing))"),
                                           QStringLiteral("Function: Get CTavrelEZPtr")}));
        EXPECT_TRUE(capture.hasReportWith(
            {get ? QStringLiteral("Assertion: (Not (m_setup.CTavrelEZPtr Is Nothing))")
                 : QStringLiteral("Assertion: (Not (m_setups.CTavrelEZPtr Is Nothing))"),
             QStringLiteral("File: Setup"),
             get ? QStringLiteral("Function: GetFromInstrument")
                 : QStringLiteral("Function: SendToInstrument")}));
    }
}
