#pragma once
#include "tarn/Export.h"
#include <QString>

namespace tarn::rpc {

/// The directory that holds the platform's sockets: "$XDG_RUNTIME_DIR/tarn", or without XDG_RUNTIME_DIR
/// "tarn-<uid>" in the temporary directory. A process that can enter it can call every service, so it must be the user's
/// own, closed to others and no symlink.
/// @param error says why the directory is refused
/// @return absolute path without a final slash; empty when refused
TARN_RPC_EXPORT QString runtimeDir(QString *error);

/// Path of a socket in that directory; empty (with the error) when the directory is refused or the path is too long.
TARN_RPC_EXPORT QString socketPath(const QString &name, QString *error);

/// Name of the hub's socket for a port.
inline QString hubSocketName(quint16 port)
{
    return QStringLiteral("hub-%1.sock").arg(port);
}

/// The stable name of the running hub's socket, for clients in any language: a symlink to the numbered socket.
inline const QString HubSocketLink = QStringLiteral("hub.sock");
/// @return false with the error
TARN_RPC_EXPORT bool linkHubSocket(quint16 port, QString *error);
TARN_RPC_EXPORT void unlinkHubSocket(quint16 port); ///< unless it leads to another hub

/// Connects to a socket without waiting.
/// @param path a file's path, or with a leading NUL an abstract name
/// @return a descriptor that the caller closes; -1 with errno
TARN_RPC_EXPORT int connectTo(const QByteArray &path);

/// Removes sockets in the directory that no process listens on: a killed process leaves its own behind.
TARN_RPC_EXPORT void sweepSockets();

} // namespace tarn::rpc
