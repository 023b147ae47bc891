#pragma once
#include "tarn/Export.h"
#include <QString>
#include <memory>

namespace tarn::rpc {

/// Starts the hub's registry on its socket: "hub-<port>.sock" in the runtime directory. Besides the Hub service it serves
/// the object "IServiceHub": method "Ping" answers "pid" and "program" values, "List" a list of maps with "tag",
/// "interface", "endpoint", "epoch", "pid" and "program".
/// @return the running hub; its last reference ends the leases and removes the socket. Null with the error
TARN_RPC_EXPORT std::shared_ptr<void> startHub(quint16 port, QString *error);

} // namespace tarn::rpc
