#pragma once
#include "tarn/Export.h"
#include "tarn/rpc/IInvocable.h"
#include <any>

namespace tarn::rpc {

class RpcAdapter;

/// Makes an object that was added under an interface's name callable.
/// @return null, with the reason, when the object is null or of another type
using SkeletonFactory = std::function<QSharedPointer<IInvocable>(const std::any &object, QString *error)>;

/// Has objects of this interface served through the factory; objects of any other name must be IInvocable. Thread-safe;
/// also during static initialisation. @return true
TARN_RPC_EXPORT bool registerFactory(const QString &interfaceName, const SkeletonFactory &factory);

/// The pointer inside, null with the reason when there is none of that type.
template <class Interface>
QSharedPointer<Interface> unwrap(const std::any &object, const QString &interfaceName, QString *error)
{
    const auto *pointer = std::any_cast<QSharedPointer<Interface>>(&object);
    if (pointer && *pointer)
        return *pointer;
    *error = pointer ? QStringLiteral("the object of interface \"%1\" is null").arg(interfaceName)
                     : QStringLiteral("the object given for interface \"%1\" has another type").arg(interfaceName);
    return {};
}

/// Has objects of this interface served by a function, which calls the object's methods by their names.
template <class Interface>
bool registerSkeleton(const QString &interfaceName, CallResult (*invoke)(Interface &object, const QString &method,
                                                                         const Bag &input, const ICallContext &context))
{
    return registerFactory(interfaceName, [=](const std::any &object, QString *error) -> QSharedPointer<IInvocable> {
        const auto typed = unwrap<Interface>(object, interfaceName, error);
        if (!typed)
            return {};
        return QSharedPointer<Invocable>::create(
            [=](const QString &method, const Bag &input, const ICallContext &context) {
                return invoke(*typed, method, input, context);
            });
    });
}

/// Makes an object callable for the processes that are given its reference: adds it to the adapter under a random
/// 128-bit tag that the hub does not know. The adapter must be active; remove(ref.tag) ends it.
/// @return null, with getRpcLastError() set, when the object cannot be bound or the adapter is not active
TARN_RPC_EXPORT ObjectRef bindCallback(RpcAdapter &adapter, const std::any &object, const QString &interfaceName);

} // namespace tarn::rpc
