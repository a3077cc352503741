#include "SimTestSupport.h"
#include "sim/ScpiFramer.h"

#include <gtest/gtest.h>

using namespace tavrelsim;
using simtest::ask;

namespace {

struct Exchange {
    const char* setup;    // sent first; must raise no error
    const char* query;    // then this
    const char* expected; // its whole response
};

void PrintTo(const Exchange& e, std::ostream* os) {
    *os << e.setup << " / " << e.query;
}

class ScopeExchange : public ::testing::TestWithParam<Exchange> {};

TEST_P(ScopeExchange, AnswersAsExpected) {
    TavrelScope scope;
    ask(scope, GetParam().setup);
    EXPECT_EQ(ask(scope, GetParam().query), QByteArray(GetParam().expected));
    EXPECT_EQ(ask(scope, ":SYST:ERR?"), "0,\"No error\"\n") << "setup: " << GetParam().setup;
}

INSTANTIATE_TEST_SUITE_P(
    FormsAndPaths, ScopeExchange,
    ::testing::Values(Exchange{"", "*IDN?", "CORVANE TECHNOLOGIES,TV100A,CT41000107,A.01.02\n"},
                      Exchange{"", "*idn?", "CORVANE TECHNOLOGIES,TV100A,CT41000107,A.01.02\n"},
                      Exchange{":CHANnel2:SCALe 0.5", ":chan2:scal?", "+5.000000E-01\n"},
                      Exchange{":CHAN2:SCAL 0.25", ":Channel2:Scale?", "+2.500000E-01\n"},
                      Exchange{"  :TIM:SCAL 2E-3  ", ":TIMEBASE:SCALE?", "+2.000000E-03\n"},
                      Exchange{":TIM:SCAL 2.5 e -6", ":TIM:SCAL?", "+2.500000E-06\n"},
                      Exchange{":TIM:SCAL MAX", ":TIM:SCAL?", "+5.000000E+01\n"},
                      // After ";" a header without a leading colon continues the previous subsystem.
                      Exchange{":CHAN3:SCAL 2;DISP ON;OFFS -1", ":CHAN3:DISP?;OFFS?;SCAL?",
                               "1;-1.000000E+00;+2.000000E+00\n"},
                      Exchange{":CHAN4:SCAL 3;*CLS;DISP ON", ":CHAN4:DISP?", "1\n"},
                      Exchange{":CHAN1:SCAL 2;:TIM:SCAL 1e-6", ":TIM:SCAL?;:CHAN1:SCAL?",
                               "+1.000000E-06;+2.000000E+00\n"},
                      Exchange{":CHAN:SCAL 0.1", ":CHAN1:SCAL?", "+1.000000E-01\n"},
                      Exchange{":CHAN1:COUP ac", ":CHAN1:COUPLING?", "AC\n"},
                      Exchange{":CHAN2:DISP 1;:CHAN1:DISP OFF", ":CHAN1:DISP?;:CHAN2:DISP?", "0;1\n"},
                      Exchange{"*ESE 36;*SRE 16", "*ESE?;*SRE?", "36;16\n"},
                      Exchange{"", "*OPC?;*TST?", "1;0\n"},
                      Exchange{"", ":SYST:ERR:NEXT?", "0,\"No error\"\n"},
                      Exchange{"", ":SYST:VERS?", "1999.0\n"}, Exchange{";;", "*OPC?\r", "1\n"}));

struct Fault {
    const char* command;
    int error;
};

void PrintTo(const Fault& f, std::ostream* os) {
    *os << f.command;
}

class ScopeError : public ::testing::TestWithParam<Fault> {};

TEST_P(ScopeError, QueuesTheErrorAndNothingElse) {
    TavrelScope scope;
    const QByteArray before = scope.learnString();
    EXPECT_EQ(ask(scope, GetParam().command), QByteArray());
    EXPECT_EQ(ask(scope, ":SYST:ERR?").split(',').first(), QByteArray::number(GetParam().error));
    EXPECT_EQ(ask(scope, ":SYST:ERR?"), "0,\"No error\"\n");
    EXPECT_EQ(scope.learnString(), before);
}

INSTANTIATE_TEST_SUITE_P(BadInput, ScopeError,
                         ::testing::Values(Fault{":FOO?", -113}, Fault{":CHAN1:BOGUS 1", -113},
                                           Fault{"SCAL 1", -113}, Fault{"*IDN", -113},
                                           Fault{":CHAN5:SCAL?", -114}, Fault{":CHAN0:SCAL 1", -114},
                                           Fault{":CHAN1:SCAL", -109}, Fault{":CHAN1:SCAL 1,2", -108},
                                           Fault{"*IDN? 1", -108}, Fault{":CHAN1:SCAL abc", -224},
                                           Fault{":CHAN1:COUP XYZ", -224}, Fault{":CHAN1:DISP MAYBE", -224},
                                           Fault{":CHAN1:SCAL 99", -222}, Fault{":TIM:SCAL -1", -222},
                                           Fault{":TIM:SCAL 5E-10", -222}, Fault{":TIM:SCAL -1e-8", -222},
                                           Fault{":CHAN1:SCAL 1V", -138}, Fault{":CHAN1:SCAL \"1\"", -104},
                                           Fault{":SYST:SET 5", -104}, Fault{":SYST::ERR?", -102},
                                           Fault{"*IDN?x", -102}, Fault{":CHAN1:SCAL 'open", -151},
                                           Fault{":SYST:SET #9123", -161}, Fault{":CHAN1:SCAL 1 2", -224},
                                           Fault{":CHAN1:SCAL ,1", -102}));

TEST(ScopeParser, CommandErrorVoidsTheRestOfTheMessage) {
    TavrelScope scope;
    EXPECT_EQ(ask(scope, ":CHAN1:SCAL 2;:BOGUS;:CHAN1:SCAL 3;*IDN?"), QByteArray());
    EXPECT_EQ(ask(scope, ":CHAN1:SCAL?"), "+2.000000E+00\n");
    EXPECT_EQ(ask(scope, ":SYST:ERR?;ERR?"), "-113,\"Undefined header\";0,\"No error\"\n");
}

TEST(ScopeParser, ExecutionErrorLetsTheMessageGoOn) {
    TavrelScope scope;
    EXPECT_EQ(ask(scope, ":CHAN1:SCAL 99;:CHAN1:SCAL 3;SCAL?"), "+3.000000E+00\n");
    EXPECT_EQ(ask(scope, ":SYST:ERR?"), "-222,\"Data out of range\"\n");
}

TEST(ScopeParser, QuotedSemicolonDoesNotSplit) {
    TavrelScope scope;
    ask(scope, ":CHAN1:SCAL \"a;b\"");
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
    EXPECT_EQ(ask(scope, ":SYST:ERR?"), "0,\"No error\"\n");
}

struct Framing {
    QList<QByteArray> chunks; // the last one carries END when end is set
    bool end;
    QList<QByteArray> messages;
};

void PrintTo(const Framing& f, std::ostream* os) {
    *os << QByteArray(f.chunks.join('|')).replace('\n', "\\n").toStdString() << (f.end ? " END" : "");
}

class FramerCase : public ::testing::TestWithParam<Framing> {};

TEST_P(FramerCase, CutsMessagesWhereTheyEnd) {
    ScpiFramer framer;
    QList<QByteArray> got;
    for (qsizetype i = 0; i < GetParam().chunks.size(); ++i)
        got += framer.feed(GetParam().chunks[i], GetParam().end && i == GetParam().chunks.size() - 1);
    EXPECT_EQ(got, GetParam().messages);
}

INSTANTIATE_TEST_SUITE_P(
    Streams, FramerCase,
    ::testing::Values(Framing{{"A\nB\n"}, false, {"A", "B"}}, Framing{{"A", "B\n"}, false, {"AB"}},
                      Framing{{"*IDN?"}, true, {"*IDN?"}}, Framing{{"*IDN?\n"}, true, {"*IDN?"}},
                      Framing{{"X #15ab\ncd\n"}, false, {"X #15ab\ncd"}},
                      Framing{{"X #", "2", "0", "5a\nb", "cd", "e\nY\n"}, false, {"X #205a\nbcde", "Y"}},
                      Framing{{"X #210abc"}, true, {"X #210abc"}}, // cut short by END
                      Framing{{"X #210abc\n"}, false, {}},         // still counting
                      Framing{{"X #0ab\n"}, false, {"X #0ab"}}, Framing{{"X #H1F\n"}, false, {"X #H1F"}},
                      Framing{{"X '#15'\nY\n"}, false, {"X '#15'", "Y"}}));

} // namespace
