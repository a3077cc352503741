#pragma once

#include <QByteArray>
#include <QtGlobal>

namespace tavrelsim {

// The XDR encoding the simulator's RPC servers read and write: big-endian 32-bit words, opaque data
// padded to a multiple of four. The simulator parses the wire itself, with no RPC library, so that a
// mistake of the host's RPC layer shows instead of being mirrored.
class XdrReader {
public:
    explicit XdrReader(const QByteArray& data, qsizetype pos = 0) : m_data(data), m_pos(pos) {}

    quint32 u32() {
        if (m_pos + 4 > m_data.size()) return fail();
        const auto* p = reinterpret_cast<const uchar*>(m_data.constData() + m_pos);
        m_pos += 4;
        return quint32(p[0]) << 24 | quint32(p[1]) << 16 | quint32(p[2]) << 8 | p[3];
    }
    // Variable-length opaque data or a string of at most max bytes.
    QByteArray opaque(qsizetype max) {
        const quint32 length = u32();
        const qsizetype padded = (qsizetype(length) + 3) & ~qsizetype(3);
        if (!m_ok || length > max || m_pos + padded > m_data.size()) {
            fail();
            return {};
        }
        const QByteArray bytes = m_data.mid(m_pos, length);
        m_pos += padded;
        return bytes;
    }
    bool ok() const { return m_ok; }

private:
    quint32 fail() {
        m_ok = false;
        m_pos = m_data.size();
        return 0;
    }
    const QByteArray& m_data;
    qsizetype m_pos;
    bool m_ok = true;
};

class XdrWriter {
public:
    XdrWriter& u32(quint32 value) {
        const char word[4] = {char(value >> 24), char(value >> 16), char(value >> 8), char(value)};
        m_bytes.append(word, 4);
        return *this;
    }
    XdrWriter& opaque(const QByteArray& bytes) {
        u32(quint32(bytes.size()));
        m_bytes.append(bytes);
        m_bytes.append((4 - bytes.size() % 4) % 4, '\0');
        return *this;
    }
    const QByteArray& bytes() const { return m_bytes; }

private:
    QByteArray m_bytes;
};

} // namespace tavrelsim
