#include "tarn/rpc/Rpc.h"
#include "rpc/Core.h"
#include "rpc/LastError.h"

namespace tarn::rpc {

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
    return succeed(d->init(settings));
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
    clearLastError();
    return QSharedPointer<RpcAdapter>::create(std::make_unique<RpcAdapter::Private>(d, name));
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
    d->setHubLost(std::move(callback));
}

void Rpc::shutdown()
{
    d->shutdown();
}

} // namespace tarn::rpc
