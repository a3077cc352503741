#include "sim/LearnString.h"
#include "SimTestSupport.h"
#include "sim/SimConnection.h"
#include "sim/SimInstrument.h"

#include <QSet>
#include <QtEndian>
#include <gtest/gtest.h>

using namespace tavrelsim;
using simtest::ask;
using simtest::block;
using simtest::blockData;
using simtest::NoError;

namespace {

TEST(LearnString, OneBlockOfAnyBytesRestoringEverySubsystem) {
    TavrelScope scope;
    ask(scope, ":CHAN2:SCAL 0.2;DISP ON;OFFS 1.5;COUP GND;:CHAN3:PROB 20;PROB:MODE MAN;:TIM:SCAL 2e-6;"
               "POS -1e-5;MODE ROLL;REF RIGHT;:ACQ:TYPE AVER;COUN 32;POIN 5000;:TRIG:MODE NORM;SOUR D9;"
               "LEV -2.5;SLOP NEG;COUP AC;:MEAS:SOUR CHAN3;:POD2:DISP ON;THR 3.3;:WAV:SOUR POD2;FORM ASC;"
               "BYT MSBF;POIN MAX;:TRAC4:DISP ON");
    ASSERT_EQ(ask(scope, ":SYST:ERR?"), NoError);
    const QByteArray reply = ask(scope, ":SYSTem:SETup?"), saved = blockData(reply);
    EXPECT_EQ(block(saved) + '\n', reply) << "a definite-length block and a newline, nothing else";
    EXPECT_EQ(QSet<char>(saved.begin(), saved.end()).size(), 256) << "blocks are read by length alone";
    const ScopeState changed = scope.state();
    ask(scope, "*RST");
    ASSERT_NE(scope.state(), changed);
    ask(scope, ":SYST:SET " + block(saved));
    EXPECT_EQ(ask(scope, ":SYST:ERR?"), NoError);
    EXPECT_EQ(scope.state(), changed);
    EXPECT_EQ(blockData(ask(scope, ":SYST:SET?")), saved);
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

QByteArray withCrc(QByteArray data) {
    qToBigEndian<quint32>(LearnString::crc32(data.mid(LearnString::HeaderSize)), data.data() + 28);
    return data;
}

QByteArray withPayload(const QByteArray& payload) {
    QByteArray data =
        LearnString::encode("TV100A", ScopeState::defaults()).left(LearnString::HeaderSize) + payload;
    qToBigEndian<quint32>(quint32(payload.size()), data.data() + 24);
    return withCrc(data);
}

TEST(LearnString, OlderStringWithoutTheNewSectionsRestoresTheirDefaults) {
    TavrelScope scope;
    ask(scope, ":CHAN2:SCAL 0.2;:TIM:SCAL 2e-6");
    const QByteArray old = withPayload(firstFormatPayload(scope.state()));
    ask(scope, ":ACQ:POIN 500;:TRIG:LEV 1;:CHAN2:PROB 10;:CHAN2:SCAL 5");
    ask(scope, ":SYST:SET " + block(old));
    EXPECT_EQ(ask(scope, ":SYST:ERR?"), NoError);
    EXPECT_EQ(ask(scope, ":CHAN2:SCAL?;PROB?;:TIM:SCAL?;:ACQ:POIN?;:TRIG:LEV?"),
              "+2.000000E-01;+1.000000E+00;+2.000000E-06;1000000;+0.000000E+00\n");
}

// A header field of the learn string rewritten, the CRC left as it was.
QByteArray patched(QByteArray data, int offset, const QByteArray& bytes) {
    data.replace(offset, bytes.size(), bytes);
    return data;
}

// A sound string of a state with one setting out of range.
QByteArray encodedWith(void (*change)(ScopeState&)) {
    ScopeState s = ScopeState::defaults();
    change(s);
    return LearnString::encode("TV100A", s);
}

// Damage anywhere, or a setting out of range in an otherwise sound string: refused, nothing changed.
TEST(LearnString, CorruptStringIsRefusedAndChangesNothing) {
    TavrelScope model;
    const QByteArray g = blockData(ask(model, ":SYST:SET?"));
    const QByteArray all = ScopeState::defaults().serialize(); // CHAN comes first
    TavrelScope other(ScopeIdentity{"TV200B", "CT42000212", "B.02.05"});
    struct Case {
        const char* name;
        QByteArray data;
        int error = -222;
    };
    const Case cases[] = {
        {"magic", patched(g, 0, "XVLS")},
        {"version", patched(g, 5, "\x02")},
        {"payload bit", patched(g, 40, QByteArray(1, g[40] ^ 1))},
        {"one byte short", g.chopped(1)},
        {"one byte long", g + '\n'},
        {"length field", patched(g, 24, QByteArray("\0\0\0\x05", 4))},
        {"header only", g.left(LearnString::HeaderSize)},
        {"empty", QByteArray()},
        {"sections swapped, CRC fixed", withCrc(patched(g, 32, "TIMB"))},
        {"unknown section", withPayload(all + QByteArray("XTRA\0\0\0\1\0", 9))},
        {"first-format section missing",
         withPayload(all.mid(8 + qFromBigEndian<quint32>(all.constData() + 4)))},
        {"other model", blockData(ask(other, ":SYST:SET?")), -224},
        {"scale", encodedWith([](ScopeState& s) { s.channels[1].scale = 1000; })},
        {"probe not offered", encodedWith([](ScopeState& s) { s.channels[0].probe = 5; })},
        {"count not offered", encodedWith([](ScopeState& s) { s.acquire.count = 3; })},
        {"record too short", encodedWith([](ScopeState& s) { s.acquire.points = 10; })},
        {"trigger on a pod", encodedWith([](ScopeState& s) { s.trigger.source = ScopeSource::Pod1; })},
        {"waveform of the line", encodedWith([](ScopeState& s) { s.waveform.source = ScopeSource::Line; })},
        {"unknown reference", encodedWith([](ScopeState& s) { s.timebase.reference = 3; })},
        {"threshold", encodedWith([](ScopeState& s) { s.pods[1].threshold = 20; })}};
    for (const Case& c : cases) {
        TavrelScope scope;
        ask(scope, ":CHAN3:SCAL 7;:TIM:SCAL 1e-8");
        const ScopeState before = scope.state();
        ask(scope, ":SYST:SET " + block(c.data));
        EXPECT_EQ(simtest::nextError(scope), c.error) << c.name;
        EXPECT_EQ(scope.state(), before) << c.name;
    }
}

// Over the bus the block's "\n" bytes and a block split across writes must not end the command;
// END while data bytes are still owed does, and the block is refused.
TEST(LearnString, RestoresThroughEndpointsWhateverTheChunking) {
    for (SimConnection::Bus bus : {SimConnection::Gpib, SimConnection::Socket}) {
        SimConnection ep(std::make_shared<SimInstrument>(std::make_unique<TavrelScope>()), bus);
        ep.write(":CHAN2:SCAL 0.2;:TIM:SCAL 5e-9\n");
        const QByteArray saved = blockData(simtest::query(ep, ":SYST:SET?"));
        ASSERT_TRUE(saved.contains('\n'));
        ep.write("*RST\n");
        const QByteArray command = ":SYST:SET " + block(saved) + '\n';
        const qsizetype cut =
            command.indexOf(saved) + saved.indexOf('\n') + 1; // in the data, after a newline
        const QList<QByteArray> writes =
            bus == SimConnection::Gpib // one write: END after the terminator
                ? QList{command}
                : QList{command.left(13), command.mid(13, cut - 13), command.mid(cut)};
        for (const QByteArray& w : writes)
            ep.write(w);
        EXPECT_EQ(simtest::query(ep, ":SYST:ERR?;:CHAN2:SCAL?;:TIM:SCAL?"),
                  NoError.chopped(1) + ";+2.000000E-01;+5.000000E-09\n")
            << "bus " << bus;
    }
    SimConnection ep(std::make_shared<SimInstrument>(std::make_unique<TavrelScope>()), SimConnection::Gpib);
    ep.write(":CHAN2:SCAL 0.2\n");
    ep.write((":SYST:SET " + block(LearnString::encode("TV100A", ScopeState::defaults()))).chopped(10));
    EXPECT_EQ(simtest::query(ep, ":SYST:ERR?;:CHAN2:SCAL?"), "-161,\"Invalid block data\";+2.000000E-01\n");
}

} // namespace
