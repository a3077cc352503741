#include "automation/WaveformPreamble.h"

#include <cmath>

#include "automation/ServerError.h"

#include <QList>
#include <QtEndian>
#include <cstring>

namespace BrumelTB {

namespace {

constexpr int kPreambleFields = 10;

qsizetype sampleCount(const WaveformPreamble& p, const QByteArray& block) {
    const int width = p.format == WaveformPreamble::Word ? 2 : 1;
    if (p.format != WaveformPreamble::Word && p.format != WaveformPreamble::Byte)
        throw ServerError(QStringLiteral("waveform format %1 cannot be converted here").arg(p.format));
    if (block.size() % width != 0 || block.size() / width != p.points)
        throw ServerError(QStringLiteral("the instrument sent %1 bytes for a waveform of %2 %3 samples")
                              .arg(block.size())
                              .arg(p.points)
                              .arg(width == 2 ? QStringLiteral("WORD") : QStringLiteral("BYTE")));
    return block.size() / width;
}

void fillTimes(const WaveformPreamble& p, qsizetype n, QVector<double>& time) {
    time.resize(n);
    double* t = time.data();
    for (qsizetype i = 0; i < n; ++i)
        t[i] = (static_cast<double>(i) - p.xReference) * p.xIncrement + p.xOrigin;
}

template <bool LsbFirst> inline unsigned wordAt(const uchar* bytes, qsizetype i) {
    quint16 raw;
    std::memcpy(&raw, bytes + 2 * i, sizeof raw);
    return LsbFirst ? qFromLittleEndian(raw) : qFromBigEndian(raw);
}

// Times and values together, so the block and both arrays are walked once. The scaling lives in
// locals (the stores could otherwise alias the preamble and force reloads), and the work goes in
// fixed-size groups that the compiler turns into vector instructions at the default optimization.
template <int Width, bool LsbFirst, typename Out, typename Value>
void convertCodes(const WaveformPreamble& p, const uchar* bytes, qsizetype first, qsizetype n,
                  double* __restrict t, Out* __restrict v, Value value) {
    constexpr qsizetype kGroup = 16;
    // The preamble's own form: reference subtracted first, which is exact for sample and code numbers.
    const double xIncrement = p.xIncrement, xOrigin = p.xOrigin, xReference = p.xReference;
    const auto code = [bytes](qsizetype i) -> unsigned {
        if constexpr (Width == 1)
            return bytes[i];
        else
            return wordAt<LsbFirst>(bytes, i);
    };
    t += first;
    v += first;
    // Sample numbers fit an int (a record holds at most a few million), which converts in vectors.
    const int base = static_cast<int>(first);
    qsizetype i = 0;
    for (; i + kGroup <= n; i += kGroup) {
        const int group = base + static_cast<int>(i);
        for (int k = 0; k < kGroup; ++k) {
            t[i + k] = (static_cast<double>(group + k) - xReference) * xIncrement + xOrigin;
            v[i + k] = value(code(i + k));
        }
    }
    for (; i < n; ++i) {
        t[i] = (static_cast<double>(base + static_cast<int>(i)) - xReference) * xIncrement + xOrigin;
        v[i] = value(code(i));
    }
}

#if defined(__x86_64__) && (defined(__GNUC__) || defined(__clang__))
#define TAVREL_CONVERT_AVX2 1
#include <immintrin.h>

// Little-endian WORD volts with AVX2, the transfer's own format: once the arrays are in the cache the
// conversion is bound by its stores, and these are twice as wide as the baseline build's. The same
// operations in the same order as convertCodes and no fused multiply-add (AVX2 alone has none), so
// the results are identical to the last bit. Returns how many samples it did, a multiple of 8.
[[gnu::target("avx2")]] qsizetype convertWordVoltsAvx2(const WaveformPreamble& p, const uchar* bytes,
                                                       qsizetype first, qsizetype n, double* t, double* v) {
    const __m256d xIncrement = _mm256_set1_pd(p.xIncrement), xOrigin = _mm256_set1_pd(p.xOrigin),
                  xReference = _mm256_set1_pd(p.xReference);
    const __m256d yIncrement = _mm256_set1_pd(p.yIncrement), yOrigin = _mm256_set1_pd(p.yOrigin),
                  yReference = _mm256_set1_pd(p.yReference);
    const __m256d four = _mm256_set1_pd(4);
    const __m256d eight = _mm256_set1_pd(8);
    // Sample numbers are whole and far below 2^53: counting them up in doubles is exact.
    const double at = static_cast<double>(first);
    __m256d low = _mm256_setr_pd(at, at + 1, at + 2, at + 3);
    t += first;
    v += first;
    const qsizetype whole = n & ~qsizetype(7);
    for (qsizetype i = 0; i < whole; i += 8) {
        const __m256d high = _mm256_add_pd(low, four);
        _mm256_storeu_pd(t + i,
                         _mm256_add_pd(_mm256_mul_pd(_mm256_sub_pd(low, xReference), xIncrement), xOrigin));
        _mm256_storeu_pd(t + i + 4,
                         _mm256_add_pd(_mm256_mul_pd(_mm256_sub_pd(high, xReference), xIncrement), xOrigin));
        low = _mm256_add_pd(low, eight);
        const __m256i codes =
            _mm256_cvtepu16_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes + 2 * i)));
        const __m256d c0 = _mm256_cvtepi32_pd(_mm256_castsi256_si128(codes));
        const __m256d c1 = _mm256_cvtepi32_pd(_mm256_extracti128_si256(codes, 1));
        _mm256_storeu_pd(v + i,
                         _mm256_add_pd(_mm256_mul_pd(_mm256_sub_pd(c0, yReference), yIncrement), yOrigin));
        _mm256_storeu_pd(v + i + 4,
                         _mm256_add_pd(_mm256_mul_pd(_mm256_sub_pd(c1, yReference), yIncrement), yOrigin));
    }
    return whole;
}

