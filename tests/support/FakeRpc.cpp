#include "support/FakeRpc.h"
#include "tarn/rpc/HubPort.h"
#include <QMutex>
#include <atomic>
#include <functional>
#include <stdexcept>
#include <thread>

using tarn::rpc::RpcError;

namespace {
struct State
{
    QMutex mutex{QMutex::Recursive};
    fakerpc::Behaviour behaviour;
    fakerpc::Record record;
    std::function<void()> hubLost;
};

State &state()
{
    static State instance;
    return instance;
}

thread_local RpcError lastError;

bool answer(bool ok)
{
    lastError = ok ? RpcError{} : state().behaviour.error;
    return ok;
}

void note(const QString &call)
{
    state().record.calls.append(call);
    if (state().behaviour.onCall)
        state().behaviour.onCall(call);
    if (state().behaviour.throwing.contains(call.section(QLatin1Char(' '), 0, 0)))
        throw std::runtime_error("no thread");
}
} // namespace

void fakerpc::reset()
{
    const QMutexLocker locker(&state().mutex);
    set();
    state().record = Record();
}

void fakerpc::set(const std::function<void(Behaviour &)> &change)
{
    const QMutexLocker locker(&state().mutex);
    state().behaviour = Behaviour();
    if (change)
        change(state().behaviour);
}

fakerpc::Record fakerpc::record()
{
    const QMutexLocker locker(&state().mutex);
    return state().record;
}

void fakerpc::loseHub()
{
    const QMutexLocker locker(&state().mutex);
    if (state().hubLost)
        std::thread(state().hubLost).join();
}

void fakerpc::clearCalls()
{
    const QMutexLocker locker(&state().mutex);
    state().record.calls.clear();
}

namespace tarn::rpc {

class Rpc::Private
{
public:
    std::atomic<bool> initialized{false};
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
    const QMutexLocker locker(&state().mutex);
    note(QStringLiteral("init"));
    state().record.settings = settings;
    d->initialized = answer(state().behaviour.initSucceeds);
    return d->initialized;
}

void Rpc::setHubLost(std::function<void()> callback)
{
    const QMutexLocker locker(&state().mutex);
    state().hubLost = std::move(callback);
}

quint16 hubPort(QString *error)
{
    const QMutexLocker locker(&state().mutex);
    if (error && state().behaviour.hubPort == 0)
        *error = QStringLiteral("no hub in the runtime directory");
    return state().behaviour.hubPort;
}

bool Rpc::isInitialized() const
{
    return d->initialized;
}

QSharedPointer<RpcAdapter> Rpc::createAdapter(const QString &name)
{
    const QMutexLocker locker(&state().mutex);
    note(QStringLiteral("createAdapter ") + name);
    auto own = std::make_unique<RpcAdapter::Private>();
    own->core = d;
    return QSharedPointer<RpcAdapter>::create(std::move(own));
}

QSharedPointer<RpcProxy> Rpc::stringToProxy(const QString &tag)
{
    const QMutexLocker locker(&state().mutex);
    note(QStringLiteral("stringToProxy ") + tag);
    const auto proxy = state().behaviour.proxies.value(tag);
    answer(!proxy.isNull());
    return proxy;
}

void Rpc::shutdown()
{
    const QMutexLocker locker(&state().mutex);
    note(QStringLiteral("shutdown"));
    d->initialized = false;
}

RpcAdapter::RpcAdapter(std::shared_ptr<Private> own)
    : d(std::move(own))
{
}

RpcAdapter::~RpcAdapter() = default;

bool RpcAdapter::add(const std::any &object, const QString &interfaceName, const QString &tag)
{
    const QMutexLocker locker(&state().mutex);
    note(QStringLiteral("add ") + tag);
    if (tag.isEmpty() || d->tags.contains(tag)) {
        lastError = {RpcError::InvalidArgument, "no such tag can be added"};
        return false;
    }
    if (!answer(d->core->initialized && state().behaviour.addSucceeds))
        return false;
    d->tags.append(tag);
    state().record.object = object;
    state().record.interfaceName = interfaceName;
    return true;
}

bool RpcAdapter::active()
{
    const QMutexLocker locker(&state().mutex);
    note(QStringLiteral("active"));
    return answer(d->core->initialized && state().behaviour.activeSucceeds);
}

bool RpcAdapter::unactive()
{
    const QMutexLocker locker(&state().mutex);
    note(QStringLiteral("unactive"));
    return true;
}

bool RpcAdapter::remove(const QString &tag)
{
    const QMutexLocker locker(&state().mutex);
    note(QStringLiteral("remove ") + tag);
    d->tags.removeOne(tag);
    state().record.object.reset();
    return true;
}

RpcError getRpcLastError()
{
    return lastError;
}

} // namespace tarn::rpc
