#pragma once
#include <QList>
#include <QString>
#include <QVariant>

/// Arguments of the upgrade service ("Upgared" is the platform's spelling), passed by QSharedPointer. Keys:
/// UpgradeKeys.h. An object is used by one thread at a time.

/// Software information: update records and the requests made of them.
class IUpgaredSoftInfoService_InputParam
{
public:
    virtual void SetValue(const QString &key, const QVariant &value) = 0;
    virtual QVariant GetValue(const QString &key) = 0; ///< invalid when the key is missing
    virtual QList<QVariant> GetValueList() = 0;        ///< software update records, each a QVariantMap
    virtual void SetValueList(const QList<QVariant> &list) = 0;
    virtual void SetError(const QString &error) = 0;
    virtual QString GetError() = 0;
    virtual ~IUpgaredSoftInfoService_InputParam() = default;
};

class IUpgaredSoftInfoService_OutputParam
{
public:
    virtual void SetValue(const QString &key, const QVariant &value) = 0;
    virtual QVariant GetValue(const QString &key) = 0;
    virtual QList<QVariant> GetValueList() = 0;
    virtual void SetValueList(const QList<QVariant> &list) = 0;
    virtual void SetError(const QString &error) = 0;
    virtual QString GetError() = 0;
    virtual void SetRetCode(int code) = 0; ///< UpgradeKeys.h, namespace code
    virtual int GetRetCode() = 0;
    virtual ~IUpgaredSoftInfoService_OutputParam() = default;
};

/// Patches and running tasks.
class IUpgaredService_InputParam
{
public:
    virtual void SetValue(const QString &key, const QVariant &value) = 0;
    virtual QVariant GetValue(const QString &key) = 0;
    virtual void SetError(const QString &error) = 0;
    virtual QString GetError() = 0;
    virtual ~IUpgaredService_InputParam() = default;
};

class IUpgaredService_OutputParam
{
public:
    virtual void SetValue(const QString &key, const QVariant &value) = 0;
    virtual QVariant GetValue(const QString &key) = 0;
    virtual QList<QVariant> GetValueList() = 0;
    virtual void SetValueList(const QList<QVariant> &list) = 0;
    virtual void SetError(const QString &error) = 0;
    virtual QString GetError() = 0;
    virtual void SetRetCode(int code) = 0;
    virtual int GetRetCode() = 0;
    virtual ~IUpgaredService_OutputParam() = default;
};
