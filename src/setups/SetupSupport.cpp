#include "setups/SetupSupport.h"

#include "base/Localization.h"
#include "base/PropertyBag.h"
#include "setups/CSetupFile.h"
#include "setups/CSlateworkFile.h"

#include <QFileInfo>

namespace SetupSupport {

namespace {

TavrelError collectionError(qint32 number, const QString& description) {
    return TavrelError(number, Localized(104), description, kComponentHelpFile);
}

} // namespace

TavrelError DuplicateKeyError() {
    return collectionError(
        kDuplicateKey, QStringLiteral("This key is already associated with an element of this collection"));
}

TavrelError InvalidProcedureCallError() {
    return collectionError(kInvalidProcedureCall, QStringLiteral("Invalid procedure call or argument"));
}

TavrelError ObjectNotSetError() {
    return collectionError(kObjectNotSet, QStringLiteral("Object variable or With block variable not set"));
}

TavrelError NotASetupFileError(const QString& fileName) {
    TavrelError error(ErrorNumber::NotASetupFile, Localized(670), Localized(674), kComponentHelpFile);
    const QFileInfo info(fileName);
    QString why = QStringLiteral("it is neither an .scp nor an .stp file.");
    if (!info.exists())
        why = QStringLiteral("there is no such file.");
    else if (!info.isFile())
        why = QStringLiteral("it is not a regular file.");
    else if (!info.isReadable())
        why = QStringLiteral("it cannot be read.");
    error.withDetail(QStringLiteral("\"%1\": %2").arg(fileName, why));
    return error;
}

TavrelError BadStoredValueError(const PropertyBag& bag, const QString& key, const QString& why) {
    TavrelError error = InvalidPropertyValueError();
    error.withDetail(QStringLiteral("%1: \"%2\": %3").arg(bag.origin(), key, why));
    return error;
}

std::unique_ptr<ISetupFile> AcceptingReader(const QString& fileName) {
    std::unique_ptr<ISetupFile> reader = std::make_unique<CSetupFile>();
    if (reader->IsACompatibleFile(fileName)) return reader;
    reader = std::make_unique<CSlateworkFile>();
    if (reader->IsACompatibleFile(fileName)) return reader;
    return nullptr;
}

TavrelError TransferError(int titleId, qint32 number, const QString& detail) {
    return TavrelError(number, Localized(titleId), detail, kComponentHelpFile);
}

} // namespace SetupSupport
