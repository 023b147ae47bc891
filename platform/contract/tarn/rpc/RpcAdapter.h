#pragma once
#include "tarn/Export.h"
#include "tarn/rpc/Bag.h"
#include <QString>
#include <any>
#include <memory>

namespace tarn::rpc {

/// Serves objects of this process to remote callers. Made by Rpc::createAdapter(). Thread-safe. While it is active
/// its objects stay registered with the hub, also across a restart of the hub.
class TARN_RPC_EXPORT RpcAdapter
{
public:
    class Private;
    explicit RpcAdapter(std::shared_ptr<Private> d);
    ~RpcAdapter(); ///< deactivates and removes everything, waits like unactive()
    RpcAdapter(const RpcAdapter &) = delete;
    RpcAdapter &operator=(const RpcAdapter &) = delete;

    /// @param object a QSharedPointer of the interface's type
    /// @param interfaceName the interface's name, e.g. "IVisualizedService"
    /// @param tag name under which callers find it; unique within the adapter
    /// @return true also while no hub runs: an active adapter registers the object as soon as there is one. False (the
    ///         object is not kept) for an unknown interface, another type inside object, an empty or used tag, or an
    ///         RPC core that is not initialised; see getRpcLastError()
    bool add(const std::any &object, const QString &interfaceName, const QString &tag);
    /// Opens the endpoint and registers the objects with the hub; calls arrive from now on.
    /// @return false, see getRpcLastError(), with NoHub: no hub at present, and with InvalidArgument: another process
    ///         holds a tag. In both cases the adapter is active and registers within a second when a hub has come or the
    ///         tag is free. With InvalidArgument for a tag of another adapter of this process, with NotInitialized and
    ///         with Failed it is not active.
    bool active();
    /// Withdraws the objects and waits until the calls that run have ended; called from one of them, it waits for the
    /// others.
    bool unactive();
    bool remove(const QString &tag); ///< false when there is no such object; a running call still ends well

private:
    friend TARN_RPC_EXPORT ObjectRef bindCallback(RpcAdapter &adapter, const std::any &object,
                                                  const QString &interfaceName);
    std::shared_ptr<Private> d;
};

} // namespace tarn::rpc
