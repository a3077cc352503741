#include "sim/LearnString.h"
#include "SimTestSupport.h"
#include "sim/SimConnection.h"
#include "sim/SimInstrument.h"

#include <QSet>
#include <QtEndian>
#include <functional>
#include <gtest/gtest.h>

using namespace tavrelsim;
using simtest::ask;
using simtest::block;
using simtest::blockData;

namespace {

TEST(LearnString, LongAndShortFormsGiveTheSameBlock) {
    TavrelScope scope;
    const QByteArray longForm = ask(scope, ":SYSTem:SETup?");
    EXPECT_EQ(ask(scope, ":syst:set?"), longForm);
    ASSERT_TRUE(longForm.endsWith('\n'));
    const QByteArray data = blockData(longForm);
    EXPECT_EQ(block(data) + '\n', longForm) << "a definite-length block and a newline, nothing else";
    EXPECT_GE(data.size(), 300);
}

TEST(LearnString, DataHoldsEveryByteValue) {
    TavrelScope scope;
    const QByteArray data = blockData(ask(scope, ":SYST:SET?"));
    QSet<char> seen(data.begin(), data.end());
    EXPECT_EQ(seen.size(), 256) << "the host must read blocks by length, not up to a newline or '#'";
}

TEST(LearnString, RoundTripRestoresTheWholeState) {
    TavrelScope scope;
    ask(scope, ":CHAN2:SCAL 0.2;DISP ON;OFFS 1.5;COUP GND;:CHAN4:SCAL 5;:TIM:SCAL 2e-6;POS -1e-5");
    const QByteArray saved = blockData(ask(scope, ":SYST:SET?"));
    const ScopeState changed = scope.state();
    ask(scope, "*RST");
    ASSERT_NE(scope.state(), changed);
    ask(scope, ":SYST:SET " + block(saved));
    EXPECT_EQ(ask(scope, ":SYST:ERR?"), "0,\"No error\"\n");
    EXPECT_EQ(scope.state(), changed);
    EXPECT_EQ(blockData(ask(scope, ":SYST:SET?")), saved);
}

TEST(LearnString, RoundTripCarriesEverySubsystem) {
    TavrelScope scope;
    ask(scope, ":CHAN3:PROB 20;PROB:MODE MAN;:TIM:MODE ROLL;REF RIGHT;:ACQ:TYPE AVER;COUN 32;POIN 5000;"
               ":TRIG:MODE NORM;SOUR D9;LEV -2.5;SLOP NEG;COUP AC;:MEAS:SOUR CHAN3;:POD2:DISP ON;THR 3.3;"
               ":WAV:SOUR POD2;FORM ASC;BYT MSBF;POIN MAX;:TRAC4:DISP ON");
    ASSERT_EQ(ask(scope, ":SYST:ERR?"), "0,\"No error\"\n");
    const QByteArray saved = blockData(ask(scope, ":SYST:SET?"));
    const ScopeState changed = scope.state();
    ask(scope, "*RST");
    ask(scope, ":SYST:SET " + block(saved));
    EXPECT_EQ(ask(scope, ":SYST:ERR?"), "0,\"No error\"\n");
    EXPECT_EQ(scope.state(), changed);
    EXPECT_EQ(ask(scope, ":WAV:POIN?;:TRIG:SOUR?;:TIM:REF?"), "5000;D9;RIGH\n");
}

// The sections of the first format alone: what an older scope saved.
QByteArray firstFormatPayload(const ScopeState& state) {
    const QByteArray all = state.serialize();
    QByteArray kept;
    for (qsizetype at = 0; at < all.size();) {
        const qsizetype length = 8 + qFromBigEndian<quint32>(all.constData() + at + 4);
        const QByteArray tag = all.mid(at, 4);
        if (tag == "CHAN" || tag == "TIMB" || tag == "DISP") kept += all.mid(at, length);
        at += length;
    }
    return kept;
}

QByteArray withPayload(const QByteArray& payload) {
    QByteArray data =
        LearnString::encode("TV100A", ScopeState::defaults()).left(LearnString::HeaderSize) + payload;
    qToBigEndian<quint32>(quint32(payload.size()), data.data() + 24);
    qToBigEndian<quint32>(LearnString::crc32(payload), data.data() + 28);
    return data;
}

TEST(LearnString, OlderStringWithoutTheNewSectionsRestoresTheirDefaults) {
    TavrelScope scope;
    ask(scope, ":CHAN2:SCAL 0.2;:TIM:SCAL 2e-6");
    const QByteArray old = withPayload(firstFormatPayload(scope.state()));
    ask(scope, ":ACQ:POIN 500;:TRIG:LEV 1;:CHAN2:PROB 10;:CHAN2:SCAL 5");
    ask(scope, ":SYST:SET " + block(old));
    EXPECT_EQ(ask(scope, ":SYST:ERR?"), "0,\"No error\"\n");
    EXPECT_EQ(ask(scope, ":CHAN2:SCAL?;PROB?;:TIM:SCAL?;:ACQ:POIN?;:TRIG:LEV?"),
              "+2.000000E-01;+1.000000E+00;+2.000000E-06;1000000;+0.000000E+00\n");
}

// A header field of the learn string rewritten, the CRC left as it was.
QByteArray patched(QByteArray data, int offset, const QByteArray& bytes) {
    data.replace(offset, bytes.size(), bytes);
    return data;
}

QByteArray withCrc(QByteArray data) {
    qToBigEndian<quint32>(LearnString::crc32(data.mid(LearnString::HeaderSize)), data.data() + 28);
    return data;
}

struct Corruption {
    const char* name;
    std::function<QByteArray(const QByteArray& good)> damage;
    int error;
};

class CorruptLearnString : public ::testing::TestWithParam<Corruption> {};

TEST_P(CorruptLearnString, IsRefusedAndChangesNothing) {
    TavrelScope scope;
    const QByteArray good = blockData(ask(scope, ":SYST:SET?"));
    ask(scope, ":CHAN3:SCAL 7;:TIM:SCAL 1e-8");
    const ScopeState before = scope.state();
    ask(scope, ":SYST:SET " + block(GetParam().damage(good)));
    EXPECT_EQ(ask(scope, ":SYST:ERR?").split(',').first(), QByteArray::number(GetParam().error));
    EXPECT_EQ(scope.state(), before);
}

ScopeState outOfRange(const std::function<void(ScopeState&)>& change) {
    ScopeState s = ScopeState::defaults();
    change(s);
    return s;
}

Corruption rangeCase(const char* name, std::function<void(ScopeState&)> change) {
    return Corruption{
        name, [change](const QByteArray&) { return LearnString::encode("TV100A", outOfRange(change)); },
        -222};
}

INSTANTIATE_TEST_SUITE_P(
    Blocks, CorruptLearnString,
    ::testing::Values(
        Corruption{"magic", [](const QByteArray& g) { return patched(g, 0, "XVLS"); }, -222},
        Corruption{"version", [](const QByteArray& g) { return patched(g, 5, "\x02"); }, -222},
        Corruption{"payload_bit",
                   [](const QByteArray& g) { return patched(g, 40, QByteArray(1, g[40] ^ 1)); }, -222},
        Corruption{"one_byte_short", [](const QByteArray& g) { return g.chopped(1); }, -222},
        Corruption{"one_byte_long", [](const QByteArray& g) { return g + '\n'; }, -222},
        Corruption{"length_field",
                   [](const QByteArray& g) { return patched(g, 24, QByteArray("\0\0\0\x05", 4)); }, -222},
        Corruption{"header_only", [](const QByteArray& g) { return g.left(LearnString::HeaderSize); }, -222},
        Corruption{"empty", [](const QByteArray&) { return QByteArray(); }, -222},
        Corruption{"sections_swapped_crc_fixed",
                   [](const QByteArray& g) { return withCrc(patched(g, 32, "TIMB")); }, -222},
        rangeCase("scale_out_of_range", [](ScopeState& s) { s.channels[1].scale = 1000; }),
        rangeCase("probe_not_offered", [](ScopeState& s) { s.channels[0].probe = 5; }),
        rangeCase("count_not_offered", [](ScopeState& s) { s.acquire.count = 3; }),
        rangeCase("record_too_short", [](ScopeState& s) { s.acquire.points = 10; }),
        rangeCase("trigger_source_pod", [](ScopeState& s) { s.trigger.source = ScopeSource::Pod1; }),
        rangeCase("waveform_source_line", [](ScopeState& s) { s.waveform.source = ScopeSource::Line; }),
        rangeCase("reference_unknown", [](ScopeState& s) { s.timebase.reference = 3; }),
        rangeCase("threshold_out_of_range", [](ScopeState& s) { s.pods[1].threshold = 20; }),
        Corruption{"unknown_section",
                   [](const QByteArray&) {
                       return withPayload(ScopeState::defaults().serialize() +
                                          QByteArray("XTRA\0\0\0\1\0", 9));
                   },
                   -222},
        Corruption{"first_format_section_missing",
                   [](const QByteArray&) {
                       const QByteArray all = ScopeState::defaults().serialize(); // CHAN comes first
                       return withPayload(all.mid(8 + qFromBigEndian<quint32>(all.constData() + 4)));
                   },
                   -222},
        Corruption{"other_model",
                   [](const QByteArray&) {
                       TavrelScope other(ScopeIdentity{"TV200B", "CT42000212", "B.02.05"});
                       return blockData(ask(other, ":SYST:SET?"));
                   },
                   -224}),
    [](const auto& info) { return std::string(info.param.name); });

// Over the bus the block's "\n" bytes and a block split across writes must not end the command.
TEST(LearnString, RestoresThroughEndpointsWhateverTheChunking) {
    for (SimConnection::Bus bus : {SimConnection::Gpib, SimConnection::Socket}) {
        auto instrument = std::make_shared<SimInstrument>(std::make_unique<TavrelScope>());
        SimConnection ep(instrument, bus);
        ep.write(":CHAN2:SCAL 0.2;:TIM:SCAL 5e-9\n");
        const QByteArray saved = blockData(simtest::query(ep, ":SYST:SET?"));
        ASSERT_TRUE(saved.contains('\n'));
        ep.write("*RST\n");
        const QByteArray command = ":SYST:SET " + block(saved) + '\n';
        const qsizetype cut =
            command.indexOf(saved) + saved.indexOf('\n') + 1; // inside the data, after a newline
        if (bus == SimConnection::Gpib) {
            ep.write(command); // one write: END comes after the terminator
        } else {
            ep.write(command.left(13));
            ep.write(command.mid(13, cut - 13));
            ep.write(command.mid(cut));
        }
        EXPECT_EQ(simtest::query(ep, ":SYST:ERR?;:CHAN2:SCAL?;:TIM:SCAL?"),
                  "0,\"No error\";+2.000000E-01;+5.000000E-09\n")
            << "bus " << bus;
    }
}

TEST(LearnString, BlockCutShortByEndIsRefused) {
    auto instrument = std::make_shared<SimInstrument>(std::make_unique<TavrelScope>());
    SimConnection ep(instrument, SimConnection::Gpib);
    ep.write(":CHAN2:SCAL 0.2\n");
    const QByteArray full = ":SYST:SET " + block(LearnString::encode("TV100A", ScopeState::defaults()));
    ep.write(full.chopped(10)); // END arrives while ten data bytes are still owed
    EXPECT_EQ(simtest::query(ep, ":SYST:ERR?;:CHAN2:SCAL?"), "-161,\"Invalid block data\";+2.000000E-01\n");
}

} // namespace
