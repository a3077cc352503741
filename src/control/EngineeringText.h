#pragma once

#include <QString>

// 1.5e-3, "s" → "1.5 ms": a value with an SI prefix and three significant digits, as a scope labels
// its scales and readouts.
QString EngineeringText(double value, const QString& unit);
