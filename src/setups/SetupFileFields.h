#pragma once

#include "setups/ISetupFile.h"

// The fields every setup file format carries, as plain accessors.
class SetupFileFields : public ISetupFile {
public:
    static inline const QString kCorvane = QStringLiteral("Corvane Technologies");

    QString Model() const override { return m_strModel; }
    void SetModel(const QString& model) override { m_strModel = model; }
    QVariant LearnString() const override { return m_vLearnString; }
    void SetLearnString(const QVariant& learnString) override { m_vLearnString = learnString; }
    QString Comments() const override { return m_strComments; }
    void SetComments(const QString& comments) override { m_strComments = comments; }
    QString Version() const override { return m_strVersion; }
    void SetVersion(const QString& version) override { m_strVersion = version; }
    QString ExtraField1() const override { return m_strExtraField1; }
    void SetExtraField1(const QString& value) override { m_strExtraField1 = value; }
    QString ExtraField2() const override { return m_strExtraField2; }
    void SetExtraField2(const QString& value) override { m_strExtraField2 = value; }
    QString ExtraField3() const override { return m_strExtraField3; }
    void SetExtraField3(const QString& value) override { m_strExtraField3 = value; }
    QString ExtraField4() const override { return m_strExtraField4; }
    void SetExtraField4(const QString& value) override { m_strExtraField4 = value; }
    QString CompanyName() const override { return m_strCompanyName; }
    void SetCompanyName(const QString& companyName) override { m_strCompanyName = companyName; }

protected:
    QString m_strModel;
    QString m_strCompanyName = kCorvane;
    QString m_strVersion;
    QString m_strComments;
    QString m_strExtraField1;
    QString m_strExtraField2;
    QString m_strExtraField3;
    QString m_strExtraField4;
    QVariant m_vLearnString;
};
