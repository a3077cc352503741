#include "setups/SetupTavrelScope.h"

#include "automation/UtilitiesTavrel.h"
#include "base/Diagnostics.h"
#include "base/Localization.h"
#include "base/PropertyBag.h"
#include "base/TextUtil.h"
#include "setups/CSetupFile.h"
#include "setups/SetupInstrument.h"
#include "setups/SetupSupport.h"
#include "setups/SetupsTavrelScope.h"

using namespace SetupSupport;

namespace {

const char* const kClass = "Setup";
const QString kClassName = QString::fromLatin1(kClass);

bool isValidName(const QString& name) {
    return !name.isEmpty() && !name.contains(u' ') && !name.contains(u'|');
}

QString tooLarge(qsizetype size) {
    return QStringLiteral("the learn string of %1 bytes is larger than the %2 bytes a setup holds.")
        .arg(size)
        .arg(BrumelTB::kMaxLearnStringBytes);
}

QString key(int index, const char* suffix) {
    return QString::number(index) + QLatin1String(suffix);
}

} // namespace

void SetupTavrelScope::SetComments(const QString& comments) {
    Reported(kClass, "Let Comments", [&] {
        if (comments.contains(u'|')) throw InvalidPropertyValueError();
        m_strComments = TrimBlanks(comments);
    });
}

void SetupTavrelScope::SetName(const QString& newName) {
    Reported(kClass, "Let Name", [&] {
        if (!isValidName(newName)) throw InvalidPropertyValueError();
        m_strName = TrimBlanks(newName);
    });
}

void SetupTavrelScope::ReadProperties(PropertyBag& bag, int index) {
    Reported(kClass, "ReadProperties", [&] {
        m_strName = bag.read(key(index, "SetupName"), QStringLiteral("Setup1")).toString();
        m_strComments = bag.read(key(index, "SetupComments"), QString()).toString();
        // Whatever the store holds: the learn string is only stored and passed on.
        m_vLearnString = bag.read(key(index, "LearnString"), QVariant());
        m_strModel = bag.read(key(index, "Model"), QString()).toString();
        m_strVersion = bag.read(key(index, "Version"), QString()).toString();
    });
}

void SetupTavrelScope::WriteProperties(PropertyBag& bag, int index) const {
    Reported(kClass, "WriteProperties", [&] {
        // A document holding more than any setup holds could not be read back.
        if (m_vLearnString.toByteArray().size() > BrumelTB::kMaxLearnStringBytes)
            throw BadStoredValueError(bag, key(index, "LearnString"),
                                      tooLarge(m_vLearnString.toByteArray().size()));
        bag.write(key(index, "SetupName"), m_strName, QStringLiteral("Setup1"));
        bag.write(key(index, "SetupComments"), m_strComments, QString());
        bag.write(key(index, "LearnString"), m_vLearnString, QVariant());
        bag.write(key(index, "Model"), m_strModel, QString());
        bag.write(key(index, "Version"), m_strVersion, QString());
    });
}

void SetupTavrelScope::Copy(const SetupTavrelScope* setupSource) {
    Reported(kClass, "Copy", [&] {
        ReportAssertion(setupSource != nullptr, QStringLiteral("(Not (setupSource Is Nothing))"), kClassName,
                        QStringLiteral("Copy"));
        if (!setupSource) throw ObjectNotSetError();
        SetName(setupSource->Name());
        SetComments(setupSource->Comments());
        m_vLearnString = setupSource->LearnString();
        m_strModel = setupSource->Model();
        m_strVersion = setupSource->Version();
    });
}

SetupInstrument& SetupTavrelScope::session(const char* procedureName, const QString& conditionText) const {
    SetupInstrument* ez = m_setups ? m_setups->CTavrelEZPtr() : nullptr;
    ReportAssertion(ez != nullptr, conditionText, kClassName, QString::fromLatin1(procedureName));
    if (!ez) throw ObjectNotSetError();
    return *ez;
}

