#include "sim/ScpiValues.h"

#include "sim/ScpiStatus.h"

#include <QRegularExpression>
#include <charconv>
#include <cmath>

namespace tavrelsim {
namespace {

int number(const QByteArray& text, double& out) {
    static const QRegularExpression re(
        R"(^([+-]?(?:\d+\.?\d*|\.\d+)(?:\s*[eE]\s*[+-]?\d+)?)\s*([A-Za-z]*)$)");
    const QRegularExpressionMatch m = re.match(QString::fromLatin1(text));
    if (!m.hasMatch()) return ScpiError::IllegalParameterValue;
    if (!m.captured(2).isEmpty()) return ScpiError::SuffixNotAllowed;
    bool ok = false;
    out = m.captured(1).remove(' ').toDouble(&ok);
    return ok && std::isfinite(out) ? 0 : int(ScpiError::IllegalParameterValue);
}

} // namespace

QByteArray ScpiValues::shortForm(const QByteArray& mnemonic) {
    QByteArray s;
    for (char c : mnemonic) {
        if ((c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9')) s.append(c);
    }
    return s;
}

bool ScpiValues::matchesMnemonic(const QByteArray& word, const QByteArray& mnemonic) {
    const QByteArray w = word.toUpper();
    return w == shortForm(mnemonic) || w == mnemonic.toUpper();
}

int ScpiValues::toReal(const ScpiArg& arg, double min, double max, double& out) {
    if (arg.type != ScpiArg::Token) return ScpiError::DataTypeError;
    if (matchesMnemonic(arg.text, "MINimum")) {
        out = min;
        return 0;
    }
    if (matchesMnemonic(arg.text, "MAXimum")) {
        out = max;
        return 0;
    }
    double v = 0;
    if (const int e = number(arg.text, v)) return e;
    if (v < min || v > max) return ScpiError::DataOutOfRange;
    out = v;
    return 0;
}

int ScpiValues::toBool(const ScpiArg& arg, bool& out) {
    if (arg.type != ScpiArg::Token) return ScpiError::DataTypeError;
    if (matchesMnemonic(arg.text, "ON") || matchesMnemonic(arg.text, "OFF")) {
        out = matchesMnemonic(arg.text, "ON");
        return 0;
    }
    double v = 0;
    if (number(arg.text, v) != 0 || std::fabs(v) > 1e9) return ScpiError::IllegalParameterValue;
    out = std::lround(v) != 0;
    return 0;
}

int ScpiValues::toChoice(const ScpiArg& arg, const QList<QByteArray>& choices, int& out) {
    if (arg.type != ScpiArg::Token) return ScpiError::DataTypeError;
    for (qsizetype i = 0; i < choices.size(); ++i) {
        if (matchesMnemonic(arg.text, choices.at(i))) {
            out = int(i);
            return 0;
        }
    }
    return ScpiError::IllegalParameterValue;
}

QByteArray ScpiValues::formatReal(double v) {
    char buffer[32];
    return QByteArray(buffer, writeReal(buffer, v) - buffer);
}

char* ScpiValues::writeReal(char* out, double v) {
    // std::to_chars is many times faster than printf, which matters for a million ASCii values.
    if (!(v < 0) && !std::signbit(v)) *out++ = '+';
    char* end = std::to_chars(out, out + 15, v, std::chars_format::scientific, 6).ptr;
    for (char* c = out; c < end; ++c) {
        if (*c == 'e') *c = 'E';
    }
    return end;
}

QByteArray ScpiValues::formatExactReal(double v) {
    char buffer[40];
    char* end = std::to_chars(buffer, buffer + sizeof buffer, v, std::chars_format::scientific).ptr;
    QByteArray text(buffer, end - buffer); // shortest exact form, like "1.220703125e-04" or "1e-08"
    const qsizetype e = text.indexOf('e');
    QByteArray mantissa = text.left(e), exponent = text.mid(e + 1);
    if (!mantissa.contains('.')) mantissa += '.';
    while (mantissa.size() - mantissa.indexOf('.') - 1 < 6)
        mantissa += '0';
    if (!mantissa.startsWith('-')) mantissa.prepend('+');
    return mantissa + 'E' + exponent;
}

} // namespace tavrelsim
