#pragma once
#include "tarn/rpc/Rpc.h"

namespace tarn::rpc {

/// Makes an object callable for the processes that are given its reference: adds it to the adapter under a random
/// 128-bit tag that the hub does not know. The adapter must be active; remove(ref.tag) ends it.
/// @return null, with getRpcLastError() set, when the object cannot be bound or the adapter is not active
TARN_RPC_EXPORT ObjectRef bindCallback(RpcAdapter &adapter, const std::any &object, const QString &interfaceName);

} // namespace tarn::rpc
