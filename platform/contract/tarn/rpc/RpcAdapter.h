#pragma once
#include "tarn/Export.h"
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
    explicit RpcAdapter(std::unique_ptr<Private> d);
    ~RpcAdapter(); ///< deactivates and removes everything
    RpcAdapter(const RpcAdapter &) = delete;
    RpcAdapter &operator=(const RpcAdapter &) = delete;

    /// @param object a QSharedPointer of the interface's type
    /// @param interfaceName the interface's name, e.g. "IVisualizedService"
    /// @param tag name under which callers find it; unique within the adapter
    /// @return false for an unknown interface, another type inside object, an empty or used tag, or an RPC core that
    ///         is not initialised; see getRpcLastError()
    bool add(const std::any &object, const QString &interfaceName, const QString &tag);
    bool active();   ///< opens the endpoint and registers the objects with the hub; calls arrive from now on
    bool unactive(); ///< withdraws the objects; waits until the calls that run have ended
    bool remove(const QString &tag);

private:
    std::unique_ptr<Private> d;
};

} // namespace tarn::rpc
