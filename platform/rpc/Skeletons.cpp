#include "tarn/rpc/Skeletons.h"
#include "rpc/Core.h"
#include <QHash>
#include <QMutex>

namespace tarn::rpc {
namespace {

struct Table
{
    QMutex mutex;
    QHash<QString, SkeletonFactory> factories;
};

Table &table()
{
    static Table all; // the first user may be another file's static initialisation
    return all;
}

} // namespace

bool registerFactory(const QString &interfaceName, SkeletonFactory factory)
{
    const QMutexLocker lock(&table().mutex);
    table().factories.insert(interfaceName, std::move(factory));
    return true;
}

QSharedPointer<IInvocable> makeSkeleton(const std::any &object, const QString &interfaceName, QString *error)
{
    SkeletonFactory factory;
    {
        const QMutexLocker lock(&table().mutex);
        factory = table().factories.value(interfaceName);
    }
    return factory ? factory(object, error) : unwrap<IInvocable>(object, interfaceName, error);
}

} // namespace tarn::rpc
