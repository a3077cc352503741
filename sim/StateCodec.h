#pragma once

#include <QByteArray>
#include <QtEndian>
#include <bit>

namespace tavrelsim {

// Big-endian writing and reading of the learn string's sections. A Reader that runs out of data
// turns not-ok and hands out zeros, so a section is read straight through and checked once.
class StateWriter {
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
    const QByteArray& data() const { return m_b; }

private:
    QByteArray m_b;
};

class StateReader {
public:
    explicit StateReader(const QByteArray& b) : m_b(b) {}
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

} // namespace tavrelsim
