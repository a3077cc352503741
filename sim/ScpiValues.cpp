#include "sim/ScpiValues.h"

#include "sim/ScpiStatus.h"

#include <QRegularExpression>
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
    return QString::asprintf("%+.6E", v).toLatin1();
}

} // namespace tavrelsim
