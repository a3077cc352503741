#include "base/TavrelError.h"

#include "base/Localization.h"

TavrelError::TavrelError(qint32 number, QString source, QString description, QString helpFile,
                         qint32 helpContext)
    : m_number(number), m_source(std::move(source)), m_description(std::move(description)),
      m_helpFile(std::move(helpFile)), m_helpContext(helpContext) {
    m_what = QStringLiteral("error %1 (%2): %3").arg(hexNumber(), m_source, m_description).toUtf8();
}

TavrelError& TavrelError::withDetail(QString detail) {
    m_detail = std::move(detail);
    if (m_plainWhat) return *this; // a message-only error keeps its text; the detail is apart
    QString what = QStringLiteral("error %1 (%2): %3").arg(hexNumber(), m_source, m_description);
    if (!m_detail.isEmpty()) what += QStringLiteral(" (%1)").arg(m_detail);
    m_what = what.toUtf8();
    return *this;
}

QString TavrelError::hexNumber() const {
    return QStringLiteral("0x") + QString::number(static_cast<quint32>(m_number), 16).toUpper();
}

TavrelError InvalidPropertyValueError(qint32 helpContext) {
    return InvalidPropertyValueError(106, helpContext);
}

TavrelError InvalidPropertyValueError(int descriptionBaseId, qint32 helpContext) {
    return TavrelError(ErrorNumber::InvalidPropertyValue, Localized(104), Localized(descriptionBaseId),
                       kComponentHelpFile, helpContext);
}

TavrelError SubscriptOutOfRangeError() {
    return TavrelError(ErrorNumber::SubscriptOutOfRange, Localized(104),
                       QStringLiteral("Subscript out of range"), kComponentHelpFile);
}