void SetupTavrelScope::GetFromInstrument() {
    ReportedTransfer(kClass, "GetFromInstrument", [&] {
        SetupInstrument& ez =
            session("GetFromInstrument", QStringLiteral("(Not (m_setup.CTavrelEZPtr Is Nothing))"));
        const QVariant learnString = ez.ReadLearnString();
        if (learnString.toByteArray().size() > BrumelTB::kMaxLearnStringBytes) {
            TavrelError error =
                TransferError(kGetSetupTitle, ErrorNumber::InvalidPropertyValue, Localized(106));
            error.withDetail(QStringLiteral("the instrument's learn string: %1")
                                 .arg(tooLarge(learnString.toByteArray().size())));
            throw error;
        }
        m_vLearnString = learnString;
        m_strModel = ez.InstrumentModel();
        ReportAssertion(!m_strModel.isEmpty(), QStringLiteral("(Len(m_strModel) > 0)"), kClassName,
                        QStringLiteral("GetFromInstrument"));
        m_strVersion = ez.InstrumentFirmwareVersion();
        ReportAssertion(!m_strVersion.isEmpty(), QStringLiteral("(Len(m_strVersion) > 0)"), kClassName,
                        QStringLiteral("GetFromInstrument"));
        m_setups->SetLastInstrumentSetup(m_strName);
    });
}

bool SetupTavrelScope::IsLearnStringCompatible(const QString& strModel, const QString& strVersion) const {
    if (m_strModel.isEmpty() || m_strVersion.isEmpty()) return false;
    if (strModel.toUpper() != m_strModel.toUpper()) return false;
    return strVersion.toUpper() == m_strVersion.toUpper() || m_strVersion.toUpper() == kAnyVersion;
}

void SetupTavrelScope::ReadFromFile(const QString& fileName) {
    Reported(kClass, "ReadFromFile", [&] {
        const std::unique_ptr<ISetupFile> reader = AcceptingReader(fileName);
        if (!reader) {
            ReportAssertion(false, QStringLiteral("false"), kClassName, QStringLiteral("ReadFromFile"));
            throw NotASetupFileError(fileName);
        }
        reader->ReadFile(fileName);
        // What the file holds, as it holds it.
        m_strModel = reader->Model();
        m_vLearnString = reader->LearnString();
        m_strVersion = reader->Version();
        m_strComments = reader->Comments();
    });
}

void SetupTavrelScope::SaveToFile(const QString& fileName) const {
    Reported(kClass, "SaveToFile", [&] {
        CSetupFile writer;
        writer.SetModel(m_strModel);
        writer.SetLearnString(m_vLearnString);
        writer.SetVersion(m_strVersion);
        writer.SetComments(m_strComments);
        writer.WriteFile(fileName);
    });
}

void SetupTavrelScope::SendToInstrument() {
    ReportedTransfer(kClass, "SendToInstrument", [&] {
        SetupInstrument& ez =
            session("SendToInstrument", QStringLiteral("(Not (m_setups.CTavrelEZPtr Is Nothing))"));
        const QString model = ez.InstrumentModel();
        const QString version = ez.InstrumentFirmwareVersion();
        if (!IsLearnStringCompatible(model, version))
            throw TavrelError(ErrorNumber::SendRefused, Localized(kSendSetupTitle),
                              Localized(m_vLearnString.isValid() ? 691 : 692), kComponentHelpFile);
        ez.WriteLearnString(m_vLearnString);
        m_setups->SetLastInstrumentSetup(m_strName);
    });
}

SetupsTavrelScope* SetupTavrelScope::ParentSetups() const {
    ReportAssertion(m_setups != nullptr, QStringLiteral("(Not (m_setups Is Nothing))"), kClassName,
                    QStringLiteral("Get ParentSetups"));
    return m_setups;
}

void SetupTavrelScope::SetParentSetups(SetupsTavrelScope* setups) {
    m_setups = setups;
    ReportAssertion(m_setups != nullptr, QStringLiteral("(Not (m_setups Is Nothing))"), kClassName,
                    QStringLiteral("Let ParentSetups"));
}
