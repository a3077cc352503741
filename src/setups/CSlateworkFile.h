#pragma once

#include "setups/SetupFileFields.h"

class SetupFieldReader;

// A ".stp" setup file of the maker's Slatework software, read only. Four lines ended by a line
// feed alone, then the instrument's setup command and its data up to the end of the file:
//
//   STP1.00            file type and a ROM version of 3 or 4 characters
//   123                a number that must convert to a 32-bit integer
//   comments
//   VELTV100A          maker prefix and model
//   :SYSTEM:SETUP <learn-string bytes>
class CSlateworkFile final : public SetupFileFields {
public:
    static inline const QString kFileType = QStringLiteral("STP");
    static inline const QString kMakerPrefix = QStringLiteral("VEL");
    static inline const QString kSetupCommand = QStringLiteral(":SYSTEM:SETUP ");
    // The file names no firmware version; this one matches every version of the model.
    static inline const QString kAnyVersion = QStringLiteral("X.XX.XX");

    bool IsACompatibleFile(const QString& fileName) override;
    // Refused: setups are saved as ".scp". No file is created or changed.
    void WriteFile(const QString& fileName) override;
    // Takes every field and the learn string from the file, or none of them if it is refused.
    void ReadFile(const QString& fileName) override;

private:
    static void ReadFileTypeAndROMVersion(SetupFieldReader& reader);
};
