#include "base/Localization.h"

#include <QDir>
#include <QFile>
#include <QSet>
#include <gtest/gtest.h>

#include <iterator>
#include <string>
#include <tuple>
#include <vector>

// The shipped string tables and help files: the ids of each language and what selecting one needs.

namespace {

struct Block {
    const char* tag;
    int offset;
    const char* helpStem; // help files are <stem>.hlp and <stem>.cnt
};

constexpr Block kEnglish{"en", 0, "TAVCTLus"};
constexpr Block kJapanese{"ja", 5000, "TAVCTLjp"};
constexpr Block kTranslated[] = {{"fr", 1000, "TAVCTLfr"}, {"es", 2000, "TAVCTLes"},
                                 {"it", 3000, "TAVCTLit"}, {"de", 4000, "TAVCTLde"},
                                 {"ko", 6000, "TAVCTLkr"}, {"zh-TW", 7000, "TAVCTLtw"}};

// Untranslated: the long RS-232 caution (others show 711-713) and the diagnostics' support texts.
const QSet<int> kEnglishOnly = {282, 283, 284, 285, 286, 287, 288, 590, 591, 592};

// The base ids present in a block, i.e. without the block's offset, ascending.
std::vector<int> BaseIds(int offset) {
    std::vector<int> ids;
    for (int id : ResStringIds(offset, offset + 999))
        ids.push_back(id - offset);
    return ids;
}

std::string Text(int id) {
    return LoadResString(id).toStdString();
}

} // namespace

TEST(StringTables, IdsPerLanguageBlockAndMissingIds) {
    // The component's own texts end at 723; the property pages' own begin at 800, four of them so far.
    const std::tuple<const char*, int, int, qsizetype> cases[] = {
        {"en", 0, 799, 170},     {"en 724-799", 724, 799, 0}, {"en pages", 800, 999, 4},
        {"fr", 1000, 1799, 158}, {"es", 2000, 2799, 158},     {"it", 3000, 3799, 158},
        {"de", 4000, 4799, 158}, {"ja", 5000, 5999, 8},       {"ko", 6000, 6799, 158},
        {"zh-TW", 7000, 7799, 158}, {"none", 8000, 99999, 0}};
    for (const auto& [tag, first, last, count] : cases)
        EXPECT_EQ(ResStringIds(first, last).size(), count) << tag;
    // Only the two fixed help file names sit below 100.
    EXPECT_EQ(ResStringIds(0, 99), (QList<int>{10, 11}));

    // Every translated block holds the English ids but the two file names and the English-only ones.
    std::vector<int> expected;
    for (int id : BaseIds(0))
        if (id >= 100 && !kEnglishOnly.contains(id)) expected.push_back(id);
    for (const Block& block : kTranslated)
        EXPECT_EQ(BaseIds(block.offset), expected) << block.tag;

    // Japanese holds only the files, the font and placeholders for the error texts.
    EXPECT_EQ(BaseIds(kJapanese.offset), (std::vector<int>{100, 101, 102, 103, 104, 105, 106, 107}));
    for (int id = 104; id <= 107; ++id)
        EXPECT_EQ(Text(kJapanese.offset + id), Text(id) + " (Japanese)") << id;
    // A later Japanese lookup, like any missing id, gives the empty text.
    for (int id : {kJapanese.offset + 108, kJapanese.offset + 226, -1, 8000})
        EXPECT_TRUE(!HasResString(id) && LoadResString(id).isEmpty()) << id;
}

TEST(StringTables, HelpFilesAndFontsPerLanguage) {
    std::vector<std::pair<Block, const char*>> cases = {{kEnglish, "9"}, {kJapanese, "14"}};
    for (const Block& block : kTranslated)
        cases.push_back({block, "9"});
    const QDir help(QStringLiteral(TAVREL_SOURCE_DIR "/src/resources/Help"));
    for (const auto& [block, fontSize] : cases) {
        SCOPED_TRACE(block.tag);
        const std::string stem = block.helpStem;
        EXPECT_EQ(Text(block.offset + 100), stem + ".hlp");
        EXPECT_EQ(Text(block.offset + 101), stem + ".cnt");
        EXPECT_EQ(Text(block.offset + 102), "MS Sans Serif");
        EXPECT_EQ(Text(block.offset + 103), fontSize);

        // The files that selecting the language copies must be shipped, and the contents file
        // must point at its own help file.
        QFile hlp(help.filePath(LoadResString(block.offset + 100))),
            cnt(help.filePath(LoadResString(block.offset + 101)));
        ASSERT_TRUE(hlp.open(QIODevice::ReadOnly) && cnt.open(QIODevice::ReadOnly)) << stem;
        EXPECT_GT(hlp.size(), 0) << stem;
        EXPECT_EQ(QString::fromUtf8(cnt.readLine()).trimmed().toStdString(), ":Base " + stem + ".hlp");
    }
}

TEST(StringTables, TranslationsDifferFromEnglishButKeepTheirForm) {
    // Texts that are the same in every language: names, fixed values and the supported mark.
    const QSet<int> sameEverywhere = {102, 103, 202, 317, 318};
    // Texts that happen to be spelled as in English in one language.
    const QSet<int> sameIn[] = {/*fr*/ {111},      /*es*/ {}, /*it*/ {111},
                                /*de*/ {111, 122}, /*ko*/ {}, /*zh-TW*/ {}};
    for (std::size_t i = 0; i < std::size(kTranslated); ++i) {
        const Block& block = kTranslated[i];
        for (int id : BaseIds(block.offset)) {
            if (sameEverywhere.contains(id) || sameIn[i].contains(id)) continue;
            EXPECT_NE(Text(block.offset + id), Text(id)) << block.tag << ": untranslated id " << id;
        }
    }

    // A translator may reword the descriptions but not the patterns between the bars; 242 runs on
    // into 243 on the same line, so its closing blank is part of the text.
    for (int offset : {0, 1000, 2000, 3000, 4000, 6000, 7000}) {
        EXPECT_EQ(LoadResString(offset + 242), LoadResString(offset + 242).trimmed() + u' ') << offset;
        const QStringList open = LoadResString(offset + 660).split(u'|');
        ASSERT_EQ(open.size(), 4) << offset;
        EXPECT_TRUE(open[0].endsWith("(*.scp)") && open[2].endsWith("(*.stp)")) << offset;
        EXPECT_EQ(QStringList({open[1], open[3]}), QStringList({"*.scp", "*.stp"})) << offset;
        EXPECT_EQ(LoadResString(offset + 661), open[0] + "|*.scp") << offset;
    }
}

TEST(StringTables, EnglishTextsTheComponentQuotes) {
    const std::pair<int, const char*> quoted[] = {
        {104, "Tavrel Scope Control"},
        {105, "Tavrel Scope Control Error"},
        {106, "Invalid property value."},
        {107, "Asian languages are not supported on this computer."},
        {108, "Could not copy localized help file."},
        {109, "RS-232 instrument ID query error."},
        {110, "GP-IB instrument ID query error."},
        {111, "OK"},
        {112, "Cancel"},
        {113, "Connection to instrument did not succeed"},
        {114, "due to an I/O initialization failure."},
        {115, "Go to the Search Instruments or Set I/O property page and retest."},
        {122, "Version:"},
        {130, "Could not create Tavrel automation server."},
        {670, "Open Setup File"},
        {673, "Error while loading from file."},
        {674, "The selected file is not a setup file."},
        {681, "Error while saving to file."},
    };
    for (const auto& [id, text] : quoted)
        EXPECT_EQ(Text(id), text) << id;
}
