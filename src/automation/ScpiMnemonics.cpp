#include "automation/ScpiMnemonics.h"

#include <cmath>

namespace BrumelTB {

QString ScpiShortForm(const char* mnemonic) {
    QString out;
    for (const char* c = mnemonic; *c; ++c)
        if ((*c >= 'A' && *c <= 'Z') || (*c >= '0' && *c <= '9')) out += QLatin1Char(*c);
    return out;
}

bool MatchesMnemonic(const QString& word, const char* mnemonic) {
    const QString longForm = QString::fromLatin1(mnemonic);
    bool numeric = false;
    const double value = longForm.toDouble(&numeric);
    if (numeric) {
        bool ok = false;
        const double got = word.toDouble(&ok);
        return ok && std::abs(got - value) <= 1e-9 * std::max(1.0, std::abs(value));
    }
    return word.compare(longForm, Qt::CaseInsensitive) == 0 ||
           word.compare(ScpiShortForm(mnemonic), Qt::CaseInsensitive) == 0;
}

const MnemonicTable<Tavrel_OnOffState>& OnOffTable() {
    static const MnemonicTable<Tavrel_OnOffState> table("Tavrel_OnOffState",
                                                        {{Tavrel_Off, "OFF", "0"}, {Tavrel_On, "ON", "1"}});
    return table;
}

} // namespace BrumelTB
