#pragma once
#include "rpc/Channels.h"
#include "tarn/rpc/RpcProxy.h"
#include <atomic>
#include <grpcpp/client_context.h>
#include <set>

namespace tarn::rpc {

/// Asks the hub where objects live. Follows a restarted hub to its new port. Thread-safe.
class HubLink
{
public:
    void setAddress(const Address &address);
    using Deadline = std::chrono::system_clock::time_point;
    /// The hub's own entry when asked for "IServiceHub". Takes at most two seconds, less where the deadline is earlier.
    RpcError resolve(const QString &tag, Deadline deadline, ObjectRef *to);

private:
    RpcError ask(const QString &tag, bool fresh, Deadline deadline, ObjectRef *to);

    QMutex m_mutex;
    Address m_address;
    std::shared_ptr<grpc::Channel> m_channel;
};

/// The calls that this process waits for, so that a shutdown can end them. Thread-safe.
class PendingCalls
{
public:
    bool add(grpc::ClientContext *context) ///< false after close()
    {
        const QMutexLocker lock(&m_mutex);
        if (m_open)
            m_contexts.insert(context);
        return m_open;
    }
    void remove(grpc::ClientContext *context)
    {
        const QMutexLocker lock(&m_mutex);
        m_contexts.erase(context);
    }
    void open() { m_open = true; }
    bool isOpen() const { return m_open; }
    void close() ///< cancels all, lets none in any more
    {
        const QMutexLocker lock(&m_mutex);
        m_open = false;
        for (grpc::ClientContext *context : m_contexts)
            context->TryCancel();
    }

private:
    QMutex m_mutex;
    std::atomic_bool m_open = false;
    std::set<grpc::ClientContext *> m_contexts;
};

/// What proxies need of the RPC core; it outlives the core's Rpc object as long as a proxy does.
struct ClientSide
{
    HubLink hub;
    ConnectionCache connections;
    PendingCalls pending; ///< open while the core is initialised
    std::atomic_int timeoutMs = limits::DefaultTimeoutMs;
};

/// A remote object. Looks its object up again when the object's process was restarted; never sends a call twice that may
/// have arrived.
class Proxy final : public RpcProxy
{
public:
    /// @param resolvable the hub knows the object under its tag; false for callback objects
    Proxy(std::shared_ptr<ClientSide> side, ObjectRef ref, bool resolvable);

    CallResult call(const QString &method, const Bag &input, int timeoutMs) override;

private:
    using Deadline = std::chrono::system_clock::time_point;
    RpcError connect(Deadline deadline);
    RpcError resolve(Deadline deadline);
    RpcError openChannel(Deadline deadline);
    grpc::Status send(const QString &method, const Bag &input, Deadline deadline, CallResult *result);

    const std::shared_ptr<ClientSide> m_side;
    const ObjectRef m_ref; ///< as given; where the object lives now is m_place
    const bool m_resolvable;
    QMutex m_mutex; ///< guards the two below
    ObjectRef m_place;
    std::shared_ptr<Connection> m_connection;
};

} // namespace tarn::rpc
