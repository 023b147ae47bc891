#pragma once
#include <QString>

/// Keys of the settings table that Rpc::init() takes. All values are strings.
namespace tarn::rpc::keys {

inline const QString IP = QStringLiteral("IP");                     ///< hub address as seen by clients, "127.0.0.1"
inline const QString Port = QStringLiteral("Port");                 ///< hub port, decimal text
inline const QString EndpointIp = QStringLiteral("EndpointIp");     ///< address this process serves on; empty: local
inline const QString EndpointPort = QStringLiteral("EndpointPort"); ///< port this process serves on; empty: chosen
inline const QString SvrIP = QStringLiteral("SvrIP");               ///< hub address used for registration
inline const QString SvrPort = QStringLiteral("SvrPort");           ///< hub port used for registration; empty: "Port"
inline const QString Timeout = QStringLiteral("Timeout");           ///< deadline of a call in ms, "30000" by default
inline const QString ThreadNum = QStringLiteral("ThreadNum");       ///< worker threads for incoming calls, 1 to 64

} // namespace tarn::rpc::keys
