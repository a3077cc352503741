#pragma once

#include <QString>
#include <exception>

// Every error the component raises: the number (ObjectErrorBase + n), a localized source and
// description, and the help file and context a host can open for it.
constexpr qint32 ObjectErrorBase = static_cast<qint32>(0x80040000u);

namespace ErrorNumber {
constexpr qint32 SubscriptOutOfRange = 9; // the runtime's own code for a bad array index
constexpr qint32 SendRefused = ObjectErrorBase + 17;
constexpr qint32 AssertionFailed = ObjectErrorBase + 51;
constexpr qint32 ConnectionFailed = ObjectErrorBase + 59;
constexpr qint32 NotASetupFile = ObjectErrorBase + 321;
constexpr qint32 InvalidPropertyValue = ObjectErrorBase + 380;
constexpr qint32 SetupFileError = ObjectErrorBase + 31037;
// A refusal by the instrument or its automation server: the first number past the 512 that the
// runtime keeps for itself.
constexpr qint32 ServerRefused = ObjectErrorBase + 513;
} // namespace ErrorNumber

class TavrelError : public std::exception {
public:
    TavrelError(qint32 number, QString source, QString description, QString helpFile = {},
                qint32 helpContext = 0);

    qint32 number() const { return m_number; }
    const QString& source() const { return m_source; }
    const QString& description() const { return m_description; }
    const QString& helpFile() const { return m_helpFile; }
    qint32 helpContext() const { return m_helpContext; }
    // What the number and text cannot say: the file, key, address or reason behind this error.
    // Empty when there is nothing to add; hosts show it on a line of its own.
    const QString& detail() const { return m_detail; }
    TavrelError& withDetail(QString detail);

    // "0x8004017C": the number as hosts and logs show it.
    QString hexNumber() const;
    const char* what() const noexcept override { return m_what.constData(); }

    // Whether the diagnostics have this error already: a failure is logged once, by the innermost
    // procedure that reports it, however many callers pass it on.
    bool reported() const { return m_reported; }
    void markReported() const { m_reported = true; }

protected:
    // For the I/O library's and the driver's own errors, whose text is their message alone.
    void setWhat(const QString& what) {
        m_what = what.toUtf8();
        m_plainWhat = true;
    }

private:
    qint32 m_number;
    QString m_source;
    QString m_description;
    QString m_helpFile;
    qint32 m_helpContext;
    QString m_detail;
    QByteArray m_what;
    bool m_plainWhat = false;
    mutable bool m_reported = false;
};

// The component's help file, which every raised error names.
inline const QString kComponentHelpFile = QStringLiteral("Tavrel.hlp");

// ObjectErrorBase + 380 with the localized source (104) and description (106).
TavrelError InvalidPropertyValueError(qint32 helpContext = 0);
// The same number and source with any localized description id (107 for the Asian-language refusal).
TavrelError InvalidPropertyValueError(int descriptionBaseId, qint32 helpContext);
// An array index outside its bounds.
TavrelError SubscriptOutOfRangeError();
