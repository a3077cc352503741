#include "sim/ScpiCommandTable.h"

#include "sim/ScpiStatus.h"

#include <stdexcept>

namespace tavrelsim {
namespace {

// Splits ":A[:B]:C" into its nodes; an optional node keeps its leading '['.
QList<QByteArray> patternNodes(QByteArray p) {
    if (p.startsWith('*')) return {p};
    p.replace("[:", ":[");
    if (p.startsWith(':')) p = p.mid(1);
    QList<QByteArray> nodes = p.split(':');
    for (QByteArray& n : nodes) {
        if (n.startsWith('[') != n.endsWith(']')) throw std::logic_error("unbalanced [] in command pattern");
        if (n.startsWith('[')) n.chop(1);
    }
    return nodes;
}

} // namespace

void ScpiCommandTable::add(const char* pattern, Form form, ScpiHandler handler, int suffixMax) {
    const QList<QByteArray> nodes = patternNodes(pattern);
    // Every combination of present and absent optional nodes becomes its own entry.
    QList<QList<QByteArray>> variants{{}};
    for (const QByteArray& n : nodes) {
        const bool optional = n.startsWith('[');
        const QByteArray bare = optional ? n.mid(1) : n;
        QList<QList<QByteArray>> next;
        for (const QList<QByteArray>& v : variants) {
            next.append(v + QList<QByteArray>{bare});
            if (optional) next.append(v);
        }
        variants = next;
    }
    for (const QList<QByteArray>& v : variants) {
        if (form & Set) addExpanded(v, false, handler, suffixMax);
        if (form & Query) addExpanded(v, true, handler, suffixMax);
    }
}

void ScpiCommandTable::addExpanded(const QList<QByteArray>& nodes, bool query, const ScpiHandler& handler,
                                   int suffixMax) {
    Entry e;
    e.query = query;
    e.suffixMax = suffixMax;
    e.handler = handler;
    QList<QByteArray> keyParts;
    for (QByteArray text : nodes) {
        Node n;
        n.suffix = text.endsWith('#');
        if (n.suffix) text.chop(1);
        if (text.isEmpty()) throw std::logic_error("empty node in command pattern");
        for (char c : text) {
            if (c == '*' || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9')) n.shortForm.append(c);
        }
        n.longForm = text.toUpper();
        e.nodes.append(n);
        keyParts.append(n.longForm + (n.suffix ? "#" : ""));
    }
    e.key = keyParts.join(':') + (query ? "?" : "");
    for (const Entry& other : m_entries) {
        if (other.key == e.key) throw std::logic_error("command registered twice: " + e.key.toStdString());
    }
    m_entries.append(e);
}

int ScpiCommandTable::matchNode(const Node& pattern, const QByteArray& received, int suffixMax,
                                QList<int>& suffixes) {
    QByteArray word = received.toUpper();
    if (pattern.suffix) {
        qsizetype cut = word.size();
        while (cut > 0 && word.at(cut - 1) >= '0' && word.at(cut - 1) <= '9')
            --cut;
        const QByteArray digits = word.mid(cut);
        word.truncate(cut);
        if (word != pattern.shortForm && word != pattern.longForm) return ScpiError::UndefinedHeader;
        const int n = digits.isEmpty() ? 1 : (digits.size() > 4 ? 0 : digits.toInt());
        if (n < 1 || n > suffixMax) return ScpiError::HeaderSuffixOutOfRange;
        suffixes.append(n);
        return 0;
    }
    return (word == pattern.shortForm || word == pattern.longForm) ? 0 : int(ScpiError::UndefinedHeader);
}

ScpiCommandTable::Match ScpiCommandTable::find(const QList<QByteArray>& nodes, bool query) const {
    Match best;
    best.error = ScpiError::UndefinedHeader;
    for (const Entry& e : m_entries) {
        if (e.query != query || e.nodes.size() != nodes.size()) continue;
        QList<int> suffixes;
        int error = 0;
        for (qsizetype i = 0; i < nodes.size() && !error; ++i)
            error = matchNode(e.nodes.at(i), nodes.at(i), e.suffixMax, suffixes);
        if (!error) {
            best.handler = &e.handler;
            best.suffixes = suffixes;
            best.error = 0;
            return best;
        }
        if (error == ScpiError::HeaderSuffixOutOfRange)
            best.error = error; // the header exists, only its number is wrong
    }
    return best;
}

QList<QByteArray> ScpiCommandTable::keys() const {
    QList<QByteArray> out;
    for (const Entry& e : m_entries)
        out.append(e.key);
    return out;
}

} // namespace tavrelsim
