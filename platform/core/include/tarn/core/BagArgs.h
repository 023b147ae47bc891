#pragma once
#include "tarn/rpc/Bag.h"

/// Implementations of the platform's argument interfaces over a Bag. One thread at a time.
namespace tarn::core {

template <class Interface>
class InputArgs : public Interface
{
public:
    InputArgs() = default;
    explicit InputArgs(rpc::Bag bag)
        : m_bag(std::move(bag))
    {
    }

    void SetValue(const QString &key, const QVariant &value) override { m_bag.values.insert(key, value); }
    QVariant GetValue(const QString &key) override { return m_bag.values.value(key); }
    void SetError(const QString &error) override { m_error = error; }
    QString GetError() override { return m_error; }

    const rpc::Bag &bag() const { return m_bag; }

protected:
    rpc::Bag m_bag;
    QString m_error;
};

template <class Interface>
class InputListArgs : public InputArgs<Interface>
{
public:
    using InputArgs<Interface>::InputArgs;
    QList<QVariant> GetValueList() override { return this->m_bag.list; }
    void SetValueList(const QList<QVariant> &list) override { this->m_bag.list = list; }
};

template <class Interface>
class OutputArgs final : public InputListArgs<Interface>
{
public:
    void SetRetCode(int code) override { m_code = code; }
    int GetRetCode() override { return m_code; }

private:
    int m_code = 0;
};

} // namespace tarn::core
