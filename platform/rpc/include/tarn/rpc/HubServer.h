#pragma once
#include "tarn/Export.h"
#include <QString>
#include <memory>

namespace tarn::rpc {

/// The hub's registry on its socket: "hub-<port>.sock" in the runtime directory. Thread-safe. Besides the Hub service
/// it serves the object "IServiceHub": method "Ping" answers "pid" and "program" values, "List" a list of maps with
/// "tag", "interface", "endpoint", "epoch", "pid" and "program".
class TARN_RPC_EXPORT HubServer
{
public:
    HubServer();
    ~HubServer(); ///< stops
    HubServer(const HubServer &) = delete;
    HubServer &operator=(const HubServer &) = delete;

    bool start(quint16 port, QString *error);
    void stop(); ///< ends the leases and removes the socket

private:
    class Private;
    std::unique_ptr<Private> d;
};

} // namespace tarn::rpc
