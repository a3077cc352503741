#include "control/Localization.h"

#include <QDir>
#include <QFile>
#include <QSet>
#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <string>
#include <vector>

// Checks of the shipped string tables and help files themselves: which ids each language block
// holds, the English texts that messages are assembled from word for word, and the per-language
// file names and font settings that language selection depends on.

namespace {

struct Block {
    const char* tag;
    int offset;
    const char* helpStem; // help files are <stem>.hlp and <stem>.cnt
};

constexpr Block kEnglish{"en", 0, "TAVCTLus"};
constexpr Block kJapanese{"ja", 5000, "TAVCTLjp"};
constexpr Block kTranslated[] = {
    {"fr", 1000, "TAVCTLfr"}, {"es", 2000, "TAVCTLes"}, {"it", 3000, "TAVCTLit"},
    {"de", 4000, "TAVCTLde"}, {"ko", 6000, "TAVCTLkr"}, {"zh-TW", 7000, "TAVCTLtw"},
};

// English texts without a translation: the long RS-232 handshake caution (the other languages
// show 711-713) and the support texts of the diagnostics.
const QSet<int> kEnglishOnly = {282, 283, 284, 285, 286, 287, 288, 590, 591, 592};

// The base ids present in a block, i.e. without the block's offset.
QSet<int> BaseIds(int offset) {
    QSet<int> ids;
    for (int id : ResStringIds(offset, offset + 999))
        ids.insert(id - offset);
    return ids;
}

std::string Text(int id) {
    return LoadResString(id).toStdString();
}

std::vector<int> Sorted(const QSet<int>& ids) {
    std::vector<int> sorted(ids.cbegin(), ids.cend());
    std::sort(sorted.begin(), sorted.end());
    return sorted;
}

QString HelpFolder() {
    return QStringLiteral(TAVREL_SOURCE_DIR "/src/resources/Help");
}

} // namespace

TEST(StringTables, BlockSizes) {
    struct Case {
        const char* tag;
        int first;
        int last;
        qsizetype count;
    };
    const Case cases[] = {
        {"en", 0, 999, 170},     {"fr", 1000, 1999, 158},    {"es", 2000, 2999, 158},
        {"it", 3000, 3999, 158}, {"de", 4000, 4999, 158},    {"ja", 5000, 5999, 8},
        {"ko", 6000, 6999, 158}, {"zh-TW", 7000, 7999, 158}, {"none", 8000, 99999, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.tag);
        EXPECT_EQ(ResStringIds(c.first, c.last).size(), c.count);
    }
}

TEST(StringTables, EnglishIdsLieInTheirRanges) {
    // Only the two fixed help file names sit below 100; every other English text is 100..723.
    EXPECT_EQ(ResStringIds(0, 99), (QList<int>{10, 11}));
    EXPECT_TRUE(ResStringIds(724, 999).isEmpty());
    EXPECT_EQ(ResStringIds(100, 723).size(), 168);
    EXPECT_EQ(Text(10), "Tavrel.hlp");
    EXPECT_EQ(Text(11), "Tavrel.cnt");
    for (int id : kEnglishOnly)
        EXPECT_TRUE(HasResString(id)) << id;
}

TEST(StringTables, TranslatedBlocksHoldTheEnglishIdsWithoutTheEnglishOnlyOnes) {
    QSet<int> expected = BaseIds(0);
    expected.remove(10);
    expected.remove(11);
    expected.subtract(kEnglishOnly);
    ASSERT_EQ(expected.size(), 158);
    for (const Block& block : kTranslated) {
        SCOPED_TRACE(block.tag);
        const QSet<int> actual = BaseIds(block.offset);
        EXPECT_EQ(Sorted(actual - expected), std::vector<int>{}) << "ids that English does not have";
        EXPECT_EQ(Sorted(expected - actual), std::vector<int>{}) << "ids missing";
    }
}

