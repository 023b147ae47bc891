#pragma once
#include "rpc/Settings.h"
#include "tarn/rpc/Bag.h"
#include "tarn/rpc/RpcError.h"
#include <QMutex>
#include <memory>

namespace grpc {
class Channel;
}

namespace tarn::rpc {

/// The hub's port as published in shared memory; 0 when there is no segment or no number in it.
quint16 publishedHubPort();

/// Asks the hub where objects live. Follows a restarted hub to its new port. Thread-safe; a question takes at most two
/// seconds.
class HubLink
{
public:
    void setAddress(const Address &address);
    /// The hub's own entry when asked for "IServiceHub".
    RpcError resolve(const QString &tag, ObjectRef *to);

private:
    RpcError ask(const QString &tag, bool fresh, ObjectRef *to);

    QMutex m_mutex;
    Address m_address;
    std::shared_ptr<grpc::Channel> m_channel;
};

} // namespace tarn::rpc
