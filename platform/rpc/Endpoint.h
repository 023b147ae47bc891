#pragma once
#include "rpc/Servants.h"
#include "rpc/Settings.h"
#include <memory>

namespace grpc {
class Server;
class ServerCredentials;
class Service;
} // namespace grpc

namespace tarn::rpc {

class CallService;
class Listener;
struct ClientSide;

/// The server of a process. Thread-safe after open().
class Endpoint
{
public:
    /// @param servants outlives this object
    /// @param client for objects that callers pass by reference; may be null
    Endpoint(const ServantTable &servants, const std::shared_ptr<ClientSide> &client, int threads);
    ~Endpoint(); ///< ends the calls that run or wait and removes the socket; not to be called from a call

    /// Opens a unix socket "ep-<pid>-<random>.sock" for a local address, otherwise a TCP port with mutual TLS.
    bool open(const Address &address, QString *error);
    /// Opens a socket of that name, and a further service beside the Invoker where one is given.
    bool open(const QString &socketName, grpc::Service *further, QString *error);

    QString target() const { return m_target; } ///< address that callers use
    quint64 epoch() const { return m_epoch; }

private:
    bool start(const std::shared_ptr<grpc::ServerCredentials> &trust, grpc::Service *further, QString *error);

    const quint64 m_epoch;
    std::unique_ptr<CallService> m_calls;
    std::unique_ptr<grpc::Server> m_server;
    QString m_target;
    std::unique_ptr<Listener> m_listener;
};

} // namespace tarn::rpc
