#pragma once
#include "rpc/Proxy.h"
#include "tarn/rpc/IInvocable.h"
#include <QSharedPointer>
#include <any>

class ICloudLoginNotify;
class IVisualizedService;

namespace tarn::rpc {

/// The callable form of an object that is bound under an interface's name.
/// @return null (with the error) when the object is null or of another type
QSharedPointer<IInvocable> makeSkeleton(const std::any &object, const QString &interfaceName,
                                        const std::shared_ptr<ClientSide> &side, QString *error);

QSharedPointer<IInvocable> visualizedSkeleton(QSharedPointer<IVisualizedService> service,
                                              std::shared_ptr<ClientSide> side);
QSharedPointer<IInvocable> loginNotifySkeleton(QSharedPointer<ICloudLoginNotify> notify);

/// A notify object of another process.
QSharedPointer<ICloudLoginNotify> loginNotifyProxy(const ObjectRef &ref, std::shared_ptr<ClientSide> side);

} // namespace tarn::rpc
