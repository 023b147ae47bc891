#pragma once
#include "tarn/rpc/Rpc.h"

namespace tarn::rpc {

inline const QString LoginNotifyInterface = QStringLiteral("ICloudLoginNotify");

/// Key of the input bag of "ShowCloudLogin" under which the caller's notify object travels, as an ObjectRef. The
/// operation itself does not see it.
inline const QString NotifyKey = QStringLiteral("$notify");

/// Makes an object callable for whoever is given its reference: adds it to the adapter under a random 128-bit tag that
/// the hub does not know. The adapter must be active; remove(ref.tag) ends it.
/// @return null, with getRpcLastError() set, when the object cannot be bound or the adapter is not active
TARN_RPC_EXPORT ObjectRef bindCallback(RpcAdapter &adapter, const std::any &object, const QString &interfaceName);

} // namespace tarn::rpc