TEST(StringTables, JapaneseHoldsOnlyFilesFontAndErrorPlaceholders) {
    QSet<int> expected;
    for (int id = 100; id <= 107; ++id)
        expected.insert(id);
    EXPECT_EQ(Sorted(BaseIds(kJapanese.offset)), Sorted(expected));

    for (int id = 104; id <= 107; ++id) {
        SCOPED_TRACE(id);
        EXPECT_EQ(Text(kJapanese.offset + id), Text(id) + " (Japanese)");
    }
    // Every later Japanese lookup finds nothing.
    for (int id : BaseIds(0)) {
        if (id < 108) continue;
        EXPECT_FALSE(HasResString(kJapanese.offset + id)) << id;
        EXPECT_TRUE(LoadResString(kJapanese.offset + id).isEmpty()) << id;
    }
}

TEST(StringTables, HelpFilesAndFontsPerLanguage) {
    struct Case {
        Block block;
        const char* fontSize;
    };
    std::vector<Case> cases = {{kEnglish, "9"}, {kJapanese, "14"}};
    for (const Block& block : kTranslated)
        cases.push_back({block, "9"});

    const QDir help(HelpFolder());
    for (const Case& c : cases) {
        SCOPED_TRACE(c.block.tag);
        const std::string stem = c.block.helpStem;
        EXPECT_EQ(Text(c.block.offset + 100), stem + ".hlp");
        EXPECT_EQ(Text(c.block.offset + 101), stem + ".cnt");
        EXPECT_EQ(Text(c.block.offset + 102), "MS Sans Serif");
        EXPECT_EQ(Text(c.block.offset + 103), c.fontSize);

        // The files that selecting the language copies must be shipped, and the contents file
        // must point at its own help file.
        const QString hlp = help.filePath(LoadResString(c.block.offset + 100));
        const QString cnt = help.filePath(LoadResString(c.block.offset + 101));
        QFile hlpFile(hlp);
        ASSERT_TRUE(hlpFile.open(QIODevice::ReadOnly)) << hlp.toStdString();
        EXPECT_GT(hlpFile.size(), 0);
        QFile cntFile(cnt);
        ASSERT_TRUE(cntFile.open(QIODevice::ReadOnly)) << cnt.toStdString();
        EXPECT_EQ(QString::fromUtf8(cntFile.readLine()).trimmed().toStdString(), ":Base " + stem + ".hlp");
    }
}

TEST(StringTables, EnglishTextsThatMessagesAreBuiltFrom) {
    struct Case {
        int id;
        const char* text;
    };
    const Case cases[] = {
        {100, "TAVCTLus.hlp"},
        {101, "TAVCTLus.cnt"},
        {102, "MS Sans Serif"},
        {103, "9"},
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
        {201, "Model"},
        {202, "X"},
        {203, "Address"},
        {204, "Manufacturer"},
        {205, "\"X\" indicates supported instrument."},
        {207, "Search"},
        {209, "Searching I/O Ports"},
        {220, "Tavrel Instrument Test Result"},
        {221, "This I/O port was NOT found."},
        {222, "Instrument was found -- but is not an IEEE 488.2 compliant Tavrel-Series Scope"},
        {223, "Instrument was found -- but is not an Tavrel-Series Scope"},
        {224, "and is not compatible with this software."},
        {225, "Instrument was found -- but is not a supported Tavrel-Series Scope."},
        {226, "Success -- Instrument was found and is a supported Tavrel-Series Scope."},
        {227, "The instrument's *IDN? response was:"},
        {228, "At address:"},
        {229, "Unknown"},
        {230, "Unknown"},
        {241, "Could not open I/O port."},
        {242, "If your I/O configuration has changed, go to the "},
        {243, "Search Criteria property page and click [Find Ports]."},
        {260, "Search Instruments Results"},
        {261, "The following COM ports are on your system but no instruments were found connected to them:"},
        {262, "The parameters for these ports may not be correct or the instruments attached may not be "
              "IEEE-488.2 compliant."},
        {263, "If any of these ports have instruments connected to them, go to the Search Criteria property "
              "page and set the RS-232 parameters."},
        {264, "Exclude from Future Searches"},
        {273, "Search Complete."},
        {530, "Instrument NOT found."},
        {531, "If there is an instrument at this address:"},
        {532, "---- Check the physical connection."},
        {533, "---- Check the RS-232 parameters in the Search Criteria property page."},
        {535, "If there is no instrument or if the instrument is not IEEE-488.2"},
        {536, "compliant, you may want to exclude this COM port from future"},
        {537, "searches using the Search Criteria property page."},
        {538, "If there is no instrument or if the instrument is not IEEE-488.2"},
        {539, "compliant, you may want to exclude this address from future"},
        {540, "searches using the Search Criteria property page."},
        {660, "Tavrel setup files (*.scp)|*.scp|Slatework setup files (*.stp)|*.stp"},
        {670, "Open Setup File"},
        {673, "Error while loading from file."},
        {674, "The selected file is not a setup file."},
        {681, "Error while saving to file."},
        {690, "Send Setup"},
        {691, "The setup is not compatible with the instrument."},
        {692, "The setup data for the instrument is empty."},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.id);
        EXPECT_TRUE(HasResString(c.id));
        EXPECT_EQ(Text(c.id), c.text);
    }
}

