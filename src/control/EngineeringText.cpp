#include "control/EngineeringText.h"

#include <cmath>

QString EngineeringText(double value, const QString& unit) {
    if (value == 0.0) return QStringLiteral("0 ") + unit;
    if (!std::isfinite(value)) return QStringLiteral("— ") + unit;
    static const struct {
        double scale;
        const char* prefix;
    } prefixes[] = {{1e9, "G"},  {1e6, "M"},  {1e3, "k"},  {1, ""},
                    {1e-3, "m"}, {1e-6, "µ"}, {1e-9, "n"}, {1e-12, "p"}};
    for (const auto& p : prefixes)
        if (std::fabs(value) >= p.scale * 0.999)
            return QString::number(value / p.scale, 'g', 3) + u' ' + QString::fromUtf8(p.prefix) + unit;
    return QString::number(value, 'g', 3) + u' ' + unit;
}