bool hasAvx2() {
    static const bool yes = __builtin_cpu_supports("avx2");
    return yes;
}
#endif

template <int Width, bool LsbFirst>
void convertVolts(const WaveformPreamble& p, const uchar* bytes, qsizetype first, qsizetype n, double* t,
                  double* v) {
    const double yIncrement = p.yIncrement, yOrigin = p.yOrigin, yReference = p.yReference;
    convertCodes<Width, LsbFirst>(p, bytes, first, n, t, v, [=](unsigned c) {
        return (static_cast<double>(static_cast<int>(c)) - yReference) * yIncrement + yOrigin;
    });
}

template <int Width, bool LsbFirst>
void convertRaw(const WaveformPreamble& p, const uchar* bytes, qsizetype first, qsizetype n, double* t,
                quint16* c) {
    convertCodes<Width, LsbFirst>(p, bytes, first, n, t, c,
                                  [](unsigned code) { return static_cast<quint16>(code); });
}

void convertAscii(const WaveformPreamble& p, const QByteArray& block, QVector<double>& time,
                  QVector<double>& values) {
    const QList<QByteArray> fields = block.trimmed().split(',');
    const qsizetype n = block.trimmed().isEmpty() ? 0 : fields.size();
    if (n != p.points)
        throw ServerError(QStringLiteral("the instrument sent %1 values for a waveform of %2 samples")
                              .arg(n)
                              .arg(p.points));
    values.resize(n);
    for (qsizetype i = 0; i < n; ++i) {
        bool ok = false;
        values[i] = fields[i].trimmed().toDouble(&ok);
        if (!ok)
            throw ServerError(QStringLiteral("sample %1 of an ASCii waveform is \"%2\"")
                                  .arg(i)
                                  .arg(QString::fromLatin1(fields[i])));
    }
    fillTimes(p, n, time);
}

} // namespace

QString WaveformPreamble::Quoted(const QString& reply) {
    constexpr qsizetype kShown = 80;
    QString shown;
    for (const QChar c : reply.left(kShown)) {
        const char16_t u = c.unicode();
        shown += (u < 0x20 || u == 0x7f || (u >= 0x80 && u < 0xa0))
                     ? QStringLiteral("\\x%1").arg(static_cast<int>(u), 2, 16, QLatin1Char('0'))
                     : QString(c);
    }
    if (reply.size() > kShown)
        return QStringLiteral("\"%1...\" (%2 characters)").arg(shown).arg(reply.size());
    return QStringLiteral("\"%1\"").arg(shown);
}

