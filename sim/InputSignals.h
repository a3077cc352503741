#pragma once

#include <QtGlobal>

namespace tavrelsim {

// The signals wired to the simulated scope's four inputs, in volts at the input connector:
//   1  1 kHz sine, 2 V peak-to-peak around 0 V
//   2  2 kHz square 0..3.3 V, duty cycle 25 %, straight edges of 1 us from 10 % to 90 %
//   3  500 Hz sawtooth ramp -1..1 V
//   4  noise of 0.1 V RMS around 0.5 V
// Channels are numbered 0..3 here. Time 0 is a rising edge (or zero crossing) of channels 1..3.
namespace InputSignals {

constexpr double SquareHigh = 3.3, SquareDuty = 0.25;
constexpr double SquareEdge = 1.25e-6; // whole edge: 10 %..90 % takes 0.8 of it, 1 us
constexpr double NoiseMean = 0.5, NoiseRms = 0.1;

// Seconds; 0 for the noise, which has none.
double period(int channel);
double mean(int channel);
double minimum(int channel);
double maximum(int channel);
// The noise-free value at a time (the noise channel gives its mean).
double valueAt(int channel, double time);

// What the scope makes of an input: gain * input + bias.
struct Shaping {
    double gain = 1;
    double bias = 0;
};

// out[i] = gain * input(t0 + i * step) + bias for count samples, or added to out[i] when
// accumulate is set. The noise channel takes sample noiseIndex0 + i of the stream noiseKey.
void fill(int channel, double t0, double step, Shaping shaping, quint64 noiseKey, qint64 noiseIndex0,
          float* out, qsizetype count, bool accumulate);

} // namespace InputSignals
} // namespace tavrelsim
