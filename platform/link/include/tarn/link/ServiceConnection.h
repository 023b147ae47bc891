#pragma once
#include "tarn/rpc/Rpc.h"
#include <QHash>
#include <QMutex>
#include <QWaitCondition>

namespace tarn::link {

/// Calls registered objects by tag. Hub and object are looked up with the first call that finds a hub; from then on the
/// RPC core follows them when they are started again. Thread-safe; calls run side by side.
class ServiceConnection
{
public:
    static constexpr int DefaultTimeout = 30000; ///< ms, of a call
    static constexpr int HubTimeout = 2000;      ///< ms, of a question to the hub

    ServiceConnection() = default;
    ~ServiceConnection(); ///< closes
    ServiceConnection(const ServiceConnection &) = delete;
    ServiceConnection &operator=(const ServiceConnection &) = delete;

    /// Blocks for at most the deadline, and on first use for the question to the hub. A connection that is closed, or gets closed meanwhile, answers NotInitialized.
    /// An object that nobody registered answers NotFound, no hub NoHub. Any other NotFound comes from the object: it
    /// has no such method, and the result's errorText is then not empty.
    /// @param timeoutMs deadline in milliseconds
    rpc::CallResult call(const QString &tag, const QString &method, const rpc::Bag &input,
                         int timeoutMs = DefaultTimeout);

    void open();  ///< a new connection is open; after close() calls are taken again
    void close(); ///< refuses new calls, ends those that wait and returns when they have left

private:
    rpc::CallResult attempt(const QString &tag, const QString &method, const rpc::Bag &input, int timeoutMs,
                            bool lookUpAgain);
    QSharedPointer<rpc::RpcProxy> proxyOf(const QString &tag, bool lookUpAgain, rpc::RpcError *error);
    QSharedPointer<rpc::RpcProxy> lookUp(const QString &tag, rpc::RpcError *error);
    bool connectToHub(rpc::RpcError *error);
    bool isOpen() const;

    rpc::Rpc m_rpc;
    quint16 m_port = 0;     ///< port that m_rpc was initialised with; guarded by m_connecting
    QMutex m_connecting;    ///< held while the hub is asked
    mutable QMutex m_state; ///< guards what follows; never held in a call
    QWaitCondition m_idle;
    QHash<QString, QSharedPointer<rpc::RpcProxy>> m_proxies;
    int m_calls = 0;
    bool m_open = true;
};

} // namespace tarn::link
