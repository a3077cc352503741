#include "sim/WaveformMeasure.h"

#include <algorithm>
#include <cmath>

namespace tavrelsim {
namespace {

constexpr int HistogramBins = 1024;
constexpr double CommonLevel = 0.05; // a level held by this share of the samples is a top or base
constexpr double Hysteresis = 0.1;   // of the amplitude, around the middle

} // namespace

WaveformMeasure::WaveformMeasure(const WaveformRecord& record) : m_record(record) {
    if (record.kind != WaveformRecord::Analog || record.isEmpty()) return;
    m_s = record.samples->data();
    m_n = record.size();
    findLevels();
}

void WaveformMeasure::findLevels() {
    const auto [lo, hi] = std::minmax_element(m_s, m_s + m_n);
    m_min = *lo;
    m_max = *hi;
    m_top = m_max;
    m_base = m_min;
    if (m_max <= m_min) return;
    std::vector<qint64> count(HistogramBins), sum(HistogramBins);
    const double perCode = (HistogramBins - 1) / (m_max - m_min);
    for (qsizetype i = 0; i < m_n; ++i) {
        const int bin = int((m_s[i] - m_min) * perCode);
        ++count[size_t(bin)];
        sum[size_t(bin)] += m_s[i];
    }
    const auto mode = [&](int from, int to) {
        return int(std::max_element(count.begin() + from, count.begin() + to) - count.begin());
    };
    const int top = mode(HistogramBins / 2, HistogramBins), base = mode(0, HistogramBins / 2);
    const double common = CommonLevel * double(m_n);
    if (double(count[size_t(top)]) >= common) m_top = double(sum[size_t(top)]) / double(count[size_t(top)]);
    if (double(count[size_t(base)]) >= common)
        m_base = double(sum[size_t(base)]) / double(count[size_t(base)]);
}

double WaveformMeasure::crossing(qsizetype i, double level) const {
    const double a = m_s[i - 1], b = m_s[i];
    return double(i - 1) + (b == a ? 1.0 : (level - a) / (b - a));
}

WaveformMeasure::Edges WaveformMeasure::edges() const {
    Edges e;
    const double mid = (m_top + m_base) / 2, band = Hysteresis * (m_top - m_base);
    if (m_top - m_base < 1) return e;
    enum { Unknown, Low, High } state = Unknown;
    double lastUp = -1, lastDown = -1;
    for (qsizetype i = 1; i < m_n; ++i) {
        const double a = m_s[i - 1], b = m_s[i];
        if (a < mid && b >= mid) lastUp = crossing(i, mid);
        if (a >= mid && b < mid) lastDown = crossing(i, mid);
        if (b > mid + band && state != High) {
            if (state == Low && lastUp >= 0) e.rising.push_back(lastUp);
            state = High;
        } else if (b < mid - band && state != Low) {
            if (state == High && lastDown >= 0) e.falling.push_back(lastDown);
            state = Low;
        }
    }
    return e;
}

std::optional<double> WaveformMeasure::transition(bool rising) const {
    const double amplitude = m_top - m_base;
    if (amplitude < 1) return std::nullopt;
    // Rising: from the last time it left the 10 % level to the time it reaches 90 %.
    const double from = rising ? m_base + 0.1 * amplitude : m_base + 0.9 * amplitude;
    const double to = rising ? m_base + 0.9 * amplitude : m_base + 0.1 * amplitude;
    const auto below = [rising](double v, double level) { return rising ? v < level : v > level; };
    double start = -1;
    for (qsizetype i = 1; i < m_n; ++i) {
        const double a = m_s[i - 1], b = m_s[i];
        if (below(b, from)) {
            start = -1;
            continue;
        }
        if (below(a, from)) start = crossing(i, from);
        if (start >= 0 && below(a, to) && !below(b, to))
            return (crossing(i, to) - start) * m_record.xIncrement;
    }
    return std::nullopt;
}

std::optional<double> WaveformMeasure::value(Quantity q) const {
    if (m_n == 0) return std::nullopt;
    const WaveformRecord& r = m_record;
    switch (q) {
    case Vmax:
        return r.volts(m_max);
    case Vmin:
        return r.volts(m_min);
    case Vpp:
        return (m_max - m_min) * r.wordIncrement();
    case Vtop:
        return r.volts(m_top);
    case Vbase:
        return r.volts(m_base);
    case Amplitude:
        return (m_top - m_base) * r.wordIncrement();
    case Vaverage:
    case Vrms: {
        double sum = 0, squares = 0;
        for (qsizetype i = 0; i < m_n; ++i) {
            const double v = r.volts(m_s[i]);
            sum += v;
            squares += v * v;
        }
        return q == Vaverage ? sum / double(m_n) : std::sqrt(squares / double(m_n));
    }
    case RiseTime:
    case FallTime:
        return transition(q == RiseTime);
    case Frequency:
    case Period: {
        const Edges e = edges();
        if (e.rising.size() < 2) return std::nullopt;
        const double period =
            (e.rising.back() - e.rising.front()) / double(e.rising.size() - 1) * r.xIncrement;
        return q == Period ? period : 1 / period;
    }
    case DutyCycle: {
        const Edges e = edges();
        double high = 0, total = 0;
        size_t f = 0;
        for (size_t k = 0; k + 1 < e.rising.size(); ++k) {
            while (f < e.falling.size() && e.falling[f] <= e.rising[k])
                ++f;
            if (f == e.falling.size() || e.falling[f] >= e.rising[k + 1]) continue;
            high += e.falling[f] - e.rising[k];
            total += e.rising[k + 1] - e.rising[k];
        }
        if (total <= 0) return std::nullopt;
        return 100 * high / total;
    }
    }
    return std::nullopt;
}

} // namespace tavrelsim
