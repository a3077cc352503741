#include "discovery/IdentificationMessage.h"
#include "DiscoveryTestSupport.h"
#include "discovery/IdentificationResult.h"

#include <functional>
#include <gtest/gtest.h>

using namespace discoverytest;

namespace {

const QString kReply = QStringLiteral("CORVANE TECHNOLOGIES,TV100A,CT1,A.01.02");
const QString kPara = kCRLF + kCRLF;

QString ReplyBlock(const QString& shown) {
    return T(227) + kPara + kIndent + kReply + AtAddress(shown);
}

QString Caution(int language) {
    if (language == kEnglish)
        return kIndent + T(282) + kPara + kIndent + T(283) + kCRLF + kIndent + T(284) + kCRLF + kIndent +
               T(285) + kCRLF + kIndent + T(286) + kPara + kIndent + T(287) + kCRLF + kIndent + T(288) +
               kPara;
    return kIndent + T(711) + kPara + kIndent + T(712) + kPara + kIndent + T(713) + kPara;
}

const struct {
    const char* name;
    qint16 code;
    const char* address;
    bool isGPIB;
    bool caution;
    std::function<QString(int language)> expected;
} kCases[] = {
    {"supported GPIB", 0, "GPIB0::7::INSTR", true, false,
     [](int) { return T(226) + kPara + ReplyBlock("GPIB0::7::INSTR"); }},
    {"supported COM with caution", 0, "COM1::Baud=19200", false, true,
     [](int language) { return T(226) + kPara + Caution(language) + ReplyBlock("COM1"); }},
    {"Tavrel but unsupported", 1, "GPIB0::7::INSTR", true, false,
     [](int) { return T(225) + ReplyBlock("GPIB0::7::INSTR"); }},
    {"not a Tavrel scope", 2, "COM2", false, false,
     [](int) { return T(223) + kCRLF + T(224) + ReplyBlock("COM2"); }},
    {"not IEEE 488.2", 3, "GPIB1::3::INSTR", true, false,
     [](int) { return T(222) + kCRLF + T(224) + ReplyBlock("GPIB1::3::INSTR"); }},
    {"GPIB not found", 4, "GPIB0::22::INSTR", true, false,
     [](int) {
         return T(530) + AtAddress("GPIB0::22::INSTR") + kPara + kCRLF + T(531) + kCRLF + T(532) + kCRLF +
                kCRLF + T(538) + kCRLF + T(539) + kCRLF + T(540);
     }},
    {"COM not found", 4, "COM2::Handshake=DTR_DSR", false, false,
     [](int) {
         return T(530) + AtAddress("COM2") + kPara + kCRLF + T(531) + kCRLF + T(532) + kCRLF + T(533) +
                kCRLF + kCRLF + T(535) + kCRLF + T(536) + kCRLF + T(537);
     }},
    {"port not found", 5, "COM3::Baud=2400", false, false, [](int) { return T(221) + AtAddress("COM3"); }},
};

class IdentificationMessages : public ::testing::TestWithParam<int> {};

} // namespace

TEST_P(IdentificationMessages, EveryCodeHasItsExactText) {
    Language selected(GetParam());
    EXPECT_EQ(T(530) == LoadResString(530), GetParam() == kEnglish); // a French table of its own
    for (const auto& c : kCases)
        EXPECT_EQ(IdentificationMessage(c.code, QString::fromLatin1(c.address), kReply, c.isGPIB, c.caution),
                  c.expected(GetParam()))
            << c.name;
}

TEST_P(IdentificationMessages, UnknownCodesRaiseTheQueryError) {
    Language selected(GetParam());
    const struct {
        qint16 code;
        const char* address;
        bool isGPIB;
        int description;
        const char* shown;
    } cases[] = {
        {6, "GPIB0::7::INSTR", true, 110, "GPIB0::7::INSTR"},
        {6, "COM1::Baud=19200", false, 109, "COM1"},
        {-1, "COM4", false, 109, "COM4"},
        {200, "GPIB3::30::INSTR", true, 110, "GPIB3::30::INSTR"},
    };
    for (const auto& c : cases)
        ExpectRefusal(
            [&] { IdentificationMessage(c.code, QString::fromLatin1(c.address), kReply, c.isGPIB, false); },
            T(c.description) + AtAddress(QString::fromLatin1(c.shown)),
            {"Assertion: false", "File: CQueryInstrument", "Function: Test", "Location: Case Else"},
            std::to_string(c.code) + " " + c.address);
}

INSTANTIATE_TEST_SUITE_P(Languages, IdentificationMessages, ::testing::Values(kEnglish, kFrench),
                         [](const auto& info) { return info.param == kEnglish ? "English" : "French"; });
