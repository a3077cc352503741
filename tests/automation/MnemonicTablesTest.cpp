#include "automation/AcquisitionTavrel.h"
#include "automation/AnalogChannelTavrel.h"
#include "automation/LogicChannelTavrel.h"
#include "automation/MeasureTavrel.h"
#include "automation/ScpiMnemonics.h"
#include "automation/TimebaseTavrel.h"
#include "automation/TriggerTavrel.h"
#include "automation/WaveformTavrel.h"

#include <QSet>
#include <gtest/gtest.h>

using namespace BrumelTB;

TEST(ScpiMnemonics, ShortFormsAndMatching) {
    const struct {
        const char* mnemonic;
        const char* shortForm;
    } forms[] = {{"CHANnel1", "CHAN1"}, {"LSBFirst", "LSBF"}, {"MAXimum", "MAX"},
                 {"D15", "D15"},        {"AUTolevel", "AUT"}, {"VPP", "VPP"}};
    for (const auto& f : forms)
        EXPECT_EQ(ScpiShortForm(f.mnemonic), QLatin1String(f.shortForm)) << f.mnemonic;

    const struct {
        const char* word;
        const char* mnemonic;
        bool matches;
    } words[] = {
        {"NORM", "NORMal", true},   {"normal", "NORMal", true},    {"NOR", "NORMal", false},
        {"NORMA", "NORMal", false}, {"+1.000000E+01", "10", true}, {"10", "100", false},
        {"1", "ON", false},         {"D1", "D10", false},          {"", "DC", false},
    };
    for (const auto& w : words)
        EXPECT_EQ(MatchesMnemonic(QLatin1String(w.word), w.mnemonic), w.matches)
            << w.word << " / " << w.mnemonic;
}

namespace {

// Every value goes out as its mnemonic and comes back from the instrument's reply (the short form
// in capitals, or a number however formatted) as the same value; no two values share a reply, and
// no value of the enumeration is missing.
template <typename E> void expectRoundTrip(const MnemonicTable<E>& table, size_t published) {
    EXPECT_EQ(table.Rows().size(), published) << table.Name();
    QSet<QString> replies;
    for (const auto& row : table.Rows()) {
        const QString mnemonic = table.Mnemonic(row.value);
        EXPECT_EQ(mnemonic, QLatin1String(row.mnemonic)) << table.Name();
        bool numeric = false;
        const double number = mnemonic.toDouble(&numeric);
        const QString reply = numeric ? QString::asprintf("%+.6E", number) : ScpiShortForm(row.mnemonic);
        EXPECT_EQ(table.FromReply(reply), row.value) << table.Name() << ": " << reply.toStdString();
        EXPECT_EQ(table.FromReply(mnemonic.toLower()), row.value) << table.Name();
        EXPECT_FALSE(replies.contains(reply))
            << table.Name() << " answers " << reply.toStdString() << " twice";
        replies.insert(reply);
    }
    EXPECT_THROW(table.Mnemonic(static_cast<E>(-7)), ServerError) << table.Name();
    EXPECT_THROW(table.FromReply(QStringLiteral("BOGUS")), ServerError) << table.Name();
}

} // namespace

TEST(MnemonicTables, EveryTableRoundTrips) {
    expectRoundTrip(AcquisitionTavrel::TypeTable(), 6);
    expectRoundTrip(AcquisitionTavrel::CountTable(), 8);
    expectRoundTrip(AcquisitionTavrel::RunStateTable(), 2);
    expectRoundTrip(AnalogChannelTavrel::CouplingTable(), 3);
    expectRoundTrip(AnalogChannelTavrel::AttenuationTable(), 4);
    expectRoundTrip(AnalogChannelTavrel::ProbeModeTable(), 2);
    expectRoundTrip(LogicChannelTavrel::PodTable(), 2);
    expectRoundTrip(MeasureTavrel::QuantityTable(), 13);
    expectRoundTrip(TimebaseTavrel::ModeTable(), 4);
    expectRoundTrip(TimebaseTavrel::ReferenceTable(), 3);
    expectRoundTrip(TriggerTavrel::ModeTable(), 3);
    expectRoundTrip(TriggerTavrel::SourceTable(), 22);
    expectRoundTrip(TriggerTavrel::SlopeTable(), 2);
    expectRoundTrip(TriggerTavrel::CouplingTable(), 2);
    expectRoundTrip(WaveformTavrel::PointsTable(), 6);
    expectRoundTrip(WaveformTavrel::SourceTable(), 4);
    expectRoundTrip(OnOffTable(), 2);
    // The instrument may answer a state as a number.
    EXPECT_EQ(OnOffTable().FromReply(QStringLiteral("1")), Tavrel_On);
    EXPECT_EQ(OnOffTable().FromReply(QStringLiteral("0")), Tavrel_Off);
}

TEST(MnemonicTables, TriggerSourcesFollowTheLogicBitNumbering) {
    // D0..D15 are 10..25 as trigger sources while the logic bits number them 0..15.
    for (int bit = 0; bit < 16; ++bit)
        EXPECT_EQ(TriggerTavrel::SourceTable().Mnemonic(static_cast<Tavrel_TriggerSource>(10 + bit)),
                  QStringLiteral("D%1").arg(bit));
    EXPECT_EQ(LogicChannelTavrel::PodOf(Tavrel_Logic_D7), Tavrel_Logic_POD1);
    EXPECT_EQ(LogicChannelTavrel::PodOf(Tavrel_Logic_D8), Tavrel_Logic_POD2);
    EXPECT_THROW(LogicChannelTavrel::PodOf(static_cast<Tavrel_LogicBits>(16)), ServerError);
}
