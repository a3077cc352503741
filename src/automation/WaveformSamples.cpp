#include "automation/WaveformSamples.h"

#include <QtEndian>
#include <cstring>

#if defined(__x86_64__) && (defined(__GNUC__) || defined(__clang__))
#define TAVREL_SAMPLES_AVX2 1
#include <immintrin.h>
#endif

namespace BrumelTB {

namespace {

struct FloatScale {
    float reference, increment, origin;
};

void convertScalar(const FloatScale& s, const uchar* bytes, qsizetype count, float* out) {
    for (qsizetype i = 0; i < count; ++i) {
        quint16 raw;
        std::memcpy(&raw, bytes + 2 * i, sizeof raw);
        out[i] = (static_cast<float>(qFromLittleEndian(raw)) - s.reference) * s.increment + s.origin;
    }
}

#ifdef TAVREL_SAMPLES_AVX2
// Eight samples at a time; the same operations in the same order as convertScalar and no fused
// multiply-add, so both give the same bits. Returns how many samples it did, a multiple of 8.
[[gnu::target("avx2")]] qsizetype convertAvx2(const FloatScale& s, const uchar* bytes, qsizetype count,
                                              float* out) {
    const __m256 reference = _mm256_set1_ps(s.reference), increment = _mm256_set1_ps(s.increment),
                 origin = _mm256_set1_ps(s.origin);
    const qsizetype whole = count & ~qsizetype(7);
    for (qsizetype i = 0; i < whole; i += 8) {
        const __m256i codes =
            _mm256_cvtepu16_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes + 2 * i)));
        const __m256 volts = _mm256_add_ps(
            _mm256_mul_ps(_mm256_sub_ps(_mm256_cvtepi32_ps(codes), reference), increment), origin);
        _mm256_storeu_ps(out + i, volts);
    }
    return whole;
}

bool hasAvx2() {
    static const bool yes = __builtin_cpu_supports("avx2");
    return yes;
}
#endif

} // namespace

void ConvertWordsToFloatVolts(const WaveformPreamble& preamble, const uchar* bytes, qsizetype count,
                              float* out) {
    const FloatScale scale{static_cast<float>(preamble.yReference), static_cast<float>(preamble.yIncrement),
                           static_cast<float>(preamble.yOrigin)};
#ifdef TAVREL_SAMPLES_AVX2
    if (Q_BYTE_ORDER == Q_LITTLE_ENDIAN && hasAvx2()) {
        const qsizetype done = convertAvx2(scale, bytes, count, out);
        bytes += 2 * done;
        out += done;
        count -= done;
    }
#endif
    convertScalar(scale, bytes, count, out);
}

} // namespace BrumelTB
