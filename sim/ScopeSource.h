#pragma once

#include "sim/ScpiParser.h"

#include <QByteArray>

namespace tavrelsim {

// The scope's signal sources as parameters name them ("CHANnel2", "POD1", "LOGic", "D7", ...),
// numbered so that a setting can keep one in an int.
namespace ScopeSource {

enum Id {
    Channel1 = 0,
    Channel2,
    Channel3,
    Channel4,
    Pod1,
    Pod2,
    Logic, // all sixteen bits
    External,
    Line,
    Digital0, // D0; Dk is Digital0 + k
    Digital15 = Digital0 + 15,
};

// Which sources a parameter accepts.
enum Kinds { Channels = 1, Pods = 2, LogicWord = 4, ExternalAndLine = 8, Bits = 16 };

inline bool isChannel(int s) {
    return s >= Channel1 && s <= Channel4;
}
inline bool isBit(int s) {
    return s >= Digital0 && s <= Digital15;
}
inline bool isLogic(int s) {
    return s == Pod1 || s == Pod2 || s == Logic;
}

// 0 and the source, or the SCPI error: a name outside kinds is IllegalParameterValue.
int parse(const ScpiArg& arg, int kinds, int& out);
bool valid(int source, int kinds);
// The short form a query answers: "CHAN1", "POD2", "LOG", "EXT", "LINE", "D7".
QByteArray name(int source);

} // namespace ScopeSource
} // namespace tavrelsim
