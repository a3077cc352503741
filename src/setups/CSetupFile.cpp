#include "setups/CSetupFile.h"

#include "setups/SetupFileChannel.h"

namespace {

constexpr char kClass[] = "CSetupFile";

int digitCount(qint64 n) {
    return static_cast<int>(QByteArray::number(n).size());
}

} // namespace

bool CSetupFile::IsACompatibleFile(const QString& fileName) {
    try {
        return WithSetupFileChannel(kClass, [&](SetupFileChannel& channel) {
            if (!channel.OpenForReading(fileName)) return false;
            SetupFieldReader reader(channel, '|');
            ReadFileTypeAndVersion(reader);
            return true;
        });
    } catch (const TavrelError&) {
        return false;
    }
}

std::optional<QByteArray> CSetupFile::FileContent() const {
    QByteArray learnString;
    if (m_vLearnString.isValid()) {
        if (m_vLearnString.metaType() != QMetaType::fromType<QByteArray>()) return std::nullopt;
        learnString = m_vLearnString.toByteArray();
    }
    // 8-bit text: a character outside Latin-1 is written as "?", as the code page conversion does.
    const QString fields[] = {kFileType,        kFormatVersion,   m_strModel,
                              m_strCompanyName, m_strExtraField1, m_strVersion,
                              m_strComments,    kFormatTitle,     m_strExtraField2,
                              m_strExtraField3, m_strExtraField4, QString::number(learnString.size())};
    QByteArray rest;
    for (const QString& field : fields)
        rest += field.toLatin1() + '|';

    // The header length counts its own digits and "|"; when its digits push it past a power of
    // ten it needs one digit more.
    const qint64 besidesDigits = rest.size() + 1;
    qint64 headerLength = besidesDigits + digitCount(besidesDigits);
    if (digitCount(headerLength) != digitCount(besidesDigits)) ++headerLength;
    if (besidesDigits + digitCount(headerLength) != headerLength) return std::nullopt;
    return QByteArray::number(headerLength) + '|' + rest + learnString;
}

void CSetupFile::WriteFile(const QString& fileName) {
    WithSetupFileChannel(kClass, [&](SetupFileChannel& channel) {
        const std::optional<QByteArray> content = FileContent();
        if (!content || !channel.ReplaceContent(fileName, *content))
            throw SetupFileRefusal{"WriteFile", SetupFileText::SaveError, "ErrorHandler"};
    });
}

QString CSetupFile::ReadFileTypeAndVersion(SetupFieldReader& reader) {
    const QString headerLength = reader.ReadField();
    const QString fileType = reader.ReadField(static_cast<int>(kFileType.size()) + 1);
    // A file of another type or format version is reported with the saving text.
    if (fileType.toUpper() != kFileType.toUpper())
        throw SetupFileRefusal{"ReadFileTypeAndVersion", SetupFileText::SaveError};
    if (reader.ReadField() != kFormatVersion)
        throw SetupFileRefusal{"ReadFileTypeAndVersion", SetupFileText::SaveError};
    return headerLength;
}

void CSetupFile::ReadFile(const QString& fileName) {
    WithSetupFileChannel(kClass, [&](SetupFileChannel& channel) {
        if (!channel.OpenForReading(fileName)) throw SetupFileRefusal{"ReadFile", SetupFileText::LoadError};
        SetupFieldReader reader(channel, '|');
        const std::optional<qint64> headerLength = ParseDecimal(ReadFileTypeAndVersion(reader));
        const QString model = reader.ReadField();
        const QString companyName = reader.ReadField();
        const QString extraField1 = reader.ReadField();
        const QString version = reader.ReadField();
        const QString comments = reader.ReadField();
        reader.ReadField(); // the format title
        const QString extraField2 = reader.ReadField();
        const QString extraField3 = reader.ReadField();
        const QString extraField4 = reader.ReadField();
        const std::optional<qint64> byteCount = ParseDecimal(reader.ReadField());

        if (!byteCount || *byteCount < 0 || headerLength != reader.Consumed())
            throw SetupFileRefusal{"ReadFile", SetupFileText::LoadError};
        // A count the file cannot hold is refused before anything is allocated for it.
        if (*byteCount > channel.Remaining()) throw SetupFileRefusal{"ReadFile", SetupFileText::LoadError};
        const QByteArray bytes = channel.Read(*byteCount);
        if (bytes.size() != *byteCount) throw SetupFileRefusal{"ReadFile", SetupFileText::LoadError};

        m_strModel = model;
        m_strCompanyName = companyName;
        m_strExtraField1 = extraField1;
        m_strVersion = version;
        m_strComments = comments;
        m_strExtraField2 = extraField2;
        m_strExtraField3 = extraField3;
        m_strExtraField4 = extraField4;
        // Bytes after the learn string are not looked at.
        m_vLearnString = bytes.size() < 2 ? QVariant() : QVariant(bytes);
    });
}
