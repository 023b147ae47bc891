#pragma once
#include "tarn/rpc/HubPort.h"
#include "tarn/rpc/IInvocable.h"
#include "tarn/rpc/Rpc.h"
#include <QHash>
#include <functional>

namespace tarn::test {

/// A served object whose methods are one function of the test; called on RPC worker threads. Registered while the
/// object lives at the hub that runs (see Sandbox).
class ServedObject
{
public:
    using Function = std::function<rpc::CallResult(const QString &method, const rpc::Bag &input)>;

    ServedObject(const QString &tag, const Function &function)
    {
        m_served = m_rpc.init({{rpc::keys::IP, QStringLiteral("127.0.0.1")},
                               {rpc::keys::Port, QString::number(rpc::hubPort())},
                               {rpc::keys::ThreadNum, QStringLiteral("4")}});
        m_adapter = m_rpc.createAdapter(QStringLiteral("test"));
        const QSharedPointer<rpc::IInvocable> object =
            QSharedPointer<rpc::Invocable>::create([=](const QString &method, const rpc::Bag &input,
                                                       const rpc::ICallContext &) { return function(method, input); });
        m_served =
            m_served && m_adapter->add(std::any(object), QStringLiteral("ITestObject"), tag) && m_adapter->active();
    }
    bool isServed() const { return m_served; }

private:
    rpc::Rpc m_rpc;
    QSharedPointer<rpc::RpcAdapter> m_adapter;
    bool m_served = false;
};

} // namespace tarn::test
