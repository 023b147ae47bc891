#pragma once
#include <QList>
#include <QString>
#include <QVariant>

/// The two shapes of service arguments, from which the service families derive their own names. Passed by
/// QSharedPointer; an object is used by one thread at a time. The order of the virtual functions is part of the binary
/// interface.
namespace tarn {

class IServiceInputArgs
{
public:
    virtual void SetValue(const QString &key, const QVariant &value) = 0;
    virtual QVariant GetValue(const QString &key) = 0; ///< invalid when the key is missing
    virtual void SetError(const QString &error) = 0;
    virtual QString GetError() = 0; ///< empty where none was set
    virtual ~IServiceInputArgs() = default;
};

class IServiceOutputArgs
{
public:
    virtual void SetValue(const QString &key, const QVariant &value) = 0;
    virtual QVariant GetValue(const QString &key) = 0;
    virtual QList<QVariant> GetValueList() = 0; ///< records, each a QVariantMap
    virtual void SetValueList(const QList<QVariant> &list) = 0;
    virtual void SetError(const QString &error) = 0;
    virtual QString GetError() = 0;
    virtual void SetRetCode(int code) = 0;
    virtual int GetRetCode() = 0; ///< 0 where none was set
    virtual ~IServiceOutputArgs() = default;
};

} // namespace tarn
