#include "tarn/rpc/RpcAdapter.h"
#include "rpc/Core.h"
#include "rpc/Log.h"
#include "tarn/keys/HubKeys.h"
#include "tarn/rpc/Skeletons.h"
#include <QHash>
#include <QRandomGenerator>

namespace tarn::rpc {

namespace {

constexpr int MaxTagLength = 256;

struct Factories
{
    QMutex mutex;
    QHash<QString, SkeletonFactory> table;
};

Factories &factories()
{
    static Factories all; // the first user may be another file's static initialisation
    return all;
}

/// The callable form of an object that is added under an interface's name; null with the reason.
QSharedPointer<IInvocable> makeSkeleton(const std::any &object, const QString &interfaceName, QString *error)
{
    QMutexLocker lock(&factories().mutex);
    const SkeletonFactory factory = factories().table.value(interfaceName);
    lock.unlock();
    return factory ? factory(object, error) : unwrap<IInvocable>(object, interfaceName, error);
}

} // namespace

bool registerFactory(const QString &interfaceName, const SkeletonFactory &factory)
{
    const QMutexLocker lock(&factories().mutex);
    factories().table.insert(interfaceName, factory);
    return true;
}

RpcAdapter::RpcAdapter(std::shared_ptr<Private> p)
    : d(std::move(p))
{
}

RpcAdapter::~RpcAdapter()
{
    d->core->drop(d);
}

bool RpcAdapter::add(const std::any &object, const QString &interfaceName, const QString &tag)
{
    if (tag.isEmpty() || tag.size() > MaxTagLength || tag == hub::HubInterface)
        return fail(RpcError::InvalidArgument, QStringLiteral("\"%1\" cannot be a tag").arg(tag.left(80)));
    return succeed(d->add(object, interfaceName, tag, true));
}

bool RpcAdapter::active()
{
    return succeed(d->core->activate(*d));
}

bool RpcAdapter::unactive()
{
    d->core->deactivate(*d);
    return succeed({});
}

bool RpcAdapter::remove(const QString &tag)
{
    return succeed(d->core->remove(*d, tag));
}

RpcError RpcAdapter::Private::add(const std::any &object, const QString &interfaceName, const QString &tag,
                                  bool published)
{
    QString reason;
    Servant servant;
    servant.object = makeSkeleton(object, interfaceName, &reason);
    if (interfaceName.isEmpty() || !servant.object)
        return makeError(RpcError::InvalidArgument,
                         reason.isEmpty() ? QStringLiteral("an object needs an interface name") : reason);
    servant.interfaceName = interfaceName;
    servant.tag = tag;
    servant.published = published;
    return core->add(*this, std::move(servant));
}

ObjectRef bindCallback(RpcAdapter &adapter, const std::any &object, const QString &interfaceName)
{
    quint32 random[4] = {};
    QRandomGenerator::system()->fillRange(random);
    const QString tag = QString::fromLatin1(QByteArray(reinterpret_cast<const char *>(random), sizeof(random)).toHex());
    if (!succeed(adapter.d->add(object, interfaceName, tag, false)))
        return {};
    ObjectRef ref = adapter.d->core->reference(*adapter.d, tag);
    if (ref.isNull()) {
        adapter.remove(tag);
        fail(RpcError::InvalidArgument, QStringLiteral("the adapter is not active"));
    }
    return ref;
}

} // namespace tarn::rpc
