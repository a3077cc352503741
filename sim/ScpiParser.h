#pragma once

#include <QByteArray>
#include <QList>

namespace tavrelsim {

struct ScpiArg {
    enum Type { Token, String, Block };
    Type type = Token;
    QByteArray text; // the token, the string's contents, or the block's data
};

// One program message unit: "HEADER args" between semicolons.
struct ScpiUnit {
    QByteArray header; // as received, "?" included
    QList<ScpiArg> args;
    int error = 0; // a parse error (SCPI code); this unit and the rest of the message are void
};

// The syntax of program messages, without any knowledge of the command set.
class ScpiParser {
public:
    static QList<ScpiUnit> split(const QByteArray& message);
    // Header nodes of a unit resolved against the current path, which it updates: after ";" a
    // header that does not begin with ":" or "*" continues the previous command's subsystem.
    static QList<QByteArray> resolve(const QByteArray& header, QList<QByteArray>& path);
    static bool isWhitespace(char c) { return (c >= 0 && c <= ' ' && c != '\n'); }
};

} // namespace tavrelsim
