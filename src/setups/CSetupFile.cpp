#include "setups/CSetupFile.h"

#include "automation/UtilitiesTavrel.h"
#include "setups/SetupFileChannel.h"

namespace {

constexpr char kClass[] = "CSetupFile";

int digitCount(qint64 n) {
    return static_cast<int>(QByteArray::number(n).size());
}

} // namespace

bool CSetupFile::IsACompatibleFile(const QString& fileName) {
    try {
        return WithSetupFileChannel(kClass, fileName, [&](SetupFileChannel& channel) {
            if (channel.OpenForReading(fileName)) return false;
            SetupFieldReader reader(channel, '|');
            ReadFileTypeAndVersion(reader);
            return true;
        });
    } catch (const TavrelError&) {
        return false;
    }
}

std::variant<QByteArray, QString> CSetupFile::FileContent() const {
    QByteArray learnString;
    if (m_vLearnString.isValid()) {
        if (m_vLearnString.metaType() != QMetaType::fromType<QByteArray>())
            return QStringLiteral("the learn string is not a byte array.");
        learnString = m_vLearnString.toByteArray();
    }
    if (learnString.size() > BrumelTB::kMaxLearnStringBytes)
        return QStringLiteral("the learn string of %1 bytes is larger than the %2 bytes a setup holds.")
            .arg(learnString.size())
            .arg(BrumelTB::kMaxLearnStringBytes);
    // 8-bit text: a character outside Latin-1 is written as "?", as the code page conversion does.
    const QString fields[] = {kFileType,        kFormatVersion,   m_strModel,
                              m_strCompanyName, m_strExtraField1, m_strVersion,
                              m_strComments,    kFormatTitle,     m_strExtraField2,
                              m_strExtraField3, m_strExtraField4, QString::number(learnString.size())};
    QByteArray rest;
    for (const QString& field : fields) {
        // A "|" inside a field would end it early: such a file could not be read back.
        if (field.contains(u'|'))
            return QStringLiteral("the field \"%1\" holds a \"|\".").arg(field.left(40));
        rest += field.toLatin1() + '|';
    }

    // The header length counts its own digits and "|"; when its digits push it past a power of
    // ten it needs one digit more.
    const qint64 besidesDigits = rest.size() + 1;
    qint64 headerLength = besidesDigits + digitCount(besidesDigits);
    if (digitCount(headerLength) != digitCount(besidesDigits)) ++headerLength;
    if (besidesDigits + digitCount(headerLength) != headerLength)
        return QStringLiteral("the header length cannot be settled.");
    return QByteArray::number(headerLength) + '|' + rest + learnString;
}

void CSetupFile::WriteFile(const QString& fileName) {
    WithSetupFileChannel(kClass, fileName, [&](SetupFileChannel& channel) {
        const std::variant<QByteArray, QString> content = FileContent();
        const auto refuse = [](const QString& reason) {
            return SetupFileRefusal{"WriteFile", SetupFileText::SaveError, "ErrorHandler",
                                    QStringLiteral("not saved: %1").arg(reason)};
        };
        if (const QString* why = std::get_if<QString>(&content)) throw refuse(*why);
        const QString failure = channel.ReplaceContent(fileName, std::get<QByteArray>(content));
        if (!failure.isEmpty()) throw refuse(failure + QStringLiteral("; the previous file is unchanged."));
    });
}

QString CSetupFile::ReadFileTypeAndVersion(SetupFieldReader& reader) {
    const QString headerLength = reader.ReadField();
    const QString fileType = reader.ReadField(kFileType.size() + 1);
    // A file of another type or format version is reported with the saving text.
    if (fileType.toUpper() != kFileType.toUpper())
        throw SetupFileRefusal{"ReadFileTypeAndVersion", SetupFileText::SaveError, "",
                               QStringLiteral("it is not an .scp file.")};
    const QString version = reader.ReadField();
    if (version != kFormatVersion)
        throw SetupFileRefusal{"ReadFileTypeAndVersion", SetupFileText::SaveError, "",
                               QStringLiteral("its format version is \"%1\", not \"%2\".")
                                   .arg(version.left(40), kFormatVersion)};
    return headerLength;
}

void CSetupFile::ReadFile(const QString& fileName) {
    WithSetupFileChannel(kClass, fileName, [&](SetupFileChannel& channel) {
        if (const std::optional<QString> why = channel.OpenForReading(fileName))
            throw SetupFileRefusal{"ReadFile", SetupFileText::LoadError, "", *why};
        SetupFieldReader reader(channel, '|');
        const QString headerText = ReadFileTypeAndVersion(reader);
        const std::optional<qint64> headerLength = ParseDecimal(headerText);
        const auto field = [&] { return reader.ReadField(); };
        const QString model = field();
        const QString companyName = field();
        const QString extraField1 = field();
        const QString version = field();
        const QString comments = field();
        field(); // the format title
        const QString extraField2 = field();
        const QString extraField3 = field();
        const QString extraField4 = field();
        const std::optional<qint64> byteCount = ParseDecimal(field());

        const auto refuse = [](const QString& reason) {
            return SetupFileRefusal{"ReadFile", SetupFileText::LoadError, "", reason};
        };
        if (!byteCount || *byteCount < 0)
            throw refuse(QStringLiteral("the byte count is not a number of bytes."));
        if (headerLength != reader.Consumed())
            throw refuse(QStringLiteral("the header length is %1, but the header has %2 characters.")
                             .arg(headerText.left(40))
                             .arg(reader.Consumed()));
        // A count the file cannot hold, or more than any setup holds, is refused before anything
        // is allocated for it.
        if (*byteCount > BrumelTB::kMaxLearnStringBytes)
            throw refuse(
                QStringLiteral("the learn string of %1 bytes is larger than the %2 bytes a setup holds.")
                    .arg(*byteCount)
                    .arg(BrumelTB::kMaxLearnStringBytes));
        if (*byteCount > channel.Remaining())
            throw refuse(
                QStringLiteral("the file ends before the %1 bytes of its learn string.").arg(*byteCount));
        const QByteArray bytes = channel.Read(*byteCount);
        if (bytes.size() != *byteCount)
            throw refuse(
                QStringLiteral("the file ends before the %1 bytes of its learn string.").arg(*byteCount));

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
