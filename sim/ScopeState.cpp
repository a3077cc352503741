#include "sim/ScopeState.h"

#include <QList>
#include <QtEndian>
#include <bit>
#include <cmath>
#include <functional>

namespace tavrelsim {
namespace {

class Writer {
public:
    void u8(quint8 v) { m_b.append(char(v)); }
    void u32(quint32 v) {
        char b[4];
        qToBigEndian(v, b);
        m_b.append(b, 4);
    }
    void real(double v) {
        char b[8];
        qToBigEndian(std::bit_cast<quint64>(v), b);
        m_b.append(b, 8);
    }
    void bytes(const QByteArray& v) { m_b.append(v); }
    // A tagged section: tag, big-endian length, contents.
    void section(const char (&tag)[5], const std::function<void(Writer&)>& body) {
        Writer inner;
        body(inner);
        m_b.append(tag, 4);
        u32(quint32(inner.m_b.size()));
        m_b.append(inner.m_b);
    }
    QByteArray data() const { return m_b; }

private:
    QByteArray m_b;
};

class Reader {
public:
    explicit Reader(const QByteArray& b) : m_b(b) {}
    bool ok() const { return m_ok; }
    bool atEnd() const { return m_pos >= m_b.size(); }
    QByteArray take(qsizetype n) {
        if (!m_ok || n < 0 || n > m_b.size() - m_pos) {
            m_ok = false;
            return QByteArray(8, '\0'); // enough for any scalar read; the caller checks ok()
        }
        const QByteArray v = m_b.mid(m_pos, n);
        m_pos += n;
        return v;
    }
    quint8 u8() { return quint8(take(1).at(0)); }
    quint32 u32() { return qFromBigEndian<quint32>(take(4).constData()); }
    double real() { return std::bit_cast<double>(qFromBigEndian<quint64>(take(8).constData())); }

private:
    const QByteArray& m_b;
    qsizetype m_pos = 0;
    bool m_ok = true;
};

bool within(double v, double lo, double hi) {
    return std::isfinite(v) && v >= lo && v <= hi;
}

} // namespace

ScopeState ScopeState::defaults() {
    ScopeState s;
    s.channels[0].display = true;
    for (int i = 0; i < 256; ++i)
        s.intensityMap[i] = quint8(i);
    return s;
}

QByteArray ScopeState::serialize() const {
    Writer w;
    w.section("CHAN", [this](Writer& s) {
        s.u8(ChannelCount);
        for (const ChannelState& c : channels) {
            s.u8(c.display ? 1 : 0);
            s.real(c.scale);
            s.real(c.offset);
            s.u8(quint8(c.coupling));
        }
    });
    w.section("TIMB", [this](Writer& s) {
        s.real(timebaseScale);
        s.real(timebasePosition);
    });
    w.section("DISP", [this](Writer& s) {
        for (quint8 v : intensityMap)
            s.u8(v);
    });
    return w.data();
}

std::optional<ScopeState> ScopeState::deserialize(const QByteArray& data) {
    ScopeState s;
    Reader r(data);
    QList<QByteArray> seen;
    while (r.ok() && !r.atEnd()) {
        const QByteArray tag = r.take(4);
        const quint32 length = r.u32();
        const QByteArray body = r.take(qsizetype(length));
        if (!r.ok() || seen.contains(tag)) return std::nullopt;
        seen.append(tag);
        Reader b(body);
        if (tag == "CHAN") {
            if (b.u8() != ChannelCount) return std::nullopt;
            for (ChannelState& c : s.channels) {
                const quint8 display = b.u8();
                c.scale = b.real();
                c.offset = b.real();
                c.coupling = b.u8();
                if (display > 1 || c.coupling > ChannelState::GND ||
                    !within(c.scale, MinChannelScale, MaxChannelScale) ||
                    !within(c.offset, -MaxChannelOffset, MaxChannelOffset))
                    return std::nullopt;
                c.display = display == 1;
            }
        } else if (tag == "TIMB") {
            s.timebaseScale = b.real();
            s.timebasePosition = b.real();
            if (!within(s.timebaseScale, MinTimebaseScale, MaxTimebaseScale) ||
                !within(s.timebasePosition, -MaxTimebasePosition, MaxTimebasePosition))
                return std::nullopt;
        } else if (tag == "DISP") {
            for (quint8& v : s.intensityMap)
                v = b.u8();
        } else {
            return std::nullopt;
        }
        if (!b.ok() || !b.atEnd()) return std::nullopt;
    }
    if (!r.ok() || seen.size() != 3) return std::nullopt;
    return s;
}

} // namespace tavrelsim
