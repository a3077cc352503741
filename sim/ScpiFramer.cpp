#include "sim/ScpiFramer.h"

namespace tavrelsim {

void ScpiFramer::reset() {
    m_discarding = false;
    m_pending.clear();
    m_state = Normal;
    m_dataLeft = 0;
}

void ScpiFramer::finish(QList<QByteArray>& out) {
    out.append(m_pending);
    reset();
}

QList<QByteArray> ScpiFramer::feed(const QByteArray& bytes, bool end) {
    QList<QByteArray> out;
    for (qsizetype i = 0; i < bytes.size(); ++i) {
        const char c = bytes.at(i);
        if (m_discarding) {
            // Everything up to the next line end belongs to the dropped message, block data included.
            const qsizetype stop = bytes.indexOf('\n', i);
            if (stop < 0) break;
            i = stop;
            reset();
            continue;
        }
        if (m_pending.size() > kMaxMessageBytes) {
            m_pending.clear();
            m_discarding = true;
            ++m_overflows;
            --i;
            continue;
        }
        if (m_state == BlockData) {
            // Copy the rest of the block in one go: its bytes are not looked at.
            const qsizetype take = qMin<qint64>(m_dataLeft, bytes.size() - i);
            m_pending.append(bytes.constData() + i, take);
            m_dataLeft -= take;
            i += take - 1;
            if (m_dataLeft == 0) m_state = Normal;
            continue;
        }
        if (c == '\n') {
            finish(out);
            continue;
        }
        m_pending.append(c);
        switch (m_state) {
        case Normal:
            if (c == '"' || c == '\'') {
                m_state = Quoted;
                m_quote = c;
            } else if (c == '#') {
                m_state = Hash;
            }
            break;
        case Quoted:
            if (c == m_quote) m_state = Normal;
            break;
        case Hash:
            // "#0" is an indefinite block that runs to the terminator; "#H1F" and the like are
            // numbers. Only "#1".."#9" announce counted data.
            if (c >= '1' && c <= '9') {
                m_state = BlockDigits;
                m_digitsLeft = c - '0';
                m_length = 0;
            } else {
                m_state = Normal;
            }
            break;
        case BlockDigits:
            if (c < '0' || c > '9') {
                m_state = Normal; // malformed; the parser reports it
                break;
            }
            m_length = m_length * 10 + (c - '0');
            if (--m_digitsLeft == 0) {
                m_dataLeft = m_length;
                m_state = m_length > 0 ? BlockData : Normal;
            }
            break;
        case BlockData:
            break;
        }
    }
    if (end && m_discarding) reset();
    if (end && !idle()) finish(out);
    return out;
}

} // namespace tavrelsim
