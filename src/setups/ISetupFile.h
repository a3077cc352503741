#pragma once

#include <QString>
#include <QVariant>

// What a setup saves to and loads from a setup file, whatever the file's format. The learn string
// is Empty (an invalid variant) or a QByteArray of the instrument's setup block.
class ISetupFile {
public:
    virtual ~ISetupFile() = default;

    // Whether the file is one this format reads; never raises.
    virtual bool IsACompatibleFile(const QString& fileName) = 0;
    virtual QString Model() const = 0;
    virtual void SetModel(const QString& model) = 0;
    virtual QVariant LearnString() const = 0;
    virtual void SetLearnString(const QVariant& learnString) = 0;
    virtual QString Comments() const = 0;
    virtual void SetComments(const QString& comments) = 0;
    virtual QString Version() const = 0;
    virtual void SetVersion(const QString& version) = 0;
    virtual void WriteFile(const QString& fileName) = 0;
    virtual void ReadFile(const QString& fileName) = 0;
    virtual QString ExtraField1() const = 0;
    virtual void SetExtraField1(const QString& value) = 0;
    virtual QString ExtraField2() const = 0;
    virtual void SetExtraField2(const QString& value) = 0;
    virtual QString ExtraField3() const = 0;
    virtual void SetExtraField3(const QString& value) = 0;
    virtual QString ExtraField4() const = 0;
    virtual void SetExtraField4(const QString& value) = 0;
    virtual QString CompanyName() const = 0;
    virtual void SetCompanyName(const QString& companyName) = 0;
};
