#pragma once
#include <QList>
#include <QString>
#include <QVariant>

/// Arguments of the message service, passed by QSharedPointer. Keys: MessageKeys.h. The order of the virtual functions
/// is part of the binary interface. An object is used by one thread at a time.
class IMessageService_InputArgs
{
public:
    virtual void SetValue(const QString &key, const QVariant &value) = 0;
    virtual QVariant GetValue(const QString &key) = 0; ///< invalid when the key is missing
    virtual void SetError(const QString &error) = 0;
    virtual QString GetError() = 0;
    virtual ~IMessageService_InputArgs() = default;
};

class IMessageService_OutputArgs
{
public:
    virtual void SetValue(const QString &key, const QVariant &value) = 0;
    virtual QVariant GetValue(const QString &key) = 0;
    virtual QList<QVariant> GetValueList() = 0; ///< records, each a QVariantMap
    virtual void SetValueList(const QList<QVariant> &list) = 0;
    virtual void SetError(const QString &error) = 0;
    virtual QString GetError() = 0;
    virtual void SetRetCode(int code) = 0; ///< MessageKeys.h, namespace code
    virtual int GetRetCode() = 0;
    virtual ~IMessageService_OutputArgs() = default;
};
