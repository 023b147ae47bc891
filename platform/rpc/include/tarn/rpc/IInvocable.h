#pragma once
#include "tarn/rpc/RpcProxy.h"
#include <QSharedPointer>
#include <functional>

namespace tarn::rpc {

/// The call that a served object is carrying out.
class ICallContext
{
public:
    virtual ~ICallContext() = default;
    /// True once the caller has ended or its deadline has passed: long work should stop.
    virtual bool isCancelled() const = 0;
    /// An object that the caller passed by reference; null where there is no RPC core. Usable after the call too.
    virtual QSharedPointer<RpcProxy> proxy(const ObjectRef &ref) const
    {
        Q_UNUSED(ref)
        return {};
    }
};

/// An object whose methods take and give bags; the way the reference services are served. Bound with
/// RpcAdapter::add(std::any(QSharedPointer<IInvocable>), interfaceName, tag) under any interface name that has no typed
/// skeleton. Called on RPC worker threads, several at once. An exception is answered as a refusal.
class IInvocable
{
public:
    virtual ~IInvocable() = default;
    /// @return accepted, retCode, errorText and output are sent back; error set to NotFound means "no such method"
    virtual CallResult invoke(const QString &method, const Bag &input, const ICallContext &context) = 0;
};

/// An object whose methods are one function.
class Invocable final : public IInvocable
{
public:
    using Function = std::function<CallResult(const QString &method, const Bag &input, const ICallContext &context)>;

    explicit Invocable(Function function)
        : m_function(std::move(function))
    {
    }
    CallResult invoke(const QString &method, const Bag &input, const ICallContext &context) override
    {
        return m_function(method, input, context);
    }

private:
    const Function m_function;
};

} // namespace tarn::rpc
