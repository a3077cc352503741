// :MEASure against the signals the inputs carry.

#include "SimTestSupport.h"

#include <gtest/gtest.h>

using namespace tavrelsim;
using simtest::ask;

namespace {

struct Expected {
    const char* setup; // after *RST
    const char* query;
    double value;
    double tolerance;
};

void PrintTo(const Expected& e, std::ostream* os) {
    *os << e.setup << " " << e.query;
}

class Measurement : public ::testing::TestWithParam<Expected> {};

TEST_P(Measurement, MatchesTheGeneratedSignal) {
    TavrelScope scope;
    ask(scope, QByteArray(GetParam().setup));
    const double v = simtest::number(scope, GetParam().query);
    EXPECT_NEAR(v, GetParam().value, GetParam().tolerance);
    EXPECT_EQ(ask(scope, ":SYST:ERR?"), "0,\"No error\"\n");
}

constexpr double sineRms = 0.70710678;
constexpr double sineRise = 2 * 0.92729522 / (2 * 3.14159265 * 1000); // asin(0.8) either side of zero

INSTANTIATE_TEST_SUITE_P(
    Signals, Measurement,
    ::testing::Values(
        Expected{"", ":MEAS:FREQ?", 1000, 0.5}, Expected{"", ":MEAS:PER? CHAN1", 1e-3, 1e-6},
        Expected{"", ":MEAS:VPP?", 2, 0.002}, Expected{"", ":MEAS:VAMP?", 2, 0.01},
        Expected{"", ":MEAS:VMAX?", 1, 0.001}, Expected{"", ":MEAS:VMIN?", -1, 0.001},
        Expected{"", ":MEAS:VRMS?", sineRms, 0.001}, Expected{"", ":MEAS:VAV?", 0, 0.001},
        Expected{"", ":MEAS:RIS?", sineRise, 2e-6}, Expected{"", ":MEAS:FALL?", sineRise, 2e-6},
        Expected{":MEAS:SOUR CHAN2", ":MEAS:FREQ?", 2000, 1}, Expected{"", ":MEAS:PER? CHAN2", 0.5e-3, 1e-6},
        Expected{"", ":MEAS:DUTY? CHAN2", 25, 0.1}, Expected{"", ":MEAS:VTOP? CHAN2", 3.3, 0.002},
        Expected{"", ":MEAS:VBAS? CHAN2", 0, 0.002}, Expected{"", ":MEAS:VAMP? CHAN2", 3.3, 0.003},
        Expected{"", ":MEAS:RIS? CHAN2", 1e-6, 0.03e-6}, Expected{"", ":MEAS:FALL? CHAN2", 1e-6, 0.03e-6},
        Expected{"", ":MEAS:VAV? CHAN2", 0.825, 0.003},
        Expected{"", ":MEAS:VRMS? CHAN2", 1.65, 0.005}, // 3.3 * sqrt(0.25)
        Expected{"", ":MEAS:FREQ? CHAN3", 500, 0.5}, Expected{"", ":MEAS:VPP? CHAN3", 2, 0.002},
        Expected{"", ":MEAS:VRMS? CHAN3", 0.57735, 0.002}, // a ramp's 1 / sqrt(3)
        Expected{"", ":MEAS:RIS? CHAN3", 1.6e-3, 5e-6}, Expected{"", ":MEAS:VAV? CHAN4", 0.5, 0.002},
        Expected{":CHAN4:COUP AC", ":MEAS:VRMS? CHAN4", 0.1, 0.002},
        Expected{":CHAN1:PROB 10;SCAL 5", ":MEAS:VPP?", 20, 0.02},
        Expected{":CHAN2:COUP AC", ":MEAS:VAV? CHAN2", 0, 0.003},
        Expected{":CHAN1:COUP GND", ":MEAS:VPP?", 0, 0},
        // Nothing to measure: no edges, no amplitude.
        Expected{":CHAN1:COUP GND", ":MEAS:FREQ?", 9.9e37, 0},
        Expected{":CHAN1:COUP GND", ":MEAS:RIS?", 9.9e37, 0},
        Expected{":TIM:SCAL 1e-5", ":MEAS:FREQ?", 9.9e37, 0}, // a tenth of a period
        Expected{":TIM:SCAL 1e-5", ":MEAS:DUTY? CHAN3", 9.9e37, 0}));

} // namespace
