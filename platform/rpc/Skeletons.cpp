#include "rpc/Skeletons.h"
#include "tarn/cloud/ICloudLoginNotify.h"
#include "tarn/rpc/CallbackObject.h"
#include "tarn/visualized/IVisualizedService.h"

namespace tarn::rpc {

/// The pointer inside, null (with the error) when there is none of that type.
template <class Interface>
static QSharedPointer<Interface> unwrap(const std::any &object, const QString &interfaceName, QString *error)
{
    const auto *pointer = std::any_cast<QSharedPointer<Interface>>(&object);
    if (pointer && *pointer)
        return *pointer;
    *error = pointer ? QStringLiteral("the object of interface \"%1\" is null").arg(interfaceName)
                     : QStringLiteral("the object given for interface \"%1\" has another type").arg(interfaceName);
    return {};
}

QSharedPointer<IInvocable> makeSkeleton(const std::any &object, const QString &interfaceName,
                                        const std::shared_ptr<ClientSide> &side, QString *error)
{
    if (interfaceName == visualized::Interface) {
        const auto service = unwrap<IVisualizedService>(object, interfaceName, error);
        return service ? visualizedSkeleton(service, side) : nullptr;
    }
    if (interfaceName == LoginNotifyInterface) {
        const auto notify = unwrap<ICloudLoginNotify>(object, interfaceName, error);
        return notify ? loginNotifySkeleton(notify) : nullptr;
    }
    return unwrap<IInvocable>(object, interfaceName, error);
}

} // namespace tarn::rpc
