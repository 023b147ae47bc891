#pragma once
#include "tarn/rpc/Bag.h"

/// Implementations of the platform's argument interfaces over a Bag. The four shapes of the interfaces - input or
/// output, with or without a record list - are one template each. One thread at a time.
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
class InputListArgs final : public InputArgs<Interface>
{
public:
    using InputArgs<Interface>::InputArgs;

    QList<QVariant> GetValueList() override { return this->m_bag.list; }
    void SetValueList(const QList<QVariant> &list) override { this->m_bag.list = list; }
};

template <class Interface>
class OutputArgs : public InputArgs<Interface>
{
public:
    using InputArgs<Interface>::InputArgs;

    void SetRetCode(int code) override { m_code = code; }
    int GetRetCode() override { return m_code; }

    /// Takes what a remote service answered.
    void assign(rpc::Bag bag, int code, const QString &error)
    {
        this->m_bag = std::move(bag);
        this->m_error = error;
        m_code = code;
    }

private:
    int m_code = 0;
};

template <class Interface>
class OutputListArgs final : public OutputArgs<Interface>
{
public:
    using OutputArgs<Interface>::OutputArgs;

    QList<QVariant> GetValueList() override { return this->m_bag.list; }
    void SetValueList(const QList<QVariant> &list) override { this->m_bag.list = list; }
};

} // namespace tarn::core
