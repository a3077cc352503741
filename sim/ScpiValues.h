#pragma once

#include "sim/ScpiParser.h"

#include <QByteArray>
#include <QList>

namespace tavrelsim {

// Parameter values as SCPI writes them. The parse functions return 0 or the SCPI error code.
class ScpiValues {
public:
    // Decimal numeric data, or MINimum/MAXimum; out of [min, max] is DataOutOfRange.
    static int toReal(const ScpiArg& arg, double min, double max, double& out);
    // ON/OFF or a number (non-zero is on, after rounding).
    static int toBool(const ScpiArg& arg, bool& out);
    // A mnemonic among choices written like "COUPling" (short form in capitals); out is the index.
    static int toChoice(const ScpiArg& arg, const QList<QByteArray>& choices, int& out);
    static bool matchesMnemonic(const QByteArray& word, const QByteArray& mnemonic);

    static QByteArray formatReal(double v); // "+5.000000E-01"
    // As formatReal, with as many more digits as it takes to give v back exactly: "+1.220703125E-04".
    static QByteArray formatExactReal(double v);
    // formatReal into out, which has room for 16 characters; returns the end.
    static char* writeReal(char* out, double v);
    static QByteArray shortForm(const QByteArray& mnemonic);
};

} // namespace tavrelsim
