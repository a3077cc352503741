#pragma once

#include <QByteArray>
#include <QList>
#include <utility>

namespace tavrelsim {

// Cuts the incoming byte stream into program messages. A message ends at "\n" or at END, except
// that the data of a definite-length block is counted, not scanned, so it may hold "\n" bytes.
class ScpiFramer {
public:
    // The longest program message taken (a learn string is a few kilobytes): the rest of a longer
    // one is dropped up to its terminator, so a client that never ends a line cannot grow us.
    static constexpr qsizetype kMaxMessageBytes = 16 * 1024 * 1024;
    // How many messages were dropped for their length since the last call.
    int takeOverflows() { return std::exchange(m_overflows, 0); }

    // Returns the messages completed by these bytes, without their terminators. end: the last
    // byte carried END, which terminates whatever is pending (a block cut short included).
    QList<QByteArray> feed(const QByteArray& bytes, bool end);
    void reset();
    bool idle() const { return m_pending.isEmpty() && m_state == Normal; }

private:
    enum State { Normal, Quoted, Hash, BlockDigits, BlockData };
    void finish(QList<QByteArray>& out);

    QByteArray m_pending;
    State m_state = Normal;
    char m_quote = 0;
    int m_digitsLeft = 0;
    qint64 m_length = 0;
    qint64 m_dataLeft = 0;
    bool m_discarding = false;
    int m_overflows = 0;
};

} // namespace tavrelsim
