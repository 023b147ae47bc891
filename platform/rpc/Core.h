#pragma once
#include "rpc/Endpoint.h"
#include "rpc/Lease.h"
#include "rpc/Proxy.h"
#include "tarn/rpc/Rpc.h"
#include <any>
#include <functional>
#include <map>

namespace tarn::rpc {

/// The callable form of an object that is added under an interface's name; null with the reason.
QSharedPointer<IInvocable> makeSkeleton(const std::any &object, const QString &interfaceName, QString *error);

/// The state of an adapter; guarded by its core's mutex.
struct AdapterState
{
    QString name;
    bool active = false;
    std::map<QString, Servant> servants;
    const std::shared_ptr<CallGate> gate = std::make_shared<CallGate>();
};

/// A callback that can be replaced. The mutex is held in the callback: none runs after it was taken away.
class HubLostHook
{
public:
    void set(std::function<void()> callback)
    {
        const QMutexLocker lock(&m_mutex);
        m_callback = std::move(callback);
    }
    void call()
    {
        const QMutexLocker lock(&m_mutex);
        if (m_callback)
            m_callback();
    }

private:
    QMutex m_mutex;
    std::function<void()> m_callback;
};

/// The implementation of Rpc and its adapters. Thread-safe. The mutex is never held while a call of an object is waited
/// for or the hub is asked.
class Rpc::Private
{
public:
    ~Private();

    RpcError init(const QHash<QString, QString> &table);
    void shutdown();
    void setHubLost(std::function<void()> callback);
    bool isInitialized() const { return client->pending.isOpen(); }

    std::shared_ptr<AdapterState> newAdapter(const QString &name);
    RpcError add(AdapterState &adapter, Servant servant);
    RpcError activate(AdapterState &adapter);
    RpcError deactivate(AdapterState &adapter);
    RpcError remove(AdapterState &adapter, const QString &tag);
    void drop(const std::shared_ptr<AdapterState> &adapter);
    /// The reference of an object of an active adapter; null otherwise.
    ObjectRef reference(const AdapterState &adapter, const QString &tag) const;

    const std::shared_ptr<ClientSide> client = std::make_shared<ClientSide>();

private:
    struct Server; ///< endpoint and lease
    RpcError openServer();
    RpcError publish();
    RpcError enlist(AdapterState &adapter);
    void delist(AdapterState &adapter);
    void closeIdleServer();

    mutable QMutex m_mutex;
    Settings m_settings;
    std::vector<std::shared_ptr<AdapterState>> m_adapters;
    const std::shared_ptr<ServantTable> m_servants = std::make_shared<ServantTable>(); // outlives a server in disposal
    const std::shared_ptr<HubLostHook> m_hubLost = std::make_shared<HubLostHook>();    // outlives a server in disposal
    QMutex m_publishing; ///< sets are sent to the hub one after the other
    std::shared_ptr<Server> m_server;
};

class RpcAdapter::Private
{
public:
    Private(std::shared_ptr<Rpc::Private> owner, const QString &name)
        : core(std::move(owner))
        , state(core->newAdapter(name))
    {
    }
    RpcError add(const std::any &object, const QString &interfaceName, const QString &tag, bool published);

    const std::shared_ptr<Rpc::Private> core;
    const std::shared_ptr<AdapterState> state;
};

} // namespace tarn::rpc
