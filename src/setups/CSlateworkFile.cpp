#include "setups/CSlateworkFile.h"

#include "automation/UtilitiesTavrel.h"
#include "base/TextUtil.h"
#include "setups/SetupFileChannel.h"

#include <algorithm>
#include <limits>

namespace {

constexpr char kClass[] = "CSlateworkFile";

// One line without its line feed; a carriage return before the line feed is part of the line end
// too, so that a file written with CR LF reads like one written with LF.
QString readLine(SetupFieldReader& reader) {
    QString line = reader.ReadField();
    if (line.endsWith(u'\r')) line.chop(1);
    return line;
}

// The second line converts to a 32-bit integer or raises the runtime's conversion error: a text
// that is no number is a type mismatch, a number too large for 32 bits an overflow.
void convertToInt32(const QString& fileName, const QString& text) {
    const QString trimmed = TrimBlanks(text);
    const QString why = QStringLiteral("line 2 \"%1\" is not a 32-bit number.").arg(trimmed.left(40));
    const QStringView digits =
        QStringView(trimmed).mid(trimmed.startsWith(u'-') || trimmed.startsWith(u'+') ? 1 : 0);
    if (digits.isEmpty() ||
        !std::all_of(digits.cbegin(), digits.cend(), [](QChar c) { return c >= u'0' && c <= u'9'; }))
        throw ConversionError(kTypeMismatch, fileName, why);
    const std::optional<qint64> value = ParseDecimal(trimmed);
    if (!value || *value < std::numeric_limits<qint32>::min() || *value > std::numeric_limits<qint32>::max())
        throw ConversionError(kOverflow, fileName, why);
}

} // namespace

bool CSlateworkFile::IsACompatibleFile(const QString& fileName) {
    try {
        return WithSetupFileChannel(kClass, fileName, [&](SetupFileChannel& channel) {
            if (channel.OpenForReading(fileName)) return false;
            SetupFieldReader reader(channel, '\n');
            ReadFileTypeAndROMVersion(reader);
            return true;
        });
    } catch (const TavrelError&) {
        return false;
    }
}

void CSlateworkFile::WriteFile(const QString& fileName) {
    WithSetupFileChannel(kClass, fileName, [](SetupFileChannel&) {
        throw SetupFileRefusal{"WriteFile", SetupFileText::SaveError, "",
                               QStringLiteral(".stp files are only read; setups are saved as .scp.")};
    });
}

void CSlateworkFile::ReadFileTypeAndROMVersion(SetupFieldReader& reader) {
    const QString line = readLine(reader);
    // A file of another type is reported with the saving text.
    if (line.left(3).toUpper() != kFileType)
        throw SetupFileRefusal{"ReadFileTypeAndROMVersion", SetupFileText::SaveError, "",
                               QStringLiteral("it is not an .stp file.")};
    const qsizetype romVersionLength = line.size() - 3;
    if (romVersionLength != 3 && romVersionLength != 4)
        throw SetupFileRefusal{
            "ReadField", SetupFileText::SaveError, "Case Else",
            QStringLiteral("its ROM version \"%1\" is not 3 or 4 characters long.").arg(line.mid(3, 40))};
}

void CSlateworkFile::ReadFile(const QString& fileName) {
    WithSetupFileChannel(kClass, fileName, [&](SetupFileChannel& channel) {
        const auto refuse = [](const QString& reason) {
            return SetupFileRefusal{"ReadFile", SetupFileText::LoadError, "", reason};
        };
        if (const std::optional<QString> why = channel.OpenForReading(fileName)) throw refuse(*why);
        SetupFieldReader reader(channel, '\n');
        ReadFileTypeAndROMVersion(reader);
        convertToInt32(fileName, readLine(reader));
        const QString comments = TrimBlanks(readLine(reader));
        const QString makerAndModel = readLine(reader);
        const QString command = QString::fromLatin1(channel.Read(kSetupCommand.size()));
        if (command.toUpper() != kSetupCommand)
            throw refuse(QStringLiteral("line 5 does not start with \"%1\".").arg(kSetupCommand.trimmed()));
        // The learn string is the rest of the file, the instrument's block as it followed the command;
        // more than any setup holds is refused before anything is allocated for it.
        const qint64 byteCount = channel.Remaining();
        if (byteCount > BrumelTB::kMaxLearnStringBytes)
            throw refuse(
                QStringLiteral("the learn string of %1 bytes is larger than the %2 bytes a setup holds.")
                    .arg(byteCount)
                    .arg(BrumelTB::kMaxLearnStringBytes));
        const QByteArray bytes = channel.Read(byteCount);
        if (bytes.size() != byteCount) throw refuse(QStringLiteral("the file could not be read to its end."));

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
