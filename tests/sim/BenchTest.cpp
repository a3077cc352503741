#include "SimTestSupport.h"

#include <QFile>
#include <QJsonDocument>
#include <QTemporaryDir>
#include <gtest/gtest.h>

using namespace tavrelsim;

namespace {

TEST(DefaultBench, Layout) {
    auto bench = SimBench::defaultBench();
    EXPECT_EQ(bench->gpibBoards(), QList<int>({0, 1}));
    EXPECT_EQ(bench->gpibAddresses(0), QList<int>({3, 7, 12, 22}));
    EXPECT_TRUE(bench->gpibAddresses(1).isEmpty());
    EXPECT_TRUE(bench->gpibAddresses(2).isEmpty());
    EXPECT_EQ(bench->comPorts(), QList<int>({1, 2}));

    const QList<SimPlacement> p = bench->placements();
    ASSERT_EQ(p.size(), 5);
    QStringList seen;
    for (const SimPlacement& x : p) {
        seen << (x.bus == SimPlacement::Gpib ? QString("GPIB%1::%2 %3 %4").arg(x.board).arg(x.address)
                                             : QString("COM%1 %3 %4").arg(x.comPort))
                    .arg(x.model, x.kind);
    }
    EXPECT_EQ(seen, QStringList({"GPIB0::3  no_comma", "GPIB0::7 TV100A tavrel", "GPIB0::12 TV200B tavrel",
                                 "GPIB0::22  silent", "COM1 TV100A tavrel"}));
    EXPECT_EQ(p.last().serial, (SimSerialSettings{9600, 1, 8, 1, 2}));
}

TEST(DefaultBench, EveryAddressBehavesAsListed) {
    auto bench = SimBench::defaultBench();
    EXPECT_EQ(simtest::query(*bench->openGpib(0, 7), "*IDN?"),
              "CORVANE TECHNOLOGIES,TV100A,CT41000107,A.01.02\n");
    EXPECT_TRUE(simtest::query(*bench->openGpib(0, 12), "*IDN?").startsWith("CORVANE TECHNOLOGIES,TV200B,"));
    EXPECT_EQ(simtest::query(*bench->openGpib(0, 3), "*IDN?"), "HP3478A\n");
    EXPECT_EQ(simtest::query(*bench->openGpib(0, 22), "*IDN?", 100), QByteArray());
    EXPECT_EQ(bench->openGpib(0, 5), nullptr);
    EXPECT_EQ(bench->openGpib(1, 7), nullptr);
    EXPECT_EQ(bench->openGpib(2, 7), nullptr);
    EXPECT_EQ(bench->openCom(3), nullptr);
    auto com2 = bench->openCom(2);
    ASSERT_NE(com2, nullptr);
    EXPECT_EQ(simtest::query(*com2, "*IDN?", 100), QByteArray());
    auto com1 = bench->openCom(1);
    com1->setSerialSettings({9600, 1, 8, 1, 2});
    EXPECT_TRUE(simtest::query(*com1, "*IDN?").startsWith("CORVANE TECHNOLOGIES,TV100A,"));
}

TEST(DefaultBench, ShippedSampleMatchesTheCompiledInBench) {
    QFile sample(TAVREL_SOURCE_DIR "/samples/bench-default.json");
    ASSERT_TRUE(sample.open(QIODevice::ReadOnly));
    const QJsonDocument shipped = QJsonDocument::fromJson(sample.readAll());
    ASSERT_TRUE(shipped.isObject());
    EXPECT_EQ(shipped, QJsonDocument::fromJson(SimBench::defaultBenchJson()));
}

TEST(BenchFile, UnreadableFileIsNamed) {
    try {
        SimBench::fromFile("/nonexistent/bench.json");
        FAIL() << "no exception";
    } catch (const std::runtime_error& e) {
        EXPECT_NE(std::string(e.what()).find("/nonexistent/bench.json"), std::string::npos) << e.what();
    }
}

TEST(BenchFile, LoadsFromFile) {
    QTemporaryDir dir;
    QFile f(dir.filePath("b.json"));
    ASSERT_TRUE(f.open(QIODevice::WriteOnly));
    f.write(R"({"com": [{"port": 3, "device": {"kind": "tavrel", "model": "TV300C", "baud": 57600,
               "parity": "even", "data_bits": 7, "stop_bits": 2, "handshake": "dtr_dsr"}}]})");
    f.close();
    auto bench = SimBench::fromFile(f.fileName());
    EXPECT_TRUE(bench->gpibBoards().isEmpty());
    ASSERT_EQ(bench->placements().size(), 1);
    EXPECT_EQ(bench->placements()[0].serial, (SimSerialSettings{57600, 3, 7, 2, 4}));
    auto ep = bench->openCom(3);
    ep->setSerialSettings({57600, 3, 7, 2, 4});
    EXPECT_TRUE(simtest::query(*ep, "*IDN?").contains(",TV300C,"));
}

struct BadBench {
    const char* name;
    const char* json;
    const char* where; // must appear in the message, as must the origin
};

class BenchValidation : public ::testing::TestWithParam<BadBench> {};

