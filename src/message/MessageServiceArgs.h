#pragma once
#include "tarn/message/IMessageServiceArgs.h"
#include <QMap>

/// The common half of the message service's argument objects: a map and an error text.
template <class Interface>
class MessageServiceArgs : public Interface
{
public:
    void SetValue(const QString &key, const QVariant &value) override { m_values.insert(key, value); }
    QVariant GetValue(const QString &key) override { return m_values.value(key); }
    void SetError(const QString &error) override { m_error = error; }
    QString GetError() override { return m_error; }

private:
    QMap<QString, QVariant> m_values;
    QString m_error;
};

class CMessageService_InputArgs final : public MessageServiceArgs<IMessageService_InputArgs>
{
};
class CMessageService_OutputArgs final : public MessageServiceArgs<IMessageService_OutputArgs>
{
public:
    QList<QVariant> GetValueList() override { return m_list; }
    void SetValueList(const QList<QVariant> &list) override { m_list = list; }
    void SetRetCode(int code) override { m_code = code; }
    int GetRetCode() override { return m_code; }

private:
    QList<QVariant> m_list;
    int m_code = 0;
};
