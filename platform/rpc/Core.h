#pragma once
#include "rpc/Endpoint.h"
#include "rpc/Lease.h"
#include "rpc/Proxy.h"
#include "tarn/rpc/Rpc.h"
#include <any>
#include <functional>

namespace tarn::rpc {

/// The state of an adapter.
class RpcAdapter::Private
{
public:
    explicit Private(std::shared_ptr<Rpc::Private> owner)
        : core(std::move(owner))
    {
    }
    RpcError add(const std::any &object, const QString &interfaceName, const QString &tag, bool published);

    const std::shared_ptr<Rpc::Private> core;
    const std::shared_ptr<CallGate> gate = std::make_shared<CallGate>(); ///< open while the adapter is active
};

/// The implementation of Rpc and its adapters. Thread-safe. The mutex is never held while a call of an object is waited
/// for or the hub is asked.
class Rpc::Private
{
public:
    RpcError init(const QHash<QString, QString> &table);
    void shutdown();
    bool isInitialized() const { return client->pending.isOpen(); }

    std::shared_ptr<RpcAdapter::Private> newAdapter(std::shared_ptr<Rpc::Private> self);
    RpcError add(RpcAdapter::Private &adapter, Servant servant);
    RpcError activate(RpcAdapter::Private &adapter);
    void deactivate(RpcAdapter::Private &adapter);
    RpcError remove(RpcAdapter::Private &adapter, const QString &tag);
    void drop(const std::shared_ptr<RpcAdapter::Private> &adapter);
    /// The reference of an object of an active adapter; null otherwise.
    ObjectRef reference(const RpcAdapter::Private &adapter, const QString &tag) const;

    /// Called when the hub is lost. The mutex is held in the callback: none runs after it was replaced.
    struct HubLost
    {
        QMutex mutex;
        std::function<void()> callback;
    };
    HubLost hubLost;
    const std::shared_ptr<ClientSide> client = std::make_shared<ClientSide>();

private:
    struct Server; ///< endpoint and lease
    RpcError openServer(const std::shared_ptr<Rpc::Private> &self);
    RpcError publish();

    mutable QMutex m_mutex;
    Settings m_settings;
    std::vector<std::shared_ptr<RpcAdapter::Private>> m_adapters;
    ServantTable m_servants; ///< of all adapters
    QMutex m_publishing;     ///< sets are sent to the hub one after the other
    std::shared_ptr<Server> m_server;
};

} // namespace tarn::rpc
