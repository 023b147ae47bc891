#pragma once
#include <QList>
#include <QString>
#include <QVariant>

/// Arguments of the cloud account service, passed by QSharedPointer. Keys: CloudKeys.h. An object is used by one
/// thread at a time.
class ICloudService_InputArgs
{
public:
    virtual void SetValue(const QString &key, const QVariant &value) = 0;
    virtual QVariant GetValue(const QString &key) = 0; ///< invalid when the key is missing
    virtual void SetError(const QString &error) = 0;
    virtual QString GetError() = 0;
    virtual ~ICloudService_InputArgs() = default;
};

class ICloudService_OutputArgs
{
public:
    virtual void SetValue(const QString &key, const QVariant &value) = 0;
    virtual QVariant GetValue(const QString &key) = 0;
    virtual QList<QVariant> GetValueList() = 0;
    virtual void SetValueList(const QList<QVariant> &list) = 0;
    virtual void SetError(const QString &error) = 0;
    virtual QString GetError() = 0;
    virtual void SetRetCode(int code) = 0; ///< CloudKeys.h, namespace code
    virtual int GetRetCode() = 0;
    virtual ~ICloudService_OutputArgs() = default;
};
