#include "sim/ScopeSource.h"

#include "sim/ScpiStatus.h"
#include "sim/ScpiValues.h"

namespace tavrelsim::ScopeSource {
namespace {

struct Family {
    const char* mnemonic;
    int kind;
    int first;
    int count;
    bool suffixRequired;
};

constexpr Family Families[] = {
    {"CHANnel", Channels, Channel1, 4, false}, {"POD", Pods, Pod1, 2, false},
    {"LOGic", LogicWord, Logic, 1, false},     {"EXTernal", ExternalAndLine, External, 1, false},
    {"LINE", ExternalAndLine, Line, 1, false}, {"D", Bits, Digital0, 16, true},
};

} // namespace

bool valid(int source, int kinds) {
    for (const Family& f : Families) {
        if ((kinds & f.kind) && source >= f.first && source < f.first + f.count) return true;
    }
    return false;
}

int parse(const ScpiArg& arg, int kinds, int& out) {
    if (arg.type != ScpiArg::Token) return ScpiError::DataTypeError;
    QByteArray word = arg.text;
    qsizetype cut = word.size();
    while (cut > 0 && word.at(cut - 1) >= '0' && word.at(cut - 1) <= '9')
        --cut;
    const QByteArray digits = word.mid(cut);
    word.truncate(cut);
    for (const Family& f : Families) {
        if (!(kinds & f.kind) || !ScpiValues::matchesMnemonic(word, f.mnemonic)) continue;
        if (digits.isEmpty() && f.suffixRequired) break;
        // "LOGic" and "LINE" take no number, "CHANnel" without one means 1.
        const int n = digits.isEmpty() ? (f.count == 1 ? 0 : 1) : (digits.size() > 3 ? -1 : digits.toInt());
        const int index = f.count == 1 ? n : (f.suffixRequired ? n : n - 1);
        if (index < 0 || index >= f.count || (f.count == 1 && !digits.isEmpty())) break;
        out = f.first + index;
        return 0;
    }
    return ScpiError::IllegalParameterValue;
}

QByteArray name(int source) {
    if (isChannel(source)) return "CHAN" + QByteArray::number(source - Channel1 + 1);
    if (source == Pod1 || source == Pod2) return "POD" + QByteArray::number(source - Pod1 + 1);
    if (isBit(source)) return "D" + QByteArray::number(source - Digital0);
    switch (source) {
    case Logic:
        return "LOG";
    case External:
        return "EXT";
    case Line:
        return "LINE";
    default:
        return {};
    }
}

} // namespace tavrelsim::ScopeSource
