#include "automation/ServerError.h"

#include "base/Localization.h"

namespace BrumelTB {

ServerError::ServerError(const QString& message)
    : TavrelError(ErrorNumber::ServerRefused, Localized(104), message, kComponentHelpFile) {
    setWhat(message);
}

} // namespace BrumelTB
