#pragma once
#include "tarn/rpc/Skeletons.h"

namespace tarn::rpc {

/// The callable form of an object that is added under an interface's name; null with the reason.
QSharedPointer<IInvocable> makeSkeleton(const std::any &object, const QString &interfaceName, QString *error);

} // namespace tarn::rpc
