#pragma once

#include <QComboBox>
#include <QDoubleSpinBox>

// A scale picked in 1-2-5 steps, as on the scope's knob; a value the scope chose itself (after
// AutoScale) is shown as it is.
class ScaleCombo : public QComboBox {
    Q_OBJECT
public:
    ScaleCombo(double lowest, double highest, const QString& unit, QWidget* parent = nullptr);
    double value() const;
    void setValue(double value);

signals:
    void valuePicked(double value);

private:
    QString m_unit;
};

// A value with an SI prefix ("-1.5 ms"): typed as "1.5m", "1.5 ms" or "0.0015".
class EngineeringSpinBox : public QDoubleSpinBox {
    Q_OBJECT
public:
    EngineeringSpinBox(const QString& unit, double step, QWidget* parent = nullptr);

protected:
    QString textFromValue(double value) const override;
    double valueFromText(const QString& text) const override;
    QValidator::State validate(QString& text, int& pos) const override;

private:
    QString m_unit;
};
