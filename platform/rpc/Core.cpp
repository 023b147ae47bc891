#include "rpc/Core.h"
#include "rpc/LastError.h"
#include "rpc/Log.h"
#include "tarn/keys/HubKeys.h"
#include <algorithm>
#include <system_error>
#include <thread>

namespace tarn::rpc {

struct Rpc::Private::Server
{
    Server(const std::shared_ptr<ServantTable> &table, const std::shared_ptr<ClientSide> &client,
           const Settings &settings)
        : endpoint(table, client, settings.threads)
    {
    }
    /// Waits for the calls that run, so not in one of them.
    static void dispose(Server *server)
    {
        if (!CallGate::insideCall()) {
            delete server;
            return;
        }
        try {
            std::thread([server] { delete server; }).detach();
        } catch (const std::system_error &e) {
            warn(QStringLiteral("an endpoint stays open, no thread can be started: %1").arg(QLatin1String(e.what())));
        }
    }

    Endpoint endpoint;
    std::unique_ptr<Lease> lease; // destroyed first
};

Rpc::Private::~Private()
{
    shutdown();
}

RpcError Rpc::Private::init(const QHash<QString, QString> &table)
{
    Settings settings;
    QString reason;
    if (!Settings::parse(table, &settings, &reason))
        return makeError(RpcError::InvalidArgument, reason);
    std::shared_ptr<Server> server;
    {
        const QMutexLocker lock(&m_mutex);
        m_settings = settings;
        server = m_server;
    }
    client->timeoutMs = settings.timeoutMs;
    client->hub.setAddress(settings.hub);
    if (server)
        server->lease->setHub(settings.hubForServers);
    ObjectRef hub;
    RpcError error = client->hub.resolve(hub::HubInterface, HubLink::Deadline::max(), &hub);
    if (error.code != RpcError::None) {
        if (!settings.hub.isLocal())
            warn(QStringLiteral("hub %1: %2").arg(settings.hub.text(), QString::fromStdString(error.message)));
        return error; // a core that was initialised before keeps looking for the hub
    }
    client->pending.open();
    return publish();
}

void Rpc::Private::shutdown()
{
    client->pending.close();
    std::vector<std::shared_ptr<AdapterState>> adapters;
    {
        const QMutexLocker lock(&m_mutex);
        adapters = m_adapters;
    }
    for (const auto &adapter : adapters)
        deactivate(*adapter);
}

std::shared_ptr<AdapterState> Rpc::Private::newAdapter(const QString &name)
{
    auto adapter = std::make_shared<AdapterState>();
    adapter->name = name;
    const QMutexLocker lock(&m_mutex);
    m_adapters.push_back(adapter);
    return adapter;
}

RpcError Rpc::Private::add(AdapterState &adapter, Servant servant)
{
    if (!isInitialized())
        return makeError(RpcError::NotInitialized, QStringLiteral("the RPC core is not initialised"));
    {
        const QMutexLocker lock(&m_mutex);
        servant.gate = adapter.gate;
        const bool fresh = adapter.servants.emplace(servant.tag, servant).second;
        if (fresh && (!adapter.active || m_servants->insert(servant))) {
            if (!adapter.active || !servant.published)
                return {};
        } else {
            if (fresh)
                adapter.servants.erase(servant.tag);
            return makeError(RpcError::InvalidArgument, QStringLiteral("tag \"%1\" is in use").arg(servant.tag));
        }
    }
    RpcError error = publish();
    if (error.code == RpcError::NoHub)
        return {}; // registered as soon as there is a hub
    if (error.code == RpcError::InvalidArgument)
        remove(adapter, servant.tag);
    return error;
}

RpcError Rpc::Private::activate(AdapterState &adapter)
{
    if (!isInitialized())
        return makeError(RpcError::NotInitialized, QStringLiteral("the RPC core is not initialised"));
    {
        const QMutexLocker lock(&m_mutex);
        if (adapter.active)
            return {};
        RpcError error = openServer();
        if (error.code == RpcError::None)
            error = enlist(adapter);
        if (error.code != RpcError::None)
            return error;
        adapter.active = true;
        adapter.gate->open();
    }
    return publish(); // a taken tag leaves the adapter active: the lease asks for it again
}

RpcError Rpc::Private::deactivate(AdapterState &adapter)
{
    bool wasActive = false;
    {
        const QMutexLocker lock(&m_mutex);
        wasActive = std::exchange(adapter.active, false);
        if (wasActive)
            delist(adapter);
    }
    adapter.gate->closeAndWait();
    if (wasActive) {
        publish();
        closeIdleServer();
    }
    return {};
}

RpcError Rpc::Private::remove(AdapterState &adapter, const QString &tag)
{
    Servant gone; // outlives the lock: its object's destructor may call here
    bool publishedOne = false;
    {
        const QMutexLocker lock(&m_mutex);
        const auto it = adapter.servants.find(tag);
        if (it == adapter.servants.end())
            return makeError(RpcError::NotFound, QStringLiteral("no object \"%1\" in this adapter").arg(tag));
        gone = it->second;
        adapter.servants.erase(it);
        if (adapter.active)
            m_servants->remove(tag);
        publishedOne = adapter.active && gone.published;
    }
    if (publishedOne)
        publish();
    return {};
}

void Rpc::Private::drop(const std::shared_ptr<AdapterState> &adapter)
{
    deactivate(*adapter);
    const QMutexLocker lock(&m_mutex);
    m_adapters.erase(std::remove(m_adapters.begin(), m_adapters.end(), adapter), m_adapters.end());
}

ObjectRef Rpc::Private::reference(const AdapterState &adapter, const QString &tag) const
{
    const QMutexLocker lock(&m_mutex);
    const auto it = adapter.servants.find(tag);
    if (!adapter.active || !m_server || it == adapter.servants.end())
        return {};
    return {it->second.interfaceName, tag, m_server->endpoint.target(), m_server->endpoint.epoch()};
}

RpcError Rpc::Private::openServer()
{
    if (m_server)
        return {};
    QString reason;
    const std::shared_ptr<Server> server(new Server(m_servants, client, m_settings), &Server::dispose);
    if (!server->endpoint.open(m_settings.endpoint, &reason)) {
        warn(QStringLiteral("cannot serve: %1").arg(reason));
        return makeError(RpcError::Failed, reason);
    }
    try {
        server->lease = std::make_unique<Lease>(m_settings.hubForServers, server->endpoint.target(),
                                                server->endpoint.epoch(), [hook = m_hubLost] { hook->call(); });
    } catch (const std::system_error &e) {
        return makeError(RpcError::Failed,
                         QStringLiteral("no thread can be started: %1").arg(QString::fromLocal8Bit(e.what())));
    }
    m_server = server;
    return {};
}

/// Makes the adapter's objects callable.
RpcError Rpc::Private::enlist(AdapterState &adapter)
{
    for (auto it = adapter.servants.begin(); it != adapter.servants.end(); ++it) {
        if (m_servants->insert(it->second))
            continue;
        RpcError error =
            makeError(RpcError::InvalidArgument,
                      QStringLiteral("tag \"%1\" is in use by another adapter of this process").arg(it->first));
        while (it != adapter.servants.begin())
            m_servants->remove((--it)->first);
        return error;
    }
    return {};
}

void Rpc::Private::delist(AdapterState &adapter)
{
    for (const auto &servant : adapter.servants)
        m_servants->remove(servant.first);
}

/// Sends the hub the set of objects to be registered.
RpcError Rpc::Private::publish()
{
    const QMutexLocker order(&m_publishing);
    std::shared_ptr<Server> server;
    std::vector<Registered> objects;
    {
        const QMutexLocker lock(&m_mutex);
        server = m_server;
        for (const auto &adapter : m_adapters) {
            for (const auto &servant : adapter->servants) {
                if (adapter->active && servant.second.published)
                    objects.push_back({servant.second.interfaceName, servant.second.tag});
            }
        }
    }
    return server ? server->lease->set(objects) : RpcError();
}

void Rpc::Private::setHubLost(std::function<void()> callback)
{
    m_hubLost->set(std::move(callback));
}

void Rpc::Private::closeIdleServer()
{
    std::shared_ptr<Server> idle; // destroyed after the lock is released
    const QMutexLocker lock(&m_mutex);
    const bool used =
        std::any_of(m_adapters.begin(), m_adapters.end(), [](const auto &adapter) { return adapter->active; });
    if (!used)
        idle = std::move(m_server);
}

} // namespace tarn::rpc