TEST_P(BenchValidation, RefusesWithFileAndEntry) {
    try {
        SimBench::fromJson(GetParam().json, "bad-bench.json");
        FAIL() << "accepted";
    } catch (const std::runtime_error& e) {
        const std::string m = e.what();
        EXPECT_NE(m.find("bad-bench.json"), std::string::npos) << m;
        EXPECT_NE(m.find(GetParam().where), std::string::npos) << m;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Files, BenchValidation,
    ::testing::Values(
        BadBench{"not_json", R"({"gpib": [)", "not valid JSON"}, BadBench{"top_array", R"([])", "top level"},
        BadBench{"unknown_top_key", R"({"usb": []})", "\"usb\""},
        BadBench{"gpib_not_array", R"({"gpib": {}})", "\"gpib\""},
        BadBench{"board_4", R"({"gpib": [{"board": 4}]})", "gpib[0]"},
        BadBench{"board_missing", R"({"gpib": [{"devices": []}]})", "\"board\""},
        BadBench{"board_twice", R"({"gpib": [{"board": 1}, {"board": 1}]})", "gpib[1]"},
        BadBench{"address_31", R"({"gpib": [{"board": 0, "devices": [{"address": 31, "kind": "silent"}]}]})",
                 "gpib[0].devices[0]"},
        BadBench{"address_fraction",
                 R"({"gpib": [{"board": 0, "devices": [{"address": 1.5, "kind": "silent"}]}]})",
                 "\"address\""},
        BadBench{"address_twice",
                 R"({"gpib": [{"board": 0, "devices": [{"address": 5, "kind": "silent"},
                     {"address": 5, "kind": "tavrel"}]}]})",
                 "gpib[0].devices[1]"},
        BadBench{"kind_unknown", R"({"gpib": [{"board": 0, "devices": [{"address": 5, "kind": "dmm"}]}]})",
                 "\"kind\""},
        BadBench{"kind_missing", R"({"gpib": [{"board": 0, "devices": [{"address": 5}]}]})", "\"kind\""},
        BadBench{
            "key_of_other_kind",
            R"({"gpib": [{"board": 0, "devices": [{"address": 5, "kind": "silent", "model": "TV100A"}]}]})",
            "\"model\""},
        BadBench{
            "model_lower_case",
            R"({"gpib": [{"board": 0, "devices": [{"address": 5, "kind": "tavrel", "model": "tv100a"}]}]})",
            "\"model\""},
        BadBench{
            "firmware_comma",
            R"({"gpib": [{"board": 0, "devices": [{"address": 5, "kind": "tavrel", "firmware": "A,1"}]}]})",
            "\"firmware\""},
        BadBench{"idn_comma",
                 R"({"gpib": [{"board": 0, "devices": [{"address": 5, "kind": "no_comma", "idn": "X,Y"}]}]})",
                 "\"idn\""},
        BadBench{
            "fault_unknown",
            R"({"gpib": [{"board": 0, "devices": [{"address": 5, "kind": "tavrel", "faults": {"slow": 1}}]}]})",
            "gpib[0].devices[0].faults"},
        BadBench{"fault_negative_delay",
                 R"({"gpib": [{"board": 0, "devices": [{"address": 5, "kind": "tavrel",
                     "faults": {"reply_delay_ms": -1}}]}]})",
                 "\"reply_delay_ms\""},
        BadBench{"fault_truncate_zero",
                 R"({"gpib": [{"board": 0, "devices": [{"address": 5, "kind": "tavrel",
                     "faults": {"truncate_blocks": 0}}]}]})",
                 "\"truncate_blocks\""},
        BadBench{
            "fault_flag_not_bool",
            R"({"gpib": [{"board": 0, "devices": [{"address": 5, "kind": "tavrel", "faults": {"silent": 1}}]}]})",
            "\"silent\""},
        BadBench{"com_5", R"({"com": [{"port": 5}]})", "com[0]"},
        BadBench{"com_0", R"({"com": [{"port": 0}]})", "com[0]"},
        BadBench{"com_twice", R"({"com": [{"port": 2}, {"port": 2}]})", "com[1]"},
        BadBench{"baud_4800", R"({"com": [{"port": 1, "device": {"kind": "tavrel", "baud": 4800}}]})",
                 "com[0].device"},
        BadBench{"parity_unknown",
                 R"({"com": [{"port": 1, "device": {"kind": "tavrel", "parity": "high"}}]})", "\"parity\""},
        BadBench{"handshake_unknown",
                 R"({"com": [{"port": 1, "device": {"kind": "tavrel", "handshake": "XONXOFF"}}]})",
                 "\"handshake\""},
        BadBench{"data_bits_9", R"({"com": [{"port": 1, "device": {"kind": "tavrel", "data_bits": 9}}]})",
                 "\"data_bits\""},
        BadBench{"stop_bits_3", R"({"com": [{"port": 1, "device": {"kind": "tavrel", "stop_bits": 3}}]})",
                 "\"stop_bits\""},
        BadBench{"address_on_com", R"({"com": [{"port": 1, "device": {"kind": "tavrel", "address": 3}}]})",
                 "\"address\""},
        BadBench{"baud_on_gpib",
                 R"({"gpib": [{"board": 0, "devices": [{"address": 5, "kind": "tavrel", "baud": 9600}]}]})",
                 "\"baud\""}),
    [](const auto& info) { return std::string(info.param.name); });

} // namespace
