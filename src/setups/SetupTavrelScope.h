#pragma once

#include <QString>
#include <QVariant>

class SetupInstrument;
class PropertyBag;
class SetupsTavrelScope;

// One named instrument setup: the instrument's learn string, kept exactly as the automation server
// or a setup file gave it, with the model and firmware version of the instrument it came from and
// the user's name and comments. It lives in one SetupsTavrelScope, which owns it, and reaches the
// instrument only through that collection's session.
class SetupTavrelScope {
public:
    SetupTavrelScope() = default;
    SetupTavrelScope(const SetupTavrelScope&) = delete;
    SetupTavrelScope& operator=(const SetupTavrelScope&) = delete;

    QString Comments() const { return m_strComments; }
    // Trimmed of blanks; a "|" is refused with the invalid-property error.
    void SetComments(const QString& comments);
    QString Name() const { return m_strName; }
    // For a new setup: trimmed of blanks; empty, or with a blank or "|" anywhere, is refused.
    void SetName(const QString& newName);

    // Keys are the decimal index followed by "SetupName", "SetupComments", "LearnString", "Model"
    // and "Version". Stored values are taken as they are, without the checks of the setters.
    void ReadProperties(PropertyBag& bag, int index);
    // Refuses, before writing anything, a learn string larger than any setup may hold.
    void WriteProperties(PropertyBag& bag, int index) const;
    // Takes name, comments, learn string, model and version of the source; not the parent.
    void Copy(const SetupTavrelScope* setupSource);

    // Empty (an invalid QVariant) or the bytes as received.
    QVariant LearnString() const { return m_vLearnString; }
    QString Model() const { return m_strModel; }
    QString Version() const { return m_strVersion; }

    // Learn string, model and version of the connected instrument; failures of the automation
    // server or the I/O come through unchanged, with whatever was taken before them kept. A learn
    // string larger than a setup holds is refused before it replaces the old one.
    void GetFromInstrument();
    // The model must match without regard to case, the version too unless this setup's version is
    // the wildcard "X.XX.XX". A setup without model or version is compatible with nothing.
    bool IsLearnStringCompatible(const QString& strModel, const QString& strVersion) const;
    // Model, learn string, version and comments from an .scp or .stp file; the name stays.
    void ReadFromFile(const QString& fileName);
    // Always the .scp format, whatever the file name says.
    void SaveToFile(const QString& fileName) const;
    // Refused with ObjectErrorBase + 17 unless compatible with the connected instrument.
    void SendToInstrument();

    SetupsTavrelScope* ParentSetups() const;
    void SetParentSetups(SetupsTavrelScope* setups);

    // The version text that matches every firmware version of a model.
    static inline const QString kAnyVersion = QStringLiteral("X.XX.XX");

private:
    SetupInstrument& session(const char* procedureName, const QString& conditionText) const;

    QString m_strComments;
    QString m_strName = QStringLiteral("Setup1");
    QVariant m_vLearnString;
    QString m_strModel;
    QString m_strVersion;
    SetupsTavrelScope* m_setups = nullptr; // the owning collection
};
