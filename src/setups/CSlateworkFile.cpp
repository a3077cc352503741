#include "setups/CSlateworkFile.h"

#include "base/TextUtil.h"
#include "setups/SetupFileChannel.h"

#include <limits>

namespace {

constexpr char kClass[] = "CSlateworkFile";

bool isInt32(const QString& text) {
    const std::optional<qint64> value = ParseDecimal(TrimBlanks(text));
    return value && *value >= std::numeric_limits<qint32>::min() &&
           *value <= std::numeric_limits<qint32>::max();
}

} // namespace

bool CSlateworkFile::IsACompatibleFile(const QString& fileName) {
    try {
        return WithSetupFileChannel(kClass, [&](SetupFileChannel& channel) {
            if (!channel.OpenForReading(fileName)) return false;
            SetupFieldReader reader(channel, '\n');
            ReadFileTypeAndROMVersion(reader);
            return true;
        });
    } catch (const TavrelError&) {
        return false;
    }
}

void CSlateworkFile::WriteFile(const QString&) {
    WithSetupFileChannel(kClass, [](SetupFileChannel&) {
        throw SetupFileRefusal{"WriteFile", SetupFileText::SaveError};
    });
}

void CSlateworkFile::ReadFileTypeAndROMVersion(SetupFieldReader& reader) {
    const QString line = reader.ReadField();
    // A file of another type is reported with the saving text.
    if (line.left(3).toUpper() != kFileType)
        throw SetupFileRefusal{"ReadFileTypeAndROMVersion", SetupFileText::SaveError};
    const qsizetype romVersionLength = line.size() - 3;
    if (romVersionLength != 3 && romVersionLength != 4)
        throw SetupFileRefusal{"ReadField", SetupFileText::SaveError, "Case Else"};
}

void CSlateworkFile::ReadFile(const QString& fileName) {
    WithSetupFileChannel(kClass, [&](SetupFileChannel& channel) {
        if (!channel.OpenForReading(fileName)) throw SetupFileRefusal{"ReadFile", SetupFileText::LoadError};
        SetupFieldReader reader(channel, '\n');
        ReadFileTypeAndROMVersion(reader);
        if (!isInt32(reader.ReadField())) throw SetupFileRefusal{"ReadFile", SetupFileText::LoadError};
        const QString comments = TrimBlanks(reader.ReadField());
        const QString makerAndModel = reader.ReadField();
        const QString command = QString::fromLatin1(channel.Read(kSetupCommand.size()));
        if (command.toUpper() != kSetupCommand) throw SetupFileRefusal{"ReadFile", SetupFileText::LoadError};
        // The learn string is the rest of the file, the instrument's block as it followed the command.
        const qint64 byteCount = channel.Remaining();
        const QByteArray bytes = channel.Read(byteCount);
        if (bytes.size() != byteCount) throw SetupFileRefusal{"ReadFile", SetupFileText::LoadError};

        m_strComments = comments;
        m_strModel = makerAndModel.mid(3);
        m_strCompanyName = makerAndModel.left(3);
        if (m_strCompanyName.toUpper() == kMakerPrefix) m_strCompanyName = kCorvane;
        m_strVersion = kAnyVersion;
        m_strExtraField1.clear();
        m_strExtraField2.clear();
        m_strExtraField3.clear();
        m_strExtraField4.clear();
        m_vLearnString = bytes.size() < 2 ? QVariant() : QVariant(bytes);
    });
}
