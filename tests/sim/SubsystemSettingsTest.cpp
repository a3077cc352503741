// The settings of every subsystem: read back as set, refused with the right error, reset by *RST.

#include "SimTestSupport.h"

#include <gtest/gtest.h>

using namespace tavrelsim;
using simtest::ask;

namespace {

struct Setting {
    const char* set;
    const char* query;
    const char* expected;
};

void PrintTo(const Setting& s, std::ostream* os) {
    *os << s.set << " / " << s.query;
}

class SettingReadBack : public ::testing::TestWithParam<Setting> {};

TEST_P(SettingReadBack, AnswersWhatWasSet) {
    TavrelScope scope;
    ask(scope, GetParam().set);
    EXPECT_EQ(ask(scope, GetParam().query), QByteArray(GetParam().expected) + '\n');
    EXPECT_EQ(ask(scope, ":SYST:ERR?"), "0,\"No error\"\n");
}

INSTANTIATE_TEST_SUITE_P(
    Subsystems, SettingReadBack,
    ::testing::Values(
        Setting{":CHAN2:PROB 10", ":CHAN2:PROB?", "+1.000000E+01"},
        Setting{":CHANnel3:PROBe 100", ":chan3:prob?", "+1.000000E+02"},
        Setting{":CHAN4:PROB MAX", ":CHAN4:PROB?", "+1.000000E+02"},
        Setting{":CHAN1:PROB:MODE MAN", ":CHAN1:PROB:MODE?", "MAN"},
        Setting{":CHAN1:PROB 20;PROB:MODE AUTO", ":CHAN1:PROB?;PROB:MODE?", "+2.000000E+01;AUTO"},
        Setting{":TIM:MODE ROLL", ":TIM:MODE?", "ROLL"}, Setting{":TIM:MODE xy", ":TIMebase:MODE?", "XY"},
        Setting{":TIM:MODE DELayed", ":TIM:MODE?", "DEL"}, Setting{":TIM:REF LEFT", ":TIM:REF?", "LEFT"},
        Setting{":TIMebase:REFerence RIGHT", ":TIM:REF?", "RIGH"},
        Setting{":ACQ:TYPE AVER", ":ACQ:TYPE?", "AVER"}, Setting{":ACQ:TYPE glitch", ":ACQ:TYPE?", "GLIT"},
        Setting{":ACQ:TYPE REAL", ":ACQ:TYPE?", "REAL"}, Setting{":ACQ:TYPE AUTO", ":ACQ:TYPE?", "AUTO"},
        Setting{":ACQ:COUN 64", ":ACQ:COUN?", "64"}, Setting{":ACQ:COUN 256", ":ACQuire:COUNt?", "256"},
        Setting{":ACQ:POIN 12345", ":ACQ:POIN?", "12345"}, Setting{":ACQ:POIN MIN", ":ACQ:POIN?", "100"},
        Setting{":TRIG:MODE NORM", ":TRIG:MODE?", "NORM"},
        Setting{":TRIG:MODE AUTolevel", ":TRIG:MODE?", "AUT"},
        Setting{":TRIG:SOUR CHAN3", ":TRIG:SOUR?", "CHAN3"},
        Setting{":TRIGger:SOURce external", ":TRIG:SOUR?", "EXT"},
        Setting{":TRIG:SOUR LINE", ":TRIG:SOUR?", "LINE"}, Setting{":TRIG:SOUR D15", ":TRIG:SOUR?", "D15"},
        Setting{":TRIG:SOUR d0", ":TRIG:SOUR?", "D0"},
        Setting{":TRIG:LEV -0.25", ":TRIG:LEV?", "-2.500000E-01"},
        Setting{":TRIG:SLOP NEG", ":TRIG:SLOP?", "NEG"}, Setting{":TRIG:COUP AC", ":TRIG:COUP?", "AC"},
        Setting{":MEAS:SOUR CHANnel4", ":MEAS:SOUR?", "CHAN4"},
        Setting{":POD2:DISP ON", ":POD2:DISP?;:POD1:DISP?", "1;0"},
        Setting{":POD1:THR -3.5", ":POD1:THR?;:POD2:THR?", "-3.500000E+00;+1.400000E+00"},
        Setting{":WAV:SOUR POD2", ":WAV:SOUR?", "POD2"}, Setting{":WAV:SOUR LOGic", ":WAV:SOUR?", "LOG"},
        Setting{":WAV:SOUR CHAN", ":WAV:SOUR?", "CHAN1"}, Setting{":WAV:FORM WORD", ":WAV:FORM?", "WORD"},
        Setting{":WAV:FORM ASCii", ":WAV:FORM?", "ASC"}, Setting{":WAV:BYT MSBF", ":WAV:BYT?", "MSBF"},
        Setting{":WAV:POIN 250", ":WAV:POIN?", "250"}, Setting{":WAV:POIN MAX", ":WAV:POIN?", "1000000"},
        Setting{":ACQ:POIN 500;:WAV:POIN 2000", ":WAV:POIN?", "500"},
        Setting{":ACQ:POIN 1500;:WAV:POIN 1000", ":WAV:POIN?", "750"}, // every second sample
        Setting{":TRAC3:DISP ON", ":TRAC3:DISP?;:TRAC1:DISP?", "1;0"}, Setting{":STOP", ":RST?", "STOP"},
        Setting{":STOP;:RUN", ":RSTate?", "RUN"}, Setting{":SINGle", ":OPER:COND?", "STOP"},
        Setting{":DIG CHAN1,POD2,CHANnel4", ":RST?", "STOP"}));

struct Refusal {
    const char* command;
    int error;
};

void PrintTo(const Refusal& r, std::ostream* os) {
    *os << r.command;
}

class SettingRefusal : public ::testing::TestWithParam<Refusal> {};

TEST_P(SettingRefusal, QueuesTheErrorAndChangesNothing) {
    TavrelScope scope;
    const QByteArray before = scope.learnString();
    EXPECT_EQ(ask(scope, GetParam().command), QByteArray());
    EXPECT_EQ(ask(scope, ":SYST:ERR?").split(',').first(), QByteArray::number(GetParam().error));
    EXPECT_EQ(ask(scope, ":SYST:ERR?"), "0,\"No error\"\n");
    EXPECT_EQ(scope.learnString(), before);
    EXPECT_EQ(ask(scope, ":RST?"), "RUN\n");
}

INSTANTIATE_TEST_SUITE_P(
    BadParameters, SettingRefusal,
    ::testing::Values(
        Refusal{":CHAN1:PROB 5", -224}, Refusal{":CHAN1:PROB 1000", -222},
        Refusal{":CHAN1:PROB:MODE SEMI", -224}, Refusal{":TIM:MODE FAST", -224},
        Refusal{":TIM:REF TOP", -224}, Refusal{":ACQ:TYPE HIRES", -224}, Refusal{":ACQ:COUN 3", -224},
        Refusal{":ACQ:COUN 512", -222}, Refusal{":ACQ:POIN 99", -222}, Refusal{":ACQ:POIN 2000000", -222},
        Refusal{":TRIG:MODE SINGLE", -224}, Refusal{":TRIG:SOUR CHAN5", -224},
        Refusal{":TRIG:SOUR POD1", -224}, Refusal{":TRIG:SOUR D16", -224}, Refusal{":TRIG:SOUR D", -224},
        Refusal{":TRIG:SOUR LINE2", -224}, Refusal{":TRIG:LEV 1001", -222}, Refusal{":TRIG:SLOP UP", -224},
        Refusal{":TRIG:COUP GND", -224}, Refusal{":MEAS:SOUR POD1", -224}, Refusal{":MEAS:VPP? LINE", -224},
        Refusal{":MEAS:VPP? CHAN1,CHAN2", -108}, Refusal{":POD3:DISP ON", -114}, Refusal{":POD1:THR 9", -222},
        Refusal{":WAV:SOUR EXT", -224}, Refusal{":WAV:SOUR D3", -224}, Refusal{":WAV:FORM LONG", -224},
        Refusal{":WAV:BYT BIG", -224}, Refusal{":WAV:POIN 50", -222}, Refusal{":WAV:POIN", -109},
        Refusal{":WAV:DATA? 1", -108}, Refusal{":DISP:DATA? JPG", -224}, Refusal{":DISP:DATA? PNG,1", -108},
        Refusal{":TRAC5:DISP ON", -114}, Refusal{":TRAC1:STOR POD1", -224}, Refusal{":TRAC1:STOR", -109},
        Refusal{":TRAC1:CLE 1", -108}, Refusal{":DIG CHAN1,LINE", -224}, Refusal{":RUN 1", -108},
        Refusal{":AUT ON", -108}));

// Every setting the subsystems added comes back to its default with *RST.
TEST(SubsystemDefaults, ResetRestoresEveryOne) {
    TavrelScope scope;
    const QByteArray queries =
        ":CHAN1:PROB?;PROB:MODE?;:TIM:MODE?;REF?;:ACQ:TYPE?;COUN?;POIN?;:TRIG:MODE?;SOUR?;"
        "LEV?;SLOP?;COUP?;:MEAS:SOUR?;:POD1:DISP?;THR?;:WAV:SOUR?;FORM?;BYT?;POIN?;"
        ":TRAC1:DISP?;:RST?";
    const QByteArray defaults = "+1.000000E+00;AUTO;NORM;CENT;NORM;8;1000000;AUTO;CHAN1;+0.000000E+00;POS;DC;"
                                "CHAN1;0;+1.400000E+00;CHAN1;BYTE;LSBF;1000;0;RUN\n";
    EXPECT_EQ(ask(scope, queries), defaults);
    ask(scope, ":CHAN1:PROB 10;PROB:MODE MAN;:TIM:MODE ROLL;REF LEFT;:ACQ:TYPE PEAK;COUN 4;POIN 1000;"
               ":TRIG:MODE NORM;SOUR D3;LEV 1;SLOP NEG;COUP AC;:MEAS:SOUR CHAN2;:POD1:DISP 1;THR 2;"
               ":WAV:SOUR POD1;FORM WORD;BYT MSBF;POIN 100;:TRAC1:DISP 1;:STOP");
    EXPECT_EQ(ask(scope, ":SYST:ERR?"), "0,\"No error\"\n");
    ASSERT_NE(ask(scope, queries), defaults);
    ask(scope, "*RST");
    EXPECT_EQ(ask(scope, queries), defaults);
}

TEST(SubsystemDefaults, ResetForgetsTheAcquisitionButNotTheStoredTraces) {
    TavrelScope scope;
    ask(scope, ":ACQ:POIN 1000;:DIG;:TRAC2:STOR CHAN1");
    ask(scope, "*RST;:TRIG:MODE NORM;SOUR EXT"); // nothing will trigger
    EXPECT_EQ(ask(scope, ":WAV:DATA?"), "#10\n");
    EXPECT_EQ(ask(scope, ":SYST:ERR?"), "-230,\"Data corrupt or stale\"\n");
    EXPECT_EQ(ask(scope, ":MEAS:VPP?"), "+9.900000E+37\n");
    EXPECT_EQ(simtest::Preamble::parse(ask(scope, ":TRAC2:PRE?")).points, 1000);
}

} // namespace
