// Benches: the compiled-in default, files, and the refusals of a bad file.

#include "SimTestSupport.h"

#include <QFile>
#include <QJsonDocument>
#include <QTemporaryDir>
#include <gtest/gtest.h>

using namespace tavrelsim;
using simtest::query;

namespace {

// Announced placements are checked by the binary's tests; these are what opening them gives.
TEST(DefaultBench, EveryAddressBehavesAsListed) {
    auto bench = SimBench::defaultBench();
    EXPECT_EQ(bench->gpibBoards(), QList<int>({0, 1}));
    EXPECT_EQ(bench->gpibAddresses(0), QList<int>({3, 7, 12, 22}));
    EXPECT_EQ(bench->comPorts(), QList<int>({1, 2}));
    EXPECT_EQ(query(*bench->openGpib(0, 7), "*IDN?"), "CORVANE TECHNOLOGIES,TV100A,CT41000107,A.01.02\n");
    EXPECT_TRUE(query(*bench->openGpib(0, 12), "*IDN?").startsWith("CORVANE TECHNOLOGIES,TV200B,"));
    EXPECT_EQ(query(*bench->openGpib(0, 3), "*IDN?"), "HP3478A\n");
    EXPECT_EQ(query(*bench->openGpib(0, 22), "*IDN?", 100), QByteArray());
    EXPECT_EQ(query(*bench->openCom(2), "*IDN?", 100), QByteArray());
    for (const auto& [board, address] : {std::pair{0, 5}, {1, 7}, {2, 7}})
        EXPECT_EQ(bench->openGpib(board, address), nullptr) << board << " " << address;
    EXPECT_EQ(bench->openCom(3), nullptr);
}

TEST(DefaultBench, ShippedSampleMatchesTheCompiledInBench) {
    QFile sample(TAVREL_SOURCE_DIR "/samples/bench-default.json");
    ASSERT_TRUE(sample.open(QIODevice::ReadOnly));
    const QJsonDocument shipped = QJsonDocument::fromJson(sample.readAll());
    EXPECT_TRUE(shipped.isObject() && shipped == QJsonDocument::fromJson(SimBench::defaultBenchJson()));
}

TEST(BenchFile, LoadsFromFileAndNamesAnUnreadableOne) {
    QTemporaryDir dir;
    QFile f(dir.filePath("b.json"));
    ASSERT_TRUE(f.open(QIODevice::WriteOnly));
    f.write(R"({"com": [{"port": 3, "device": {"kind": "tavrel", "model": "TV300C", "baud": 57600,
               "parity": "even", "data_bits": 7, "stop_bits": 2, "handshake": "dtr_dsr"}}]})");
    f.close();
    auto bench = SimBench::fromFile(f.fileName());
    ASSERT_EQ(bench->placements().size(), 1);
    auto ep = bench->openCom(3);
    ep->setSerialSettings({57600, 3, 7, 2, 4});
    EXPECT_TRUE(query(*ep, "*IDN?").contains(",TV300C,"));
    try {
        SimBench::fromFile("/nonexistent/bench.json");
        ADD_FAILURE() << "no exception";
    } catch (const std::runtime_error& e) {
        EXPECT_NE(std::string(e.what()).find("/nonexistent/bench.json"), std::string::npos) << e.what();
    }
}

// Each refusal names the file and the entry or key at fault. A "gpib:" or "com:" case is the
// contents of the device object at GPIB0::5 or on COM1.
TEST(BenchFile, RefusesABadFileNamingTheFileAndTheEntry) {
    const struct {
        const char *json, *where;
    } cases[] = {
        {R"({"gpib": [)", "not valid JSON"},
        {R"([])", "top level"},
        {R"({"usb": []})", "\"usb\""},
        {R"({"gpib": {}})", "\"gpib\""},
        {R"({"gpib": [{"board": 4}]})", "gpib[0]"},
        {R"({"gpib": [{"devices": []}]})", "\"board\""},
        {R"({"gpib": [{"board": 1}, {"board": 1}]})", "gpib[1]"},
        {R"(gpib:"address": 31, "kind": "silent")", "gpib[0].devices[0]"},
        {R"(gpib:"address": 1.5, "kind": "silent")", "\"address\""},
        // found by fuzzing: a number no integer type holds
        {R"(gpib:"address": 3.9e92, "kind": "silent")", "\"address\""},
        {R"(gpib:"address": -1e300, "kind": "silent")", "\"address\""},
        {R"({"gpib": [{"board": 0, "devices": [{"address": 5, "kind": "silent"}, {"address": 5, "kind": "tavrel"}]}]})",
         "gpib[0].devices[1]"},
        {R"(gpib:"address": 5, "kind": "dmm")", "\"kind\""},
        {R"(gpib:"address": 5)", "\"kind\""},
        {R"(gpib:"address": 5, "kind": "silent", "model": "TV100A")", "\"model\""},
        {R"(gpib:"address": 5, "kind": "tavrel", "model": "tv100a")", "\"model\""},
        {R"(gpib:"address": 5, "kind": "tavrel", "firmware": "A,1")", "\"firmware\""},
        {R"(gpib:"address": 5, "kind": "no_comma", "idn": "X,Y")", "\"idn\""},
        {R"(gpib:"address": 5, "kind": "tavrel", "faults": {"slow": 1})", "gpib[0].devices[0].faults"},
        {R"(gpib:"address": 5, "kind": "tavrel", "faults": {"reply_delay_ms": -1})", "\"reply_delay_ms\""},
        {R"(gpib:"address": 5, "kind": "tavrel", "faults": {"truncate_blocks": 0})", "\"truncate_blocks\""},
        {R"(gpib:"address": 5, "kind": "tavrel", "faults": {"silent": 1})", "\"silent\""},
        {R"(gpib:"address": 5, "kind": "tavrel", "baud": 9600)", "\"baud\""},
        {R"({"com": [{"port": 5}]})", "com[0]"},
        {R"({"com": [{"port": 0}]})", "com[0]"},
        {R"({"com": [{"port": 2}, {"port": 2}]})", "com[1]"},
        {R"(com:"kind": "tavrel", "baud": 4800)", "com[0].device"},
        {R"(com:"kind": "tavrel", "parity": "high")", "\"parity\""},
        {R"(com:"kind": "tavrel", "handshake": "XONXOFF")", "\"handshake\""},
        {R"(com:"kind": "tavrel", "data_bits": 9)", "\"data_bits\""},
        {R"(com:"kind": "tavrel", "stop_bits": 3)", "\"stop_bits\""},
        {R"(com:"kind": "tavrel", "address": 3)", "\"address\""}};
    for (const auto& c : cases) {
        QByteArray json = c.json;
        if (json.startsWith("gpib:"))
            json = R"({"gpib": [{"board": 0, "devices": [{)" + json.mid(5) + "}]}]}";
        else if (json.startsWith("com:"))
            json = R"({"com": [{"port": 1, "device": {)" + json.mid(4) + "}}]}";
        try {
            SimBench::fromJson(json, "bad-bench.json");
            ADD_FAILURE() << "accepted: " << json.toStdString();
        } catch (const std::runtime_error& e) {
            const std::string m = e.what();
            EXPECT_NE(m.find("bad-bench.json"), std::string::npos) << m;
            EXPECT_NE(m.find(c.where), std::string::npos) << m;
        }
    }
}

} // namespace
