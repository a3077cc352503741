#include "DiscoveryTestSupport.h"
#include "discovery/CQueryInstrument.h"
#include "discovery/IdentificationMessage.h"
#include "discovery/IdentificationResult.h"
#include "discovery/SearchResult.h"
#include "discovery/SearchRow.h"

#include <deque>
#include <gtest/gtest.h>

using namespace discoverytest;
namespace R = IdentificationResult;

TEST(Identification, ReplyJudgementAndTheAddressShown) {
    const std::pair<const char*, qint16> replies[] = {
        {"", R::NotFound},
        {"HP3478A", R::NotIEEE488},
        {" ", R::NotIEEE488},
        {"CORVANE TECHNOLOGIES,TV100A,CT41000107,A.01.02", R::Supported},
        {"OTHER MAKER,XYZ-9,1,2", R::Supported}, // the model is not checked at all
        {",", R::Supported},
    };
    for (const auto& [reply, code] : replies)
        EXPECT_EQ(CQueryInstrument::IsValidInstrument(QString::fromLatin1(reply)), code) << reply;
    EXPECT_EQ(CQueryInstrument::ModelCompatibility(QStringLiteral("XYZ")), R::Supported);

    // GPIB-type addresses are shown whole, RS232 ones as their port only.
    const std::pair<const char*, const char*> shown[] = {{"GPIB0::7::INSTR", "GPIB0::7::INSTR"},
                                                         {"TCPIP0::scope::INSTR", "TCPIP0::scope::INSTR"},
                                                         {"COM1", "COM1"},
                                                         {"COM2::Baud=19200,Handshake=DTR_DSR", "COM2"}};
    for (const auto& [address, expected] : shown)
        EXPECT_EQ(CQueryInstrument().AppendAddressAt(QStringLiteral("Text"), QString::fromLatin1(address)),
                  QStringLiteral("Text") + AtAddress(expected))
            << address;
}

namespace {

// Hands out the given readings, then repeats the last one.
CQueryInstrument::TickSource Ticks(std::initializer_list<quint32> readings, int* reads = nullptr) {
    auto queue = std::make_shared<std::deque<quint32>>(readings);
    return [queue, reads]() {
        if (reads) ++*reads;
        const quint32 tick = queue->front();
        if (queue->size() > 1) queue->pop_front();
        return tick;
    };
}

} // namespace

TEST(Identification, WaitEndsOnlyPastEntryPlusDelayAndRaisesWhenTheTickCountWraps) {
    CQueryInstrument query;
    int reads = 0;
    query.SetTickSource(Ticks({1000, 1020, 1050, 1051, 5000}, &reads)); // 1050 is not past 1000 + 50
    query.Wait(50);
    EXPECT_EQ(reads, 4);

    query.SetTickSource(Ticks({0xFFFFFFF0u, 0xFFFFFFF8u, 5}));
    ExpectRefusal([&] { query.Wait(50); }, T(106),
                  {"Assertion: false", "File: CQueryInstrument", "Function: Wait", "Location: ElseIf"},
                  "wrap");
}

class IdentificationMessages : public ::testing::TestWithParam<int> {};

TEST_P(IdentificationMessages, EveryCodeHasItsExactTextAndUnknownCodesRaiseTheQueryError) {
    Language selected(GetParam());
    EXPECT_EQ(T(530) == LoadResString(530), GetParam() == kEnglish); // a French table of its own
    const QString reply = QStringLiteral("CORVANE TECHNOLOGIES,TV100A,CT1,A.01.02"), para = kCRLF + kCRLF;
    const auto block = [&](const char* shown) { return T(227) + para + kIndent + reply + AtAddress(shown); };
    const QString caution = GetParam() == kEnglish
                                ? kIndent + T(282) + para + kIndent + T(283) + kCRLF + kIndent + T(284) +
                                      kCRLF + kIndent + T(285) + kCRLF + kIndent + T(286) + para + kIndent +
                                      T(287) + kCRLF + kIndent + T(288) + para
                                : kIndent + T(711) + para + kIndent + T(712) + para + kIndent + T(713) + para;
    const struct {
        qint16 code;
        const char* address;
        bool isGPIB, caution;
        QString expected; // empty: raises the query error with text 109 (COM) or 110 (GPIB)
    } cases[] = {
        {0, "GPIB0::7::INSTR", true, false, T(226) + para + block("GPIB0::7::INSTR")},
        {0, "COM1::Baud=19200", false, true, T(226) + para + caution + block("COM1")},
        {1, "GPIB0::7::INSTR", true, false, T(225) + block("GPIB0::7::INSTR")},
        {2, "COM2", false, false, T(223) + kCRLF + T(224) + block("COM2")},
        {3, "GPIB1::3::INSTR", true, false, T(222) + kCRLF + T(224) + block("GPIB1::3::INSTR")},
        {4, "GPIB0::22::INSTR", true, false,
         T(530) + AtAddress("GPIB0::22::INSTR") + para + kCRLF + T(531) + kCRLF + T(532) + kCRLF + kCRLF +
             T(538) + kCRLF + T(539) + kCRLF + T(540)},
        {4, "COM2::Handshake=DTR_DSR", false, false,
         T(530) + AtAddress("COM2") + para + kCRLF + T(531) + kCRLF + T(532) + kCRLF + T(533) + kCRLF +
             kCRLF + T(535) + kCRLF + T(536) + kCRLF + T(537)},
        {5, "COM3::Baud=2400", false, false, T(221) + AtAddress("COM3")},
        {6, "GPIB0::7::INSTR", true, false, {}},
        {6, "COM1::Baud=19200", false, false, {}},
        {-1, "COM4", false, false, {}},
        {200, "GPIB3::30::INSTR", true, false, {}},
    };
    for (const auto& c : cases) {
        const std::string name = std::to_string(c.code) + " at " + c.address;
        const auto message = [&] {
            return IdentificationMessage(c.code, QString::fromLatin1(c.address), reply, c.isGPIB, c.caution);
        };
        if (!c.expected.isEmpty())
            EXPECT_EQ(message(), c.expected) << name;
        else
            ExpectRefusal(
                message,
                T(c.isGPIB ? 110 : 109) + AtAddress(c.isGPIB ? QString::fromLatin1(c.address)
                                                             : QString::fromLatin1(c.address).left(4)),
                {"Assertion: false", "File: CQueryInstrument", "Function: Test", "Location: Case Else"},
                name);
    }
}

