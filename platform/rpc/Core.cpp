#include "rpc/Core.h"
#include "rpc/Log.h"
#include "tarn/keys/HubKeys.h"
#include <algorithm>
#include <system_error>
#include <thread>

namespace tarn::rpc {

struct Rpc::Private::Server
{
    Server(const ServantTable &servants, const std::shared_ptr<ClientSide> &client, const Settings &settings)
        : endpoint(servants, client, settings.threads)
    {
    }
    /// Waits for the calls that run, so not in one of them.
    /// @param core is kept until the server has ended, which uses its members
    static void dispose(Server *server, const std::shared_ptr<Rpc::Private> &core)
    {
        if (!CallGate::insideCall()) {
            delete server;
            return;
        }
        try {
            std::thread([server, core] { delete server; }).detach();
        } catch (const std::system_error &e) {
            static_cast<void>(new std::shared_ptr<Rpc::Private>(core)); // kept for ever, like the endpoint
            warn(QStringLiteral("an endpoint stays open, no thread can be started: %1").arg(QLatin1String(e.what())));
        }
    }

    Endpoint endpoint;
    std::unique_ptr<Lease> lease; // destroyed first
};

RpcError Rpc::Private::init(const QHash<QString, QString> &table)
{
    const Settings settings = Settings::parse(table);
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
    std::vector<std::shared_ptr<RpcAdapter::Private>> adapters;
    {
        const QMutexLocker lock(&m_mutex);
        adapters = m_adapters;
    }
    for (const auto &adapter : adapters)
        deactivate(*adapter);
}

std::shared_ptr<RpcAdapter::Private> Rpc::Private::newAdapter(std::shared_ptr<Rpc::Private> self)
{
    const QMutexLocker lock(&m_mutex);
    return m_adapters.emplace_back(std::make_shared<RpcAdapter::Private>(std::move(self)));
}

RpcError Rpc::Private::add(RpcAdapter::Private &adapter, Servant servant)
{
    if (!isInitialized())
        return makeError(RpcError::NotInitialized, QStringLiteral("the RPC core is not initialised"));
    servant.gate = adapter.gate;
    {
        const QMutexLocker lock(&m_mutex); // against an activation meanwhile
        if (!m_servants.add(servant))
            return makeError(RpcError::InvalidArgument, QStringLiteral("tag \"%1\" is in use").arg(servant.tag));
    }
    if (!adapter.gate->isOpen() || !servant.published)
        return {};
    RpcError error = publish();
    if (error.code == RpcError::NoHub)
        return {}; // registered as soon as there is a hub
    if (error.code == RpcError::InvalidArgument)
        remove(adapter, servant.tag);
    return error;
}

RpcError Rpc::Private::activate(RpcAdapter::Private &adapter)
{
    if (!isInitialized())
        return makeError(RpcError::NotInitialized, QStringLiteral("the RPC core is not initialised"));
    {
        const QMutexLocker lock(&m_mutex);
        if (adapter.gate->isOpen())
            return {};
        const QString taken = m_servants.takenTag(adapter.gate);
        if (!taken.isEmpty())
            return makeError(RpcError::InvalidArgument,
                             QStringLiteral("tag \"%1\" is in use by another adapter of this process").arg(taken));
        RpcError error = openServer(adapter.core);
        if (error.code != RpcError::None)
            return error;
        adapter.gate->open();
    }
    return publish(); // a taken tag leaves the adapter active: the lease asks for it again
}

void Rpc::Private::deactivate(RpcAdapter::Private &adapter)
{
    if (!adapter.gate->closeAndWait())
        return;
    publish();
    std::shared_ptr<Server> idle; // destroyed after the lock is released
    const QMutexLocker lock(&m_mutex);
    if (std::none_of(m_adapters.begin(), m_adapters.end(), [](const auto &each) { return each->gate->isOpen(); }))
        idle = std::move(m_server);
}

RpcError Rpc::Private::remove(RpcAdapter::Private &adapter, const QString &tag)
{
    const Servant removed = m_servants.take(tag, adapter.gate);
    if (!removed.object)
        return makeError(RpcError::NotFound, QStringLiteral("no object \"%1\" in this adapter").arg(tag));
    if (removed.published && adapter.gate->isOpen())
        publish();
    return {};
}

void Rpc::Private::drop(const std::shared_ptr<RpcAdapter::Private> &adapter)
{
    deactivate(*adapter);
    for (const Servant &servant : m_servants.all())
        m_servants.take(servant.tag, adapter->gate);
    const QMutexLocker lock(&m_mutex);
    m_adapters.erase(std::remove(m_adapters.begin(), m_adapters.end(), adapter), m_adapters.end());
}

ObjectRef Rpc::Private::reference(const RpcAdapter::Private &adapter, const QString &tag) const
{
    const Servant servant = m_servants.find(tag);
    const QMutexLocker lock(&m_mutex);
    if (servant.gate != adapter.gate || !adapter.gate->isOpen() || !m_server)
        return {};
    return {servant.interfaceName, tag, m_server->endpoint.target(), m_server->endpoint.epoch()};
}

RpcError Rpc::Private::openServer(const std::shared_ptr<Rpc::Private> &self)
{
    if (m_server)
        return {};
    QString reason;
    const std::shared_ptr<Server> server(new Server(m_servants, client, m_settings),
                                         [self](Server *ended) { Server::dispose(ended, self); });
    if (!server->endpoint.open(m_settings.endpoint, &reason)) {
        warn(QStringLiteral("cannot serve: %1").arg(reason));
        return makeError(RpcError::Failed, reason);
    }
    try {
        const auto onLost = [&lost = hubLost] {
            const QMutexLocker lock(&lost.mutex);
            if (lost.callback)
                lost.callback();
        };
        server->lease = std::make_unique<Lease>(m_settings.hubForServers, server->endpoint.target(),
                                                server->endpoint.epoch(), onLost);
    } catch (const std::system_error &e) {
        return makeError(RpcError::Failed,
                         QStringLiteral("no thread can be started: %1").arg(QString::fromLocal8Bit(e.what())));
    }
    m_server = server;
    return {};
}

/// Sends the hub the set of objects to be registered.
RpcError Rpc::Private::publish()
{
    const QMutexLocker order(&m_publishing);
    std::shared_ptr<Server> server;
    {
        const QMutexLocker lock(&m_mutex);
        server = m_server;
    }
    std::vector<ObjectRef> objects;
    for (const Servant &servant : m_servants.all()) {
        if (servant.published && servant.gate->isOpen())
            objects.push_back({servant.interfaceName, servant.tag, {}, 0});
    }
    return server ? server->lease->set(objects) : RpcError();
}

static thread_local RpcError t_error;

RpcError getRpcLastError()
{
    return t_error;
}

bool succeed(const RpcError &error)
{
    t_error = error;
    if (error.code != RpcError::None)
        trace(QStringLiteral("error %1: %2").arg(error.code).arg(QString::fromStdString(error.message)));
    return error.code == RpcError::None;
}

bool fail(RpcError::Code code, const QString &message)
{
    return succeed(makeError(code, message));
}

Rpc::Rpc()
    : d(std::make_shared<Private>())
{
}

Rpc::~Rpc()
{
    d->shutdown();
}

bool Rpc::init(const QHash<QString, QString> &settings)
{
    try {
        return succeed(d->init(settings));
    } catch (const RpcError &wrong) {
        return succeed(wrong);
    }
}

bool Rpc::isInitialized() const
{
    return d->isInitialized();
}

QSharedPointer<RpcAdapter> Rpc::createAdapter(const QString &name)
{
    if (name.isEmpty()) {
        fail(RpcError::InvalidArgument, QStringLiteral("an adapter needs a name"));
        return {};
    }
    succeed({});
    return QSharedPointer<RpcAdapter>::create(d->newAdapter(d));
}

QSharedPointer<RpcProxy> Rpc::stringToProxy(const QString &tag)
{
    ObjectRef ref;
    if (!d->isInitialized())
        fail(RpcError::NotInitialized, QStringLiteral("the RPC core is not initialised"));
    else if (succeed(d->client->hub.resolve(tag, HubLink::Deadline::max(), &ref)))
        return QSharedPointer<Proxy>::create(d->client, ref, true);
    return {};
}

void Rpc::setHubLost(std::function<void()> callback)
{
    const QMutexLocker lock(&d->hubLost.mutex);
    d->hubLost.callback = std::move(callback);
}

void Rpc::shutdown()
{
    d->shutdown();
}

} // namespace tarn::rpc
