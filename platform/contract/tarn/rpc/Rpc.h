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
    /// were active are registered anew.
    /// @return false when a setting is invalid or the hub does not answer; getRpcLastError() says why
    bool init(const QHash<QString, QString> &settings);
    bool isInitialized() const;

    /// An adapter that serves objects of this process; null (with the error set) when the name is empty. The core need
    /// not be initialised yet: RpcAdapter::add() checks that.
    QSharedPointer<RpcAdapter> createAdapter(const QString &name);

    /// A proxy of the object registered under tag, "IServiceHub" being the hub itself; null when the hub does not know
    /// it or cannot be reached.
    QSharedPointer<RpcProxy> stringToProxy(const QString &tag);

    /// Ends all adapters and waiting calls; the object may be initialised again.
    void shutdown();

private:
    std::shared_ptr<Private> d;
};

} // namespace tarn::rpc
