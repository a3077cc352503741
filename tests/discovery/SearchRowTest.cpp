#include "discovery/SearchRow.h"
#include "DiscoveryTestSupport.h"
#include "control/TavrelError.h"
#include "discovery/SearchResult.h"
#include "support/DiagnosticsCapture.h"

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
}

TEST(SearchRow, EmptyAddressIsRefused) {
    DiagnosticsCapture capture;
    try {
        InstrumentListEntry(QStringLiteral("Maker,TV100A,1,2"), QString());
        FAIL() << "no error";
    } catch (const TavrelError& error) {
        EXPECT_EQ(error.number(), ErrorNumber::InvalidPropertyValue);
        EXPECT_EQ(error.description(), T(106));
    }
    EXPECT_TRUE(
        capture.hasReportWith({"Assertion: false", "File: TavrelPPSrchIO", "Function: AddInstrumentToList"}));
}

TEST(SearchRow, ResultsThatAddARowAndResultsThatRaise) {
    enum Outcome { Adds, Skips, Raises109, Raises110 };
    const struct {
        const char* address;
        qint16 result;
        Outcome outcome;
    } cases[] = {
        {"COM1", 0, Adds},
        {"COM1", 3, Adds},
        {"COM1", 4, Skips},
        {"COM3", 5, Raises109},
        {"COM2", -1, Raises109},
        {"GPIB0::7::INSTR", 0, Adds},
        {"GPIB0::7::INSTR", 4, Adds},
        {"GPIB1::30::INSTR", 5, Raises110},
    };
    Language french(kFrench);
    for (const auto& c : cases) {
        const QString address = QString::fromLatin1(c.address);
        const bool gpib = address.startsWith(QStringLiteral("GPIB"));
        if (c.outcome == Adds || c.outcome == Skips) {
            EXPECT_EQ(ResultAddsRow(gpib, c.result, address), c.outcome == Adds) << c.address << c.result;
            continue;
        }
        DiagnosticsCapture capture;
        try {
            ResultAddsRow(gpib, c.result, address);
            ADD_FAILURE() << c.address << " " << c.result;
        } catch (const TavrelError& error) {
            EXPECT_EQ(error.number(), ErrorNumber::InvalidPropertyValue);
            EXPECT_EQ(error.source(), T(104));
            EXPECT_EQ(error.description(), T(c.outcome == Raises109 ? 109 : 110) + kCRLF + kCRLF + T(228) +
                                               kCRLF + kCRLF + kIndent + address);
        }
        EXPECT_TRUE(capture.hasReportWith({"Assertion: false", "File: TavrelPPSrchIO", "Function: Click"}));
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
            EXPECT_EQ(notFound.title, T(207));
            EXPECT_EQ(notFound.message, T(241) + kCRLF + kCRLF + T(228) + kCRLF + kCRLF + kIndent +
                                            QString::fromLatin1(port) + kCRLF + kCRLF + T(242) + T(243));
        }
    }
}
