#pragma once
#include "tarn/Export.h"
#include "tarn/keys/RpcKeys.h"
#include "tarn/rpc/RpcAdapter.h"
#include "tarn/rpc/RpcError.h"
#include "tarn/rpc/RpcLog.h"
#include "tarn/rpc/RpcProxy.h"
#include <QHash>
#include <QSharedPointer>
#include <QString>
#include <functional>
#include <memory>

namespace tarn::rpc {

/// The RPC core of a process: a connection to the hub, adapters for own objects, proxies of remote ones. Thread-safe.
/// No call needs an event loop; incoming calls run on worker threads of the core ("ThreadNum").
class TARN_RPC_EXPORT Rpc
{
public:
    class Private;
    Rpc();
    ~Rpc(); ///< shuts down
    Rpc(const Rpc &) = delete;
    Rpc &operator=(const Rpc &) = delete;

    /// Takes the settings (RpcKeys.h) and connects to the hub. May be called again with fresh settings: adapters that
    /// were active are registered again.
    /// @return false when a setting is invalid or the hub does not answer; getRpcLastError() says why
    bool init(const QHash<QString, QString> &settings);
    bool isInitialized() const;

    /// An adapter that serves objects of this process; null (with the error set) when the name is empty. The core need
    /// not be initialised yet: RpcAdapter::add() checks that.
    QSharedPointer<RpcAdapter> createAdapter(const QString &name);

    /// A proxy of the object registered under tag, "IServiceHub" being the hub itself; null when the hub does not know
    /// it or cannot be reached.
    QSharedPointer<RpcProxy> stringToProxy(const QString &tag);

    /// @param callback is called on a thread of the core when active objects have not been registered for two seconds
    ///        because no hub answers, and again after 4, 8, ... 60 seconds as long as that lasts; it must not call this
    ///        object. After setHubLost({}) no call runs any more.
    void setHubLost(std::function<void()> callback);

    /// Ends all adapters, as their unactive() does, and the waiting calls; the object may be initialised again.
    void shutdown();

private:
    std::shared_ptr<Private> d;
};

} // namespace tarn::rpc