WaveformPreamble WaveformPreamble::Parse(const QString& reply) {
    const QStringList fields = reply.trimmed().split(QLatin1Char(','));
    if (fields.size() != kPreambleFields)
        throw ServerError(QStringLiteral("the reply %1 is not a waveform preamble of %2 fields")
                              .arg(Quoted(reply.trimmed()))
                              .arg(kPreambleFields));
    double numbers[kPreambleFields];
    for (int i = 0; i < kPreambleFields; ++i) {
        bool ok = false;
        numbers[i] = fields[i].trimmed().toDouble(&ok);
        if (!ok || !std::isfinite(numbers[i]))
            throw ServerError(QStringLiteral("field %1 of the waveform preamble %2 is not a number")
                                  .arg(i + 1)
                                  .arg(Quoted(reply.trimmed())));
    }
    // Format, type, points and count are counts and codes: whole numbers a record can have.
    const auto whole = [&](int i, double largest) {
        if (numbers[i] != std::floor(numbers[i]) || std::fabs(numbers[i]) > largest)
            throw ServerError(
                QStringLiteral("field %1 of the waveform preamble %2 is not a whole number up to %3")
                    .arg(i + 1)
                    .arg(Quoted(reply.trimmed()))
                    .arg(largest, 0, 'g', 12));
        return numbers[i];
    };
    constexpr double kLargestCode = 1e6;
    constexpr double kLargestPoints = 1e15; // far beyond any record, well inside a 64-bit count
    WaveformPreamble p;
    p.format = static_cast<int>(whole(0, kLargestCode));
    p.type = static_cast<int>(whole(1, kLargestCode));
    p.points = static_cast<qint64>(whole(2, kLargestPoints));
    p.count = static_cast<int>(whole(3, kLargestCode));
    p.xIncrement = numbers[4];
    p.xOrigin = numbers[5];
    p.xReference = numbers[6];
    p.yIncrement = numbers[7];
    p.yOrigin = numbers[8];
    p.yReference = numbers[9];
    if (p.points < 0)
        throw ServerError(QStringLiteral("the waveform preamble announces %1 samples").arg(p.points));
    return p;
}

void ConvertSlice(const WaveformPreamble& preamble, const uchar* bytes, qsizetype first, qsizetype count,
                  bool lsbFirst, double* time, double* values) {
    if (preamble.format == WaveformPreamble::Byte)
        convertVolts<1, true>(preamble, bytes, first, count, time, values);
    else if (lsbFirst) {
#ifdef TAVREL_CONVERT_AVX2
        if (hasAvx2()) {
            const qsizetype done = convertWordVoltsAvx2(preamble, bytes, first, count, time, values);
            bytes += 2 * done;
            first += done;
            count -= done;
        }
#endif
        convertVolts<2, true>(preamble, bytes, first, count, time, values);
    } else
        convertVolts<2, false>(preamble, bytes, first, count, time, values);
}

void ConvertLogicSlice(const WaveformPreamble& preamble, const uchar* bytes, qsizetype first, qsizetype count,
                       bool lsbFirst, double* time, quint16* codes) {
    if (preamble.format == WaveformPreamble::Byte)
        convertRaw<1, true>(preamble, bytes, first, count, time, codes);
    else if (lsbFirst)
        convertRaw<2, true>(preamble, bytes, first, count, time, codes);
    else
        convertRaw<2, false>(preamble, bytes, first, count, time, codes);
}

void ConvertWaveform(const WaveformPreamble& preamble, const QByteArray& block, bool lsbFirst,
                     QVector<double>& time, QVector<double>& values) {
    if (preamble.format == WaveformPreamble::Ascii) {
        convertAscii(preamble, block, time, values);
        return;
    }
    const qsizetype n = sampleCount(preamble, block);
    time.resize(n);
    values.resize(n);
    ConvertSlice(preamble, reinterpret_cast<const uchar*>(block.constData()), 0, n, lsbFirst, time.data(),
                 values.data());
}

} // namespace BrumelTB
