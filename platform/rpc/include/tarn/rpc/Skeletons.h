#pragma once
#include "tarn/rpc/IInvocable.h"
#include <QSharedPointer>
#include <any>

namespace tarn::rpc {

/// Makes an object that was added under an interface's name callable.
/// @return null, with the reason, when the object is null or of another type
using SkeletonFactory = QSharedPointer<IInvocable> (*)(const std::any &object, const QString &interfaceName,
                                                       QString *error);

/// Has objects of this interface served through the factory; objects of any other name must be IInvocable. Thread-safe;
/// also during static initialisation. @return true
TARN_RPC_EXPORT bool registerSkeleton(const QString &interfaceName, SkeletonFactory factory);

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

} // namespace tarn::rpc