INSTANTIATE_TEST_SUITE_P(Languages, IdentificationMessages, ::testing::Values(kEnglish, kFrench),
                         [](const auto& info) { return info.param == kEnglish ? "English" : "French"; });

TEST(SearchRow, ColumnsFromTheReply) {
    const struct {
        const char* reply;
        const char* manufacturer; // null: text 229
        const char* model;        // null: text 230
    } cases[] = {
        {"CORVANE TECHNOLOGIES,TV100A,CT41000107,A.01.02", "CORVANE TECHNOLOGIES", "TV100A"},
        {"  Maker  ,  TV200B  ,x", "Maker", "TV200B"},
        {"Maker,\tTV200B,x", "Maker", "\tTV200B"}, // blanks only are trimmed
        {"HP3478A", nullptr, nullptr},
        {"", nullptr, nullptr},
        {"Maker,TV100A", "Maker", nullptr}, // no second comma
        {"Maker, Model TV300C ,x", "Maker", "TV300C"},
        {"Maker,Modelmodel X,x", "Maker", "model X"}, // what follows the first "MODEL"
    };
    for (const int language : {kEnglish, kFrench}) {
        Language selected(language);
        for (const auto& c : cases) {
            const SearchRow row = InstrumentListEntry(QString::fromLatin1(c.reply), QStringLiteral("COM1"));
            EXPECT_EQ(row.manufacturer, c.manufacturer ? QString::fromLatin1(c.manufacturer) : T(229))
                << c.reply;
            EXPECT_EQ(row.model, c.model ? QString::fromLatin1(c.model) : T(230)) << c.reply;
            EXPECT_EQ(row.supported, T(202)) << c.reply; // every model is supported
        }
    }
    ExpectRefusal([] { InstrumentListEntry(QStringLiteral("Maker,TV100A,1,2"), QString()); }, T(106),
                  {"Assertion: false", "File: TavrelPPSrchIO", "Function: AddInstrumentToList"},
                  "empty address");
}

TEST(SearchRow, ResultsThatAddARowAndResultsThatRaise) {
    const struct {
        const char* address;
        qint16 result;
        int outcome; // 1 adds a row, 0 skips, else the description the refusal carries
    } cases[] = {{"COM1", 0, 1},
                 {"COM1", 3, 1},
                 {"COM1", 4, 0},
                 {"COM3", 5, 109},
                 {"COM2", -1, 109},
                 {"GPIB0::7::INSTR", 0, 1},
                 {"GPIB0::7::INSTR", 4, 1},
                 {"GPIB1::30::INSTR", 5, 110}};
    Language french(kFrench);
    for (const auto& c : cases) {
        const QString address = QString::fromLatin1(c.address);
        const bool gpib = address.startsWith(QStringLiteral("GPIB"));
        const std::string name = std::string(c.address) + " " + std::to_string(c.result);
        if (c.outcome > 1)
            ExpectRefusal([&] { ResultAddsRow(gpib, c.result, address); }, T(c.outcome) + AtAddress(address),
                          {"Assertion: false", "File: TavrelPPSrchIO", "Function: Click"}, name);
        else
            EXPECT_EQ(ResultAddsRow(gpib, c.result, address), c.outcome == 1) << name;
    }
}

TEST(SearchRow, SelectedRowMatchesTheStartOfTheActiveAddress) {
    QList<SearchRow> rows;
    for (const char* address : {"COM1", "GPIB0::1::INSTR", "GPIB0::12::INSTR", "COM1"})
        rows.append(InstrumentListEntry({}, QString::fromLatin1(address)));
    const struct {
        const char* active;
        int selected;
    } cases[] = {
        {"GPIB0::12::INSTR", 3},
        {"COM1::Baud=19200,Handshake=DTR_DSR", 1}, // and the first of two matches
        {"com1", -1},                              // case counts
        {"GPIB0::1", -1},                          // shorter than every row's address
        {"", -1},
    };
    for (const auto& c : cases)
        EXPECT_EQ(SelectedRowIndex(rows, QString::fromLatin1(c.active)), c.selected) << c.active;
    EXPECT_EQ(SelectedRowIndex({}, QStringLiteral("COM1")), -1);
}

TEST(SearchRow, PortNotFoundMessage) {
    for (const int language : {kEnglish, kFrench}) {
        Language selected(language);
        for (const char* port : {"COM3", "GPIB1"}) {
            const PortNotFound notFound = PortNotFoundMessage(QString::fromLatin1(port));
            EXPECT_EQ(notFound.title, T(207)) << port;
            EXPECT_EQ(notFound.message,
                      T(241) + AtAddress(QString::fromLatin1(port)) + kCRLF + kCRLF + T(242) + T(243))
                << port;
        }
    }
}
