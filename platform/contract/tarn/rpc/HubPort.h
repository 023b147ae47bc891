#pragma once
#include "tarn/Export.h"
#include <QString>

namespace tarn::rpc {

/// The port of the hub that runs for this user, as the user's runtime directory tells: "hub.sock" there leads to the
/// socket "hub-<port>.sock". Never waits. Any thread.
/// @param error receives the reason when the result is 0; may be null
/// @return 0 when no hub runs or the runtime directory is refused
TARN_RPC_EXPORT quint16 hubPort(QString *error = nullptr);

} // namespace tarn::rpc
