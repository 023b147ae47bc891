#pragma once
#include "rpc/Settings.h"
#include "tarn/rpc/Bag.h"
#include "tarn/rpc/RpcError.h"
#include <QMutex>
#include <chrono>
#include <memory>

namespace grpc {
class Channel;
}

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

} // namespace tarn::rpc
