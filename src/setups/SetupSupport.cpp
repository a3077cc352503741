#include "setups/SetupSupport.h"

#include "base/Localization.h"
#include "hosting/MemoryPropertyBag.h"
#include "setups/CSetupFile.h"
#include "setups/CSlateworkFile.h"

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

TavrelError NotASetupFileError() {
    return TavrelError(ErrorNumber::NotASetupFile, Localized(670), Localized(674), kComponentHelpFile);
}

TavrelError BadStoredValueError(PropertyBag& bag, const QString& key, const QString& why) {
    const auto* memory = dynamic_cast<MemoryPropertyBag*>(&bag);
    const QString origin = memory ? memory->origin() : QStringLiteral("property store");
    return TavrelError(ErrorNumber::InvalidPropertyValue, Localized(104),
                       QStringLiteral("%1: the value of \"%2\" %3.").arg(origin, key, why),
                       kComponentHelpFile);
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
