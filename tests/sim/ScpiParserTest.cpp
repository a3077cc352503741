// SCPI parsing, the error queue and status, the framer, and every subsystem's settings.

#include "SimTestSupport.h"
#include "sim/ScpiFramer.h"

#include <gtest/gtest.h>

using namespace tavrelsim;
using simtest::ask;
using simtest::NoError;

namespace {

TEST(ScopeParser, FormsPathsAndSettingsReadBack) {
    const struct {
        const char *setup, *query, *expected; // the setup must raise no error
    } cases[] = {
        {"", "*idn?", "CORVANE TECHNOLOGIES,TV100A,CT41000107,A.01.02\n"},
        {":CHANnel2:SCALe 0.5;:CHAN1:COUP ac;DISP OFF", ":Channel2:Scale?;:CHAN1:COUPLING?;DISP?",
         "+5.000000E-01;AC;0\n"},
        {"  :TIM:SCAL 2E-3  ", ":TIMEBASE:SCALE?", "+2.000000E-03\n"},
        {":TIM:SCAL 2.5 e -6", ":TIM:SCAL?", "+2.500000E-06\n"},
        {":TIM:SCAL MAX", ":TIM:SCAL?", "+5.000000E+01\n"},
        // After ";" a header without a leading colon continues the previous subsystem.
        {":CHAN3:SCAL 2;DISP ON;OFFS -1", ":CHAN3:DISP?;OFFS?;SCAL?", "1;-1.000000E+00;+2.000000E+00\n"},
        {":CHAN4:SCAL 3;*CLS;DISP ON", ":CHAN4:DISP?", "1\n"},
        {":CHAN1:SCAL 2;:TIM:SCAL 1e-6", ":TIM:SCAL?;:CHAN1:SCAL?", "+1.000000E-06;+2.000000E+00\n"},
        {":CHAN1:PROB 20;PROB:MODE AUTO", ":CHAN1:PROB?;PROB:MODE?", "+2.000000E+01;AUTO\n"},
        {":CHAN:SCAL 0.1", ":CHAN1:SCAL?", "+1.000000E-01\n"},
        {"*ESE 36;*SRE 16", "*ESE?;*SRE?;*OPC?;*TST?;:SYST:VERS?;ERR:NEXT?",
         "36;16;1;0;1999.0;0,\"No error\"\n"},
        {";;", "*OPC?\r", "1\n"},
        {":CHANnel3:PROBe 100;:CHAN4:PROB MAX", ":chan3:prob?;:CHAN4:PROB?", "+1.000000E+02;+1.000000E+02\n"},
        {":TIM:MODE xy;REFerence RIGHT", ":TIMebase:MODE?;REF?", "XY;RIGH\n"},
        {":TIM:MODE DELayed;:ACQ:TYPE glitch", ":TIM:MODE?;:ACQ:TYPE?", "DEL;GLIT\n"},
        {":ACQ:COUN 256;POIN MIN", ":ACQuire:COUNt?;POIN?", "256;100\n"},
        {":TRIG:MODE AUTolevel;SOURce external", ":TRIG:MODE?;SOUR?", "AUT;EXT\n"},
        {":TRIG:SOUR d0;LEV -0.25", ":TRIG:SOUR?;LEV?", "D0;-2.500000E-01\n"},
        {":MEAS:SOUR CHANnel4;:POD2:DISP ON", ":MEAS:SOUR?;:POD2:DISP?;:POD1:DISP?", "CHAN4;1;0\n"},
        {":TRIG:SOUR D15;:POD1:THR -3.5", ":TRIG:SOUR?;:POD1:THR?;:POD2:THR?",
         "D15;-3.500000E+00;+1.400000E+00\n"},
        {":WAV:SOUR LOGic;FORM ASCii;BYT MSBF", ":WAV:SOUR?;FORM?;BYT?", "LOG;ASC;MSBF\n"},
        {":WAV:SOUR CHAN;POIN MAX", ":WAV:SOUR?;POIN?", "CHAN1;1000000\n"},
        {":ACQ:POIN 500;:WAV:POIN 2000;:SINGle", ":WAV:POIN?;:OPER:COND?", "500;STOP\n"},
        {":ACQ:POIN 1500;:WAV:POIN 1000;:DIG CHAN1,POD2,CHANnel4", ":WAV:POIN?;:RST?",
         "750;STOP\n"}, // every 2nd
        {":TRAC3:DISP ON;:STOP;:RUN", ":TRAC3:DISP?;:TRAC1:DISP?;:RSTate?", "1;0;RUN\n"}};
    for (const auto& c : cases) {
        TavrelScope scope;
        ask(scope, c.setup);
        EXPECT_EQ(ask(scope, c.query), QByteArray(c.expected)) << c.setup << " / " << c.query;
        EXPECT_EQ(ask(scope, ":SYST:ERR?"), NoError) << c.setup;
    }
}

TEST(ScopeParser, BadInputQueuesItsErrorAndChangesNothing) {
    const struct {
        int error;
        std::initializer_list<const char*> commands;
    } cases[] = {{-113, {":FOO?", ":CHAN1:BOGUS 1", "SCAL 1", "*IDN"}},
                 {-114, {":CHAN5:SCAL?", ":CHAN0:SCAL 1", ":POD3:DISP ON", ":TRAC5:DISP ON"}},
                 {-109, {":CHAN1:SCAL", ":WAV:POIN", ":TRAC1:STOR"}},
                 {-108,
                  {":CHAN1:SCAL 1,2", "*IDN? 1", ":MEAS:VPP? CHAN1,CHAN2", ":WAV:DATA? 1", ":RUN 1",
                   ":DISP:DATA? PNG,1", ":TRAC1:CLE 1", ":AUT ON"}},
                 {-224, {":CHAN1:SCAL abc", ":CHAN1:SCAL 1 2",       ":CHAN1:COUP XYZ",   ":CHAN1:DISP MAYBE",
                         ":CHAN1:PROB 5",   ":CHAN1:PROB:MODE SEMI", ":TIM:MODE FAST",    ":TIM:REF TOP",
                         ":ACQ:TYPE HIRES", ":ACQ:COUN 3",           ":TRIG:MODE SINGLE", ":TRIG:SOUR CHAN5",
                         ":TRIG:SOUR POD1", ":TRIG:SOUR D16",        ":TRIG:SOUR D",      ":TRIG:SOUR LINE2",
                         ":TRIG:SLOP UP",   ":TRIG:COUP GND",        ":MEAS:SOUR POD1",   ":MEAS:VPP? LINE",
                         ":WAV:SOUR EXT",   ":WAV:SOUR D3",          ":WAV:FORM LONG",    ":WAV:BYT BIG",
                         ":DISP:DATA? JPG", ":TRAC1:STOR POD1",      ":DIG CHAN1,LINE"}},
                 {-222,
                  {":CHAN1:SCAL 99", ":TIM:SCAL -1", ":TIM:SCAL 5E-10", ":TIM:SCAL -1e-8", ":CHAN1:PROB 1000",
                   ":ACQ:COUN 512", ":ACQ:POIN 99", ":ACQ:POIN 2000000", ":TRIG:LEV 1001", ":POD1:THR 9",
                   ":WAV:POIN 50"}},
                 {-138, {":CHAN1:SCAL 1V"}},
                 {-104, {":CHAN1:SCAL \"1\"", ":SYST:SET 5"}},
                 {-102, {":SYST::ERR?", "*IDN?x", ":CHAN1:SCAL ,1"}},
                 {-151, {":CHAN1:SCAL 'open"}},
                 {-161, {":SYST:SET #9123"}}};
    for (const auto& c : cases) {
        for (const char* command : c.commands) {
            TavrelScope scope;
            const QByteArray before = scope.learnString();
            EXPECT_EQ(ask(scope, command), QByteArray()) << command;
            EXPECT_EQ(simtest::nextError(scope), c.error) << command;
            EXPECT_EQ(ask(scope, ":SYST:ERR?;:RST?"), NoError.chopped(1) + ";RUN\n") << command;
            EXPECT_EQ(scope.learnString(), before) << command;
        }
    }
}

TEST(ScopeParser, CommandErrorVoidsTheRestOfTheMessageExecutionErrorDoesNot) {
    TavrelScope scope;
    EXPECT_EQ(ask(scope, ":CHAN1:SCAL 2;:BOGUS;:CHAN1:SCAL 3;*IDN?"), QByteArray());
    EXPECT_EQ(ask(scope, ":CHAN1:SCAL?"), "+2.000000E+00\n");
    EXPECT_EQ(ask(scope, ":SYST:ERR?;ERR?"), "-113,\"Undefined header\";0,\"No error\"\n");
    EXPECT_EQ(ask(scope, ":CHAN1:SCAL 99;:CHAN1:SCAL 3;SCAL?"), "+3.000000E+00\n");
    EXPECT_EQ(ask(scope, ":SYST:ERR?"), "-222,\"Data out of range\"\n");
    ask(scope, ":CHAN1:SCAL \"a;b\""); // the quoted ";" does not split
    EXPECT_EQ(ask(scope, ":SYST:ERR?;ERR?"), "-104,\"Data type error\";0,\"No error\"\n");
}

TEST(ScopeStatus, ResetClearAndEventRegister) {
    TavrelScope scope;
    ask(scope, ":CHAN2:SCAL 5;:TIM:SCAL 1;:NOPE");
    EXPECT_EQ(ask(scope, "*STB?"), "4\n"); // error queue not empty
    ask(scope, "*RST");
    EXPECT_EQ(ask(scope, ":CHAN2:SCAL?;:TIM:SCAL?"), "+1.000000E+00;+1.000000E-03\n");
    EXPECT_EQ(ask(scope, "*ESR?"), "32\n"); // command error bit, *RST leaves it
    EXPECT_EQ(ask(scope, "*ESR?"), "0\n");  // reading clears it
    ask(scope, ":CHAN1:SCAL 99;*OPC;*ESE 16");
    EXPECT_EQ(ask(scope, "*STB?"), "36\n"); // error queue + event summary
    ask(scope, "*CLS");
    EXPECT_EQ(ask(scope, "*ESR?;:SYST:ERR?"), "0;0,\"No error\"\n");
    EXPECT_EQ(scope.execute("*STB?", true).bytes, "16\n"); // message available
}

TEST(ScopeStatus, FullErrorQueueReportsOverflowLast) {
    TavrelScope scope;
    for (int i = 0; i < ScpiStatus::QueueCapacity + 5; ++i)
        ask(scope, ":NOPE");
    for (int i = 0; i < ScpiStatus::QueueCapacity - 1; ++i)
        ASSERT_EQ(ask(scope, ":SYST:ERR?"), "-113,\"Undefined header\"\n") << i;
    EXPECT_EQ(ask(scope, ":SYST:ERR?"), "-350,\"Queue overflow\"\n");
    EXPECT_EQ(ask(scope, ":SYST:ERR?"), NoError);
}

// Every setting the subsystems added comes back to its default with *RST.
TEST(ScopeStatus, ResetRestoresEverySubsystemDefault) {
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
    ASSERT_NE(ask(scope, queries), defaults);
    ask(scope, "*RST");
    EXPECT_EQ(ask(scope, queries), defaults);
}

TEST(ScpiFramer, CutsMessagesWhereTheyEnd) {
    const struct {
        QList<QByteArray> chunks; // the last one carries END when end is set
        bool end;
        QList<QByteArray> messages;
    } cases[] = {{{"A\nB\n"}, false, {"A", "B"}},
                 {{"A", "B\n"}, false, {"AB"}},
                 {{"*IDN?"}, true, {"*IDN?"}},
                 {{"X #15ab\ncd\n"}, false, {"X #15ab\ncd"}},
                 {{"X #", "2", "0", "5a\nb", "cd", "e\nY\n"}, false, {"X #205a\nbcde", "Y"}},
                 {{"X #210abc"}, true, {"X #210abc"}}, // cut short by END
                 {{"X #210abc\n"}, false, {}},         // still counting
                 {{"X #0ab\n"}, false, {"X #0ab"}},
                 {{"X #H1F\n"}, false, {"X #H1F"}},
                 {{"X '#15'\nY\n"}, false, {"X '#15'", "Y"}}};
    for (const auto& c : cases) {
        ScpiFramer framer;
        QList<QByteArray> got;
        for (qsizetype i = 0; i < c.chunks.size(); ++i)
            got += framer.feed(c.chunks[i], c.end && i == c.chunks.size() - 1);
        EXPECT_EQ(got, c.messages) << QByteArray(c.chunks.join('|')).replace('\n', "\\n").toStdString();
    }
}

// A client that never ends its line, or announces a block it never stops sending, costs the server
// no more than one message's worth of memory: the rest is dropped up to the next line end (block
// counts included), the next message is heard and the loss is reported.
TEST(ScpiFramer, DropsAMessageLongerThanItTakes) {
    const QByteArray megabyte(1024 * 1024, 'x');
    for (const QByteArray& start : {QByteArray("X "), QByteArray("X #9999999999")}) {
        ScpiFramer framer;
        QList<QByteArray> got = framer.feed(start, false);
        for (int i = 0; i < 20; ++i)
            got += framer.feed(megabyte, false);
        got += framer.feed("\n*IDN?\n", false);
        EXPECT_EQ(got.size(), 1);
        EXPECT_EQ(got.value(0), "*IDN?");
        EXPECT_EQ(framer.takeOverflows(), 1);
        EXPECT_EQ(framer.takeOverflows(), 0);
    }
}

} // namespace
