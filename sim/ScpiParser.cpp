#include "sim/ScpiParser.h"

#include "sim/ScpiStatus.h"

namespace tavrelsim {
namespace {

bool isHeaderChar(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_' ||
           c == ':' || c == '*' || c == '?';
}

bool isWellFormedHeader(const QByteArray& h) {
    QByteArray body = h.endsWith('?') ? h.chopped(1) : h;
    if (body.startsWith('*')) {
        body = body.mid(1);
        return !body.isEmpty() && !body.contains(':') && !body.contains('?') && !body.contains('*');
    }
    if (body.startsWith(':')) body = body.mid(1);
    if (body.isEmpty() || body.contains('?') || body.contains('*')) return false;
    for (const QByteArray& node : body.split(':')) {
        if (node.isEmpty() || !((node[0] >= 'A' && node[0] <= 'Z') || (node[0] >= 'a' && node[0] <= 'z')))
            return false;
    }
    return true;
}

class Scanner {
public:
    explicit Scanner(const QByteArray& m) : m_m(m) {}

    QList<ScpiUnit> units() {
        QList<ScpiUnit> out;
        while (true) {
            skipSpace();
            if (atEnd()) break;
            if (peek() == ';') { // empty unit, as in "a;;b" or a trailing ";"
                ++m_i;
                continue;
            }
            ScpiUnit u = unit();
            out.append(u);
            if (u.error) break;
            if (!atEnd()) ++m_i; // the ';'
        }
        return out;
    }

private:
    bool atEnd() const { return m_i >= m_m.size(); }
    char peek() const { return m_m.at(m_i); }
    void skipSpace() {
        while (!atEnd() && ScpiParser::isWhitespace(peek()))
            ++m_i;
    }

    ScpiUnit unit() {
        ScpiUnit u;
        const qsizetype start = m_i;
        while (!atEnd() && isHeaderChar(peek()))
            ++m_i;
        u.header = m_m.mid(start, m_i - start);
        if (u.header.isEmpty() || !isWellFormedHeader(u.header)) {
            u.error = ScpiError::SyntaxError;
            return u;
        }
        if (atEnd() || peek() == ';') return u;
        if (!ScpiParser::isWhitespace(peek())) {
            u.error = ScpiError::InvalidSeparator;
            return u;
        }
        skipSpace();
        if (atEnd() || peek() == ';') return u;
        while (true) {
            skipSpace();
            ScpiArg a;
            if (int e = arg(a)) {
                u.error = e;
                return u;
            }
            u.args.append(a);
            skipSpace();
            if (atEnd() || peek() == ';') return u;
            if (peek() != ',') {
                u.error = ScpiError::InvalidSeparator;
                return u;
            }
            ++m_i;
        }
    }

    int arg(ScpiArg& a) {
        if (atEnd() || peek() == ',' || peek() == ';') return ScpiError::SyntaxError;
        const char c = peek();
        if (c == '"' || c == '\'') return quoted(a, c);
        if (c == '#' && m_i + 1 < m_m.size() && m_m.at(m_i + 1) >= '0' && m_m.at(m_i + 1) <= '9')
            return block(a);
        const qsizetype start = m_i;
        while (!atEnd() && peek() != ',' && peek() != ';')
            ++m_i;
        a.type = ScpiArg::Token;
        a.text = m_m.mid(start, m_i - start).trimmed();
        return 0;
    }

    int quoted(ScpiArg& a, char q) {
        a.type = ScpiArg::String;
        ++m_i;
        while (!atEnd()) {
            const char c = m_m.at(m_i++);
            if (c != q) {
                a.text.append(c);
            } else if (!atEnd() && peek() == q) { // a doubled quote stands for itself
                a.text.append(q);
                ++m_i;
            } else {
                return 0;
            }
        }
        return ScpiError::InvalidStringData;
    }

    int block(ScpiArg& a) {
        a.type = ScpiArg::Block;
        const int digits = m_m.at(m_i + 1) - '0';
        m_i += 2;
        if (digits == 0) { // indefinite: everything up to the terminator
            a.text = m_m.mid(m_i);
            m_i = m_m.size();
            return 0;
        }
        if (m_i + digits > m_m.size()) return ScpiError::InvalidBlockData;
        qint64 length = 0;
        for (int k = 0; k < digits; ++k) {
            const char d = m_m.at(m_i + k);
            if (d < '0' || d > '9') return ScpiError::InvalidBlockData;
            length = length * 10 + (d - '0');
        }
        m_i += digits;
        if (length > m_m.size() - m_i) return ScpiError::InvalidBlockData; // cut short by END
        a.text = m_m.mid(m_i, length);
        m_i += length;
        return 0;
    }

    const QByteArray& m_m;
    qsizetype m_i = 0;
};

} // namespace

QList<ScpiUnit> ScpiParser::split(const QByteArray& message) {
    return Scanner(message).units();
}

QList<QByteArray> ScpiParser::resolve(const QByteArray& header, QList<QByteArray>& path) {
    QByteArray h = header.endsWith('?') ? header.chopped(1) : header;
    if (h.startsWith('*')) return {h}; // common commands leave the path alone
    QList<QByteArray> nodes;
    if (h.startsWith(':'))
        h = h.mid(1);
    else
        nodes = path;
    nodes += h.split(':');
    path = nodes.mid(0, nodes.size() - 1);
    return nodes;
}

} // namespace tavrelsim
