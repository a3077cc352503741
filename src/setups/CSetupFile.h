#pragma once

#include "setups/SetupFileFields.h"

#include <variant>

class SetupFieldReader;

// The component's own ".scp" setup file: fourteen "|"-terminated 8-bit text fields, the first of
// them the length of all fourteen, followed by the learn string's raw bytes.
//
//   92|scp|1|TV100A|Corvane Technologies||A.01.02|note|TRX Standard Setup File, Version: 1||||5|<5 bytes>
//
// The fields after the format version are model, company, extra 1, version, comments, the format
// title, extras 2 to 4 and the learn string's byte count.
class CSetupFile final : public SetupFileFields {
public:
    static inline const QString kFileType = QStringLiteral("scp");
    static inline const QString kFormatVersion = QStringLiteral("1");
    static inline const QString kFormatTitle = QStringLiteral("TRX Standard Setup File, Version: 1");

    bool IsACompatibleFile(const QString& fileName) override;
    // Replaces the file as a whole; a failed save leaves the previous file unchanged.
    void WriteFile(const QString& fileName) override;
    // Takes every field and the learn string from the file, or none of them if it is refused.
    void ReadFile(const QString& fileName) override;

private:
    // The whole file for the current fields, or why it cannot be written: a learn string that is
    // not bytes or is too large, a field holding "|", a header length that cannot be settled.
    std::variant<QByteArray, QString> FileContent() const;
    // Returns the header length field.
    static QString ReadFileTypeAndVersion(SetupFieldReader& reader);
};
