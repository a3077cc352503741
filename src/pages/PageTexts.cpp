#include "pages/PageTexts.h"

#include "base/Localization.h"

QString PageText(int baseId) {
    const QString text = Localized(baseId);
    return text.isEmpty() ? LoadResString(baseId) : text;
}
