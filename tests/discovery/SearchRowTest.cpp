#include "discovery/SearchRow.h"
#include "DiscoveryTestSupport.h"
#include "discovery/SearchResult.h"

#include <gtest/gtest.h>

using namespace discoverytest;

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
    } cases[] = {
        {"COM1", 0, 1},
        {"COM1", 3, 1},
        {"COM1", 4, 0},
        {"COM3", 5, 109},
        {"COM2", -1, 109},
        {"GPIB0::7::INSTR", 0, 1},
        {"GPIB0::7::INSTR", 4, 1},
        {"GPIB1::30::INSTR", 5, 110},
    };
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
