#pragma once
#include "rpc/Messages.h"
#include "rpc/Servants.h"
#include "rpc/WorkerPool.h"
#include <grpcpp/impl/service_type.h>

namespace tarn::rpc {

/// The Invoker service of a process. Its one method is served as a stream of one message: so a call can be carried out in
/// the thread that has read it and still learn of its cancellation.
class CallService final : public grpc::Service
{
public:
    CallService(std::shared_ptr<const ServantTable> servants, WorkerPool &workers, quint64 epoch);

private:
    class Running;
    grpc::Status perform(const Request &request, const ICallContext &context, Response *response) const;

    const std::shared_ptr<const ServantTable> m_servants;
    WorkerPool &m_workers;
    const quint64 m_epoch;
    std::atomic<qint64> m_heldBytes = 0; ///< of calls that are not done
};

} // namespace tarn::rpc
