#include "discovery/SearchRow.h"

#include "base/Diagnostics.h"
#include "base/Localization.h"
#include "base/TavrelError.h"
#include "base/TextUtil.h"
#include "discovery/CQueryInstrument.h"
#include "discovery/IdentificationMessage.h"

namespace {

const QString kPageClass = QStringLiteral("TavrelPPSrchIO");
const QString kModelWord = QStringLiteral("MODEL");

} // namespace

SearchRow InstrumentListEntry(const QString& reply, const QString& address) {
    if (address.isEmpty()) {
        ReportAssertion(false, QStringLiteral("false"), kPageClass, QStringLiteral("AddInstrumentToList"));
        throw InvalidPropertyValueError();
    }
    SearchRow row;
    row.address = address;
    row.reply = reply;

    const qsizetype first = reply.indexOf(u',');
    row.manufacturer = first < 0 ? Localized(229) : TrimBlanks(reply.left(first));

    const qsizetype second = first < 0 ? -1 : reply.indexOf(u',', first + 1);
    QString model = second < 0 ? Localized(230) : reply.mid(first + 1, second - first - 1);
    const qsizetype word = model.indexOf(kModelWord, 0, Qt::CaseInsensitive);
    if (word >= 0) model = model.mid(word + kModelWord.size());
    row.model = TrimBlanks(model);

    if (CQueryInstrument::ModelCompatibility(row.model) == IdentificationResult::Supported)
        row.supported = Localized(202);
    return row;
}

bool ResultAddsRow(bool isGPIB, qint16 result, const QString& address) {
    const qint16 last = isGPIB ? IdentificationResult::NotFound : IdentificationResult::NotIEEE488;
    if (result >= IdentificationResult::Supported && result <= last) return true;
    if (!isGPIB && result == IdentificationResult::NotFound) return false;
    ReportAssertion(false, QStringLiteral("false"), kPageClass, QStringLiteral("Click"));
    throw IdentificationQueryError(address, isGPIB);
}

int SelectedRowIndex(const QList<SearchRow>& rows, const QString& activeAddress) {
    for (qsizetype i = 0; i < rows.size(); ++i) {
        const QString& address = rows.at(i).address;
        if (activeAddress.left(address.size()) == address) return static_cast<int>(i + 1);
    }
    return -1;
}
