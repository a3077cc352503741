#pragma once

#include "automation/CEnums.h"
#include "automation/ServerError.h"

#include <QString>
#include <initializer_list>
#include <vector>

namespace BrumelTB {

// "CHANnel1" -> "CHAN1": the capitals and digits of a SCPI mnemonic.
QString ScpiShortForm(const char* mnemonic);
// Whether a word from the instrument names the mnemonic: its long or short form in any case, or, for
// a numeric mnemonic, the same number however written ("+1.000000E+01" names "10").
bool MatchesMnemonic(const QString& word, const char* mnemonic);

template <typename E> struct MnemonicRow {
    E value;
    const char* mnemonic;        // as the command reference spells it, short form in capitals
    const char* reply = nullptr; // another word the instrument answers for it ("1" for "ON")
};

// One enumeration of the server against the instrument's mnemonics. Writing a value outside the
// enumeration and reading a reply that names none of its mnemonics are both refused.
template <typename E> class MnemonicTable {
public:
    MnemonicTable(const char* enumerationName, std::initializer_list<MnemonicRow<E>> rows)
        : m_name(enumerationName), m_rows(rows) {}

    QString Mnemonic(E value) const {
        for (const auto& row : m_rows)
            if (row.value == value) return QString::fromLatin1(row.mnemonic);
        throw ServerError(QStringLiteral("%1 is not a value of %2")
                              .arg(static_cast<long long>(value))
                              .arg(QLatin1String(m_name)));
    }

    E FromReply(const QString& reply) const {
        const QString word = reply.trimmed();
        for (const auto& row : m_rows)
            if (MatchesMnemonic(word, row.mnemonic) || (row.reply && MatchesMnemonic(word, row.reply)))
                return row.value;
        throw ServerError(QStringLiteral("the instrument answered \"%1\", which names no value of %2")
                              .arg(word, QLatin1String(m_name)));
    }

    const std::vector<MnemonicRow<E>>& Rows() const { return m_rows; }
    const char* Name() const { return m_name; }

private:
    const char* m_name;
    std::vector<MnemonicRow<E>> m_rows;
};

// ON/OFF settings, which the instrument answers as 1/0.
const MnemonicTable<Tavrel_OnOffState>& OnOffTable();

} // namespace BrumelTB
