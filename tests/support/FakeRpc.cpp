#include "support/FakeRpc.h"
#include "tarn/rpc/HubPort.h"
#include <stdexcept>
#include <thread>

using fakerpc::behaviour;
using fakerpc::record;
using tarn::rpc::RpcError;

namespace {
std::function<void()> hubLost;
thread_local RpcError lastError;

// Records a call and gives it its end.
bool ends(const QString &call, bool succeeds = true)
{
    record.calls.append(call);
    if (behaviour.onCall)
        behaviour.onCall(call);
    const QString name = call.section(QLatin1Char(' '), 0, 0);
    if (behaviour.throwing.contains(name))
        throw std::runtime_error("no thread");
    succeeds = succeeds && !behaviour.failing.contains(name);
    lastError = succeeds ? RpcError{} : behaviour.error;
    return succeeds;
}
} // namespace

void fakerpc::reset()
{
    behaviour = {};
    record = {};
}

void fakerpc::loseHub()
{
    if (hubLost)
        std::thread(hubLost).join();
}

namespace tarn::rpc {

class Rpc::Private
{
public:
    bool initialized = false;
};

class RpcAdapter::Private
{
public:
    std::shared_ptr<Rpc::Private> core;
    QStringList tags;
};

Rpc::Rpc()
    : d(std::make_shared<Private>())
{
}

Rpc::~Rpc() = default;

bool Rpc::init(const QHash<QString, QString> &settings)
{
    record.settings = settings;
    return d->initialized = ends(QStringLiteral("init"));
}

void Rpc::setHubLost(std::function<void()> callback)
{
    hubLost = std::move(callback);
}

quint16 hubPort(QString *error)
{
    if (error && behaviour.hubPort == 0)
        *error = QStringLiteral("no hub in the runtime directory");
    return behaviour.hubPort;
}

bool Rpc::isInitialized() const
{
    return d->initialized;
}

QSharedPointer<RpcAdapter> Rpc::createAdapter(const QString &name)
{
    ends(QStringLiteral("createAdapter ") + name);
    auto own = std::make_unique<RpcAdapter::Private>();
    own->core = d;
    return QSharedPointer<RpcAdapter>::create(std::move(own));
}

QSharedPointer<RpcProxy> Rpc::stringToProxy(const QString &tag)
{
    const auto proxy = behaviour.proxies.value(tag);
    ends(QStringLiteral("stringToProxy ") + tag, !proxy.isNull());
    return proxy;
}

void Rpc::shutdown()
{
    ends(QStringLiteral("shutdown"));
    d->initialized = false;
}

RpcAdapter::RpcAdapter(std::shared_ptr<Private> own)
    : d(std::move(own))
{
}

RpcAdapter::~RpcAdapter() = default;

bool RpcAdapter::add(const std::any &object, const QString &interfaceName, const QString &tag)
{
    const bool isFree = !tag.isEmpty() && !d->tags.contains(tag);
    if (!ends(QStringLiteral("add ") + tag, d->core->initialized && isFree))
        return false;
    d->tags.append(tag);
    record.object = object;
    record.interfaceName = interfaceName;
    return true;
}

bool RpcAdapter::active()
{
    return ends(QStringLiteral("active"), d->core->initialized);
}

bool RpcAdapter::unactive()
{
    return ends(QStringLiteral("unactive"));
}

bool RpcAdapter::remove(const QString &tag)
{
    ends(QStringLiteral("remove ") + tag);
    d->tags.removeOne(tag);
    record.object.reset();
    return true;
}

RpcError getRpcLastError()
{
    return lastError;
}

} // namespace tarn::rpc
