#pragma once

#include <QtGlobal>

namespace tavrelsim {

// Counter-based noise: sample i of a stream is a pure function of (key, i), so any stretch of a
// stream can be made in any order, and the same commands give the same noise every time.
namespace SeededNoise {

inline quint64 mix(quint64 z) {
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    return z ^ (z >> 31);
}

inline quint64 bits(quint64 key, qint64 index) {
    return mix(key + quint64(index) * 0x9E3779B97F4A7C15ull);
}

// Mean 0, standard deviation 1: the sum of four 16-bit uniforms, close to Gaussian and bounded
// at +-2*sqrt(3), so a noisy trace has a stable peak-to-peak.
inline float gaussian(quint64 key, qint64 index) {
    const quint64 r = bits(key, index);
    const int sum = int(r & 0xFFFF) + int((r >> 16) & 0xFFFF) + int((r >> 32) & 0xFFFF) + int(r >> 48);
    constexpr float scale = 1.7320508f / 65536.0f; // sqrt(12 / 4) per unit of the sum
    return (float(sum) - 131070.0f) * scale;
}

constexpr double PeakDeviation = 3.4641016; // 2 * sqrt(3): |gaussian()| never exceeds it

} // namespace SeededNoise
} // namespace tavrelsim