TEST(StringTables, TranslationsDifferFromEnglish) {
    // Texts that are the same in every language: names, fixed values and the supported mark.
    const QSet<int> sameEverywhere = {102, 103, 202, 317, 318};
    // Texts that happen to be spelled as in English in one language.
    const QSet<int> sameIn[] = {
        /*fr*/ {111}, /*es*/ {}, /*it*/ {111}, /*de*/ {111, 122}, /*ko*/ {}, /*zh-TW*/ {},
    };
    for (std::size_t i = 0; i < std::size(kTranslated); ++i) {
        const Block& block = kTranslated[i];
        SCOPED_TRACE(block.tag);
        for (int id : BaseIds(block.offset)) {
            const bool allowed = sameEverywhere.contains(id) || sameIn[i].contains(id);
            if (allowed) continue;
            EXPECT_NE(Text(block.offset + id), Text(id)) << "untranslated id " << id;
        }
    }
}

TEST(StringTables, OnlyTheContinuedLineEndsInABlank) {
    // 242 runs on into 243 on the same line, so its closing blank is part of the text; any other
    // text with outer white space is an editing accident that would show up in the dialogs.
    for (int id : ResStringIds(0, 99999)) {
        const QString text = LoadResString(id);
        SCOPED_TRACE(id);
        ASSERT_FALSE(text.isEmpty());
        if (id % 1000 == 242) {
            EXPECT_TRUE(text.endsWith(u' '));
            EXPECT_EQ(text.trimmed().size(), text.size() - 1);
        } else {
            EXPECT_EQ(text.trimmed(), text);
        }
    }
}

TEST(StringTables, FileDialogFiltersKeepTheirPatterns) {
    // A translator may reword the descriptions but not the patterns between the bars.
    std::vector<Block> blocks(std::begin(kTranslated), std::end(kTranslated));
    blocks.push_back(kEnglish);
    for (const Block& block : blocks) {
        SCOPED_TRACE(block.tag);
        const QStringList open = LoadResString(block.offset + 660).split(u'|');
        ASSERT_EQ(open.size(), 4);
        EXPECT_TRUE(open[0].endsWith(QStringLiteral("(*.scp)")));
        EXPECT_EQ(open[1], QStringLiteral("*.scp"));
        EXPECT_TRUE(open[2].endsWith(QStringLiteral("(*.stp)")));
        EXPECT_EQ(open[3], QStringLiteral("*.stp"));

        const QStringList save = LoadResString(block.offset + 661).split(u'|');
        ASSERT_EQ(save.size(), 2);
        EXPECT_EQ(save[0], open[0]);
        EXPECT_EQ(save[1], QStringLiteral("*.scp"));
    }
}
