#pragma once
#include "rpc/Messages.h"
#include "rpc/Proxy.h"
#include "rpc/Servants.h"
#include "rpc/WorkerPool.h"
#include <grpcpp/generic/async_generic_service.h>

namespace tarn::rpc {

/// The Invoker service of a process. Its one method is served as a stream of one message: so a call can be executed in
/// the thread that has read it and still learn of its cancellation. The endpoint registers the service's name beside it,
/// for reflection.
class CallService final : public grpc::CallbackGenericService
{
public:
    CallService(std::shared_ptr<const ServantTable> servants, std::shared_ptr<ClientSide> client, WorkerPool &workers,
                quint64 epoch);
    grpc::ServerGenericBidiReactor *CreateReactor(grpc::GenericCallbackServerContext *context) override;

private:
    class Running;
    class Unknown;
    grpc::Status perform(const Request &request, const ICallContext &context, Response *response) const;

    const std::shared_ptr<const ServantTable> m_servants;
    const std::shared_ptr<ClientSide> m_client; ///< for objects that callers pass; null in the hub
    WorkerPool &m_workers;
    const quint64 m_epoch;
    std::atomic<qint64> m_heldBytes = 0; ///< of calls that are not done
};

} // namespace tarn::rpc
