#pragma once

#include "sim/ScpiParser.h"

#include <QByteArray>
#include <QList>
#include <functional>

namespace tavrelsim {

class TavrelScope;

struct ScpiCall {
    QList<int> suffixes; // one per header node that takes a numeric suffix; 1 when omitted
    bool query = false;
    QList<ScpiArg> args;
    int suffix() const { return suffixes.isEmpty() ? 1 : suffixes.first(); }
};

using ScpiHandler = std::function<void(TavrelScope&, const ScpiCall&)>;

// The command set as data: handlers keyed by header patterns written the SCPI way, for example
// ":CHANnel#:SCALe" (upper case is the short form, "#" a numeric suffix) or ":SYSTem:ERRor[:NEXT]"
// (a bracketed node may be left out). A subsystem is one more batch of rows.
class ScpiCommandTable {
public:
    enum Form { Set = 1, Query = 2, SetAndQuery = 3 };
    struct Match {
        const ScpiHandler* handler = nullptr;
        QList<int> suffixes;
        int error = 0; // UndefinedHeader or HeaderSuffixOutOfRange when handler is null
    };

    // suffixMax bounds every numeric suffix of the pattern (1..suffixMax). Throws
    // std::logic_error when the pattern is malformed or already taken.
    void add(const char* pattern, Form form, ScpiHandler handler, int suffixMax = 1);
    // nodes: a resolved header (ScpiParser::resolve), query: it ended in "?".
    Match find(const QList<QByteArray>& nodes, bool query) const;
    // Normalized key of every registered header, "CHANNEL#:SCALE?" style; for listings and tests.
    QList<QByteArray> keys() const;

private:
    struct Node {
        QByteArray shortForm; // upper case
        QByteArray longForm;  // upper case
        bool suffix = false;
    };
    struct Entry {
        QList<Node> nodes;
        bool query = false;
        int suffixMax = 1;
        ScpiHandler handler;
        QByteArray key;
    };
    void addExpanded(const QList<QByteArray>& nodes, bool query, const ScpiHandler& handler, int suffixMax);
    static int matchNode(const Node& pattern, const QByteArray& received, int suffixMax,
                         QList<int>& suffixes);

    QList<Entry> m_entries;
};

} // namespace tavrelsim
