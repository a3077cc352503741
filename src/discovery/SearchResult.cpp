#include "discovery/SearchResult.h"

#include "base/Localization.h"
#include "discovery/IdentificationMessage.h"

PortNotFound PortNotFoundMessage(const QString& port) {
    const QString paragraph = QStringLiteral("\r\n\r\n");
    // 242 ends with a blank where a language needs one: 243 goes on the same line.
    return {
        port, Localized(207),
        AppendAddressAt(Localized(241), port, port.startsWith(QStringLiteral("GPIB"), Qt::CaseInsensitive)) +
            paragraph + Localized(242) + Localized(243)};
}
