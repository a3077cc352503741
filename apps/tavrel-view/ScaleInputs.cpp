#include "ScaleInputs.h"

#include "control/EngineeringText.h"

#include <QRegularExpression>
#include <cmath>

ScaleCombo::ScaleCombo(double lowest, double highest, const QString& unit, QWidget* parent)
    : QComboBox(parent), m_unit(unit) {
    for (double decade = lowest; decade <= highest * 1.0001; decade *= 10)
        for (double step : {1.0, 2.0, 5.0})
            if (decade * step <= highest * 1.0001)
                addItem(EngineeringText(decade * step, unit) + QStringLiteral("/div"), decade * step);
    connect(this, &QComboBox::activated, this,
            [this](int index) { emit valuePicked(itemData(index).toDouble()); });
}

double ScaleCombo::value() const {
    return currentData().toDouble();
}

void ScaleCombo::setValue(double value) {
    for (int i = 0; i < count(); ++i)
        if (std::fabs(itemData(i).toDouble() - value) <= 1e-9 * std::fabs(value)) {
            setCurrentIndex(i);
            return;
        }
    int at = 0;
    while (at < count() && itemData(at).toDouble() < value)
        ++at;
    insertItem(at, EngineeringText(value, m_unit) + QStringLiteral("/div"), value);
    setCurrentIndex(at);
}

namespace {

double prefixFactor(QChar prefix) {
    switch (prefix.unicode()) {
    case u'p':
        return 1e-12;
    case u'n':
        return 1e-9;
    case u'u':
    case u'µ':
        return 1e-6;
    case u'm':
        return 1e-3;
    case u'k':
        return 1e3;
    case u'M':
        return 1e6;
    default:
        return 1;
    }
}

const QRegularExpression& valuePattern() {
    static const QRegularExpression pattern(
        QStringLiteral(R"(^\s*([-+]?[0-9]*\.?[0-9]*(?:[eE][-+]?[0-9]+)?)\s*([pnuµmkM]?)\s*[A-Za-z]*\s*$)"));
    return pattern;
}

} // namespace

EngineeringSpinBox::EngineeringSpinBox(const QString& unit, double step, QWidget* parent)
    : QDoubleSpinBox(parent), m_unit(unit) {
    setDecimals(15);
    setSingleStep(step);
    setRange(-1e6, 1e6);
    setKeyboardTracking(false);
}

QString EngineeringSpinBox::textFromValue(double value) const {
    return EngineeringText(value, m_unit);
}

double EngineeringSpinBox::valueFromText(const QString& text) const {
    const QRegularExpressionMatch match = valuePattern().match(text);
    if (!match.hasMatch()) return value();
    const QString prefix = match.captured(2);
    return match.captured(1).toDouble() * (prefix.isEmpty() ? 1 : prefixFactor(prefix.front()));
}

QValidator::State EngineeringSpinBox::validate(QString& text, int&) const {
    const QRegularExpressionMatch match = valuePattern().match(text);
    if (!match.hasMatch()) return QValidator::Invalid;
    bool ok = false;
    match.captured(1).toDouble(&ok);
    return ok ? QValidator::Acceptable : QValidator::Intermediate;
}
