#include "sim/InputSignals.h"

#include "sim/SeededNoise.h"

#include <array>
#include <cmath>
#include <numbers>

namespace tavrelsim::InputSignals {
namespace {

constexpr double Periods[4] = {1e-3, 0.5e-3, 2e-3, 0};

// A sine table with linear interpolation: far below a 16-bit code step, and cheaper than sin().
constexpr int SineSteps = 4096; // 2^12: the index is the phase's top 12 bits
const std::array<float, SineSteps + 1>& sineTable() {
    static const std::array<float, SineSteps + 1> table = [] {
        std::array<float, SineSteps + 1> t{};
        for (int i = 0; i <= SineSteps; ++i)
            t[size_t(i)] = float(std::sin(2 * std::numbers::pi * i / SineSteps));
        return t;
    }();
    return table;
}

// The square as a function of the phase 0..1: the rising edge is centred on phase 0, the falling
// one on the duty cycle, so the 50 % points are exactly 25 % of a period apart.
inline double square(double phase) {
    constexpr double r = SquareEdge / 0.5e-3, half = r / 2;
    constexpr double fall = SquareDuty;
    if (phase < half) return SquareHigh * (phase + half) / r;
    if (phase < fall - half) return SquareHigh;
    if (phase < fall + half) return SquareHigh * (1 - (phase - (fall - half)) / r);
    if (phase < 1 - half) return 0;
    return SquareHigh * (phase - (1 - half)) / r;
}

inline double ramp(double phase) {
    return -1 + 2 * phase;
}

double startPhase(double t0, double period) {
    double phase = std::fmod(t0, period) / period;
    if (phase < 0) phase += 1;
    return phase >= 1 ? 0 : phase;
}

// The phase runs in 64-bit fixed point: wrapping is free and exact, and the loop stays free of
// floor() and of calls, which keeps a million samples to a few milliseconds.
template <bool Accumulate, typename Shape>
void fillPeriodic(Shape shape, double t0, double step, double period, Shaping s, float* out,
                  qsizetype count) {
    constexpr double Unit = 18446744073709551616.0; // 2^64
    double dphase = step / period;
    dphase -= std::floor(dphase);
    quint64 phase = quint64(startPhase(t0, period) * Unit / 2) * 2;
    const quint64 advance = quint64(dphase * Unit / 2) * 2;
    for (qsizetype i = 0; i < count; ++i, phase += advance) {
        const float v = float(s.gain * shape(phase) + s.bias);
        if constexpr (Accumulate)
            out[i] += v;
        else
            out[i] = v;
    }
}

template <bool Accumulate>
void fillNoise(Shaping s, quint64 key, qint64 index0, float* out, qsizetype count) {
    const float base = float(s.gain * NoiseMean + s.bias), amp = float(s.gain * NoiseRms);
    for (qsizetype i = 0; i < count; ++i) {
        const float v = base + amp * SeededNoise::gaussian(key, index0 + i);
        if constexpr (Accumulate)
            out[i] += v;
        else
            out[i] = v;
    }
}

template <bool Accumulate>
void fillChannel(int channel, double t0, double step, Shaping s, quint64 key, qint64 index0, float* out,
                 qsizetype count) {
    // Shapes take the 64-bit phase; the sine's table index is its top bits, the rest interpolates.
    const float* table = sineTable().data();
    auto sine = [table](quint64 phase) {
        const size_t k = size_t(phase >> 52);
        const float f = float(quint32(phase >> 20)) * (1.0f / 4294967296.0f);
        return double(table[k] + (table[k + 1] - table[k]) * f);
    };
    auto real = [](quint64 phase) { return double(qint64(phase >> 11)) * (1.0 / 9007199254740992.0); };
    // Lambdas, not function pointers: each shape gets a loop of its own with the shape inlined.
    switch (channel) {
    case 0:
        return fillPeriodic<Accumulate>(sine, t0, step, Periods[0], s, out, count);
    case 1:
        return fillPeriodic<Accumulate>([real](quint64 p) { return square(real(p)); }, t0, step, Periods[1],
                                        s, out, count);
    case 2:
        return fillPeriodic<Accumulate>([real](quint64 p) { return ramp(real(p)); }, t0, step, Periods[2], s,
                                        out, count);
    default:
        return fillNoise<Accumulate>(s, key, index0, out, count);
    }
}

} // namespace

double period(int channel) {
    return Periods[channel];
}

double mean(int channel) {
    constexpr double Means[4] = {0, SquareHigh * SquareDuty, 0, NoiseMean};
    return Means[channel];
}

double minimum(int channel) {
    constexpr double Minima[4] = {-1, 0, -1, NoiseMean - NoiseRms * SeededNoise::PeakDeviation};
    return Minima[channel];
}

double maximum(int channel) {
    constexpr double Maxima[4] = {1, SquareHigh, 1, NoiseMean + NoiseRms * SeededNoise::PeakDeviation};
    return Maxima[channel];
}

double valueAt(int channel, double time) {
    if (channel == 3) return NoiseMean;
    const double phase = startPhase(time, Periods[channel]);
    switch (channel) {
    case 0:
        return std::sin(2 * std::numbers::pi * phase);
    case 1:
        return square(phase);
    default:
        return ramp(phase);
    }
}

void fill(int channel, double t0, double step, Shaping shaping, quint64 noiseKey, qint64 noiseIndex0,
          float* out, qsizetype count, bool accumulate) {
    if (accumulate)
        fillChannel<true>(channel, t0, step, shaping, noiseKey, noiseIndex0, out, count);
    else
        fillChannel<false>(channel, t0, step, shaping, noiseKey, noiseIndex0, out, count);
}

} // namespace tavrelsim::InputSignals
