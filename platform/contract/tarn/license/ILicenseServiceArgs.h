#pragma once
#include <QString>
#include <QVariant>

/// Arguments of the licence service, passed by QSharedPointer.
class ILicenseService_InputArgs
{
public:
    virtual void SetValue(const QString &key, const QVariant &value) = 0;
    virtual QVariant GetValue(const QString &key) = 0; ///< invalid when the key is missing
    virtual void SetError(const QString &error) = 0;
    virtual QString GetError() = 0;
    virtual ~ILicenseService_InputArgs() = default;
};

class ILicenseService_OutputArgs
{
public:
    virtual void SetValue(const QString &key, const QVariant &value) = 0;
    virtual QVariant GetValue(const QString &key) = 0;
    virtual void SetError(const QString &error) = 0;
    virtual QString GetError() = 0;
    virtual void SetRetCode(int code) = 0;
    virtual int GetRetCode() = 0;
    virtual ~ILicenseService_OutputArgs() = default;
};
