// Stored traces: a copy of a channel's record, read like the waveform.

#include "SimTestSupport.h"

#include <gtest/gtest.h>

using namespace tavrelsim;
using simtest::ask;
using simtest::blockData;

namespace {

TEST(TraceMemory, HoldsTheChannelsRecordAsItWas) {
    TavrelScope scope;
    ask(scope, ":ACQ:POIN 5000;:CHAN2:SCAL 0.5;:STOP;:TRAC3:STOR CHAN2");
    const simtest::Waveform channel = simtest::wordWaveform(scope, "CHAN2");
    ask(scope, ":CHAN2:SCAL 2;:ACQ:POIN 1000;:SING"); // a new acquisition with other settings
    const QByteArray preamble = ask(scope, ":TRAC3:PRE?");
    EXPECT_EQ(simtest::Preamble::parse(preamble).yIncrement, channel.preamble.yIncrement);
    EXPECT_EQ(simtest::Preamble::parse(preamble).points, 5000);
    EXPECT_EQ(simtest::words(blockData(ask(scope, ":TRAC3:DATA?"))), channel.codes);
    EXPECT_EQ(ask(scope, ":SYST:ERR?"), "0,\"No error\"\n");
}

TEST(TraceMemory, ReadThroughTheWaveformFormatAndPoints) {
    TavrelScope scope;
    ask(scope, ":ACQ:POIN 5000;:STOP;:TRAC1:STOR CHAN1");
    ask(scope, ":WAV:FORM BYTE;POIN 1000");
    EXPECT_EQ(ask(scope, ":TRAC1:PRE?").split(',').mid(0, 3).join(','), "0,0,1000");
    EXPECT_EQ(blockData(ask(scope, ":TRAC1:DATA?")), blockData(ask(scope, ":WAV:SOUR CHAN1;DATA?")));
    ask(scope, ":WAV:FORM ASC");
    EXPECT_EQ(blockData(ask(scope, ":TRAC1:DATA?")).count(','), 999);
}

TEST(TraceMemory, ClearedOrNeverStoredGivesNoPoints) {
    TavrelScope scope;
    EXPECT_EQ(ask(scope, ":TRAC4:DATA?"), "#10\n");
    ask(scope, ":ACQ:POIN 1000;:TRAC4:STOR CHAN4");
    EXPECT_EQ(blockData(ask(scope, ":TRAC4:DATA?")).size(), 1000);
    ask(scope, ":TRAC4:CLE");
    EXPECT_EQ(ask(scope, ":TRAC4:DATA?"), "#10\n");
    EXPECT_EQ(simtest::Preamble::parse(ask(scope, ":TRAC4:PRE?")).points, 0);
    EXPECT_EQ(ask(scope, ":SYST:ERR?"), "0,\"No error\"\n");
}

TEST(TraceMemory, StoringBeforeAnyAcquisitionIsAnError) {
    TavrelScope scope;
    ask(scope, ":TRIG:MODE NORM;SOUR EXT;:TRAC1:STOR CHAN1");
    EXPECT_EQ(ask(scope, ":SYST:ERR?"), "-230,\"Data corrupt or stale\"\n");
}

} // namespace
