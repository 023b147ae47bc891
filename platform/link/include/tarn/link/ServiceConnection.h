#pragma once
#include "tarn/rpc/Rpc.h"
#include <QDeadlineTimer>
#include <QHash>
#include <QMutex>
#include <QReadWriteLock>

namespace tarn::link {

/// Calls registered objects by tag. Hub and object are looked up with the first call that finds a hub; from then on the
/// RPC core follows them when they are restarted, and repeats what did not arrive. Thread-safe; calls run side by side.
class ServiceConnection
{
public:
    static constexpr int DefaultTimeout = 30000; ///< ms, of a call
    static constexpr int HubTimeout = 2000;      ///< ms, of a question to the hub
    static constexpr int SilenceTime = 3000;     ///< ms
    static constexpr int ProbeTimeout = 500;     ///< ms, of a decision in a silence

    ServiceConnection() = default;
    ~ServiceConnection(); ///< closes
    ServiceConnection(const ServiceConnection &) = delete;
    ServiceConnection &operator=(const ServiceConnection &) = delete;

    /// What it means that a call's deadline passes.
    enum Late {
        Silent,   ///< the service hangs: further calls fail at once for the next SilenceTime
        LongWork, ///< the operation itself may take longer
        Decision, ///< as Silent, for a call with a user's decision: it is sent in that time too, with ProbeTimeout. After
                  ///< one decision without an answer the next ones fail at once
    };

    /// Blocks for at most the deadline, and for the questions to the hub where the object is looked up. A connection
    /// that is closed, or gets closed meanwhile, answers NotInitialized, an unregistered object NotFound, no hub NoHub.
    /// Any other NotFound comes from the object: it has no such method, and the result's errorText is then not empty. A
    /// service that kept a caller waiting a moment ago answers as it did then, at once.
    /// @param timeoutMs deadline in milliseconds
    rpc::CallResult call(const QString &tag, const QString &method, const rpc::Bag &input,
                         int timeoutMs = DefaultTimeout, Late late = Silent);

    /// Fetches a list that may be larger than one message: calls method until the service has no further page and joins
    /// the pages. When the service loses its place (it was restarted, the pause between two pages was too long) the whole
    /// list is asked for again, three times at most.
    /// @param limitMs deadline of all pages together, in milliseconds
    /// @return the first page's result with the whole list, or the result of the call that failed, with an empty list
    rpc::CallResult callPaged(const QString &tag, const QString &method, const rpc::Bag &input,
                              int limitMs = DefaultTimeout);

    void open();  ///< a new connection is open; after close() calls are taken again
    void close(); ///< refuses new calls, ends those that wait and returns when they have left

private:
    struct Silence
    {
        rpc::RpcError error;
        QDeadlineTimer end;
        bool isProbed = false; ///< a decision was sent in it
    };

    QSharedPointer<rpc::RpcProxy> proxyOf(const QString &tag, rpc::RpcError *error);
    QSharedPointer<rpc::RpcProxy> lookUp(const QString &tag, rpc::RpcError *error);
    bool isSilent(const QString &tag, rpc::RpcError *error);
    bool takeProbe(const QString &tag);
    void notice(const QString &tag, const rpc::RpcError &error, qint64 tookMs);
    bool isOpen() const;

    rpc::Rpc m_rpc;
    QMutex m_connecting;    ///< held while the hub is asked
    mutable QMutex m_state; ///< guards the members below; never held in a call
    QHash<QString, QSharedPointer<rpc::RpcProxy>> m_proxies;
    QHash<QString, Silence> m_silent; ///< by tag, the hub's included
    bool m_open = true;
    QReadWriteLock m_calls; ///< held for reading by each call
};

} // namespace tarn::link
