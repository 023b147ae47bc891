#pragma once
#include "rpc/Messages.h"
#include "rpc/Proxy.h"
#include "rpc/Servants.h"
#include "rpc/WorkerPool.h"
#include "tarn/v1/invoker.grpc.pb.h"

namespace tarn::rpc {

/// The Invoker service of a process.
class CallService final : public v1::Invoker::WithRawCallbackMethod_Call<v1::Invoker::Service>
{
public:
    CallService(std::shared_ptr<const ServantTable> servants, std::shared_ptr<ClientSide> client, WorkerPool &workers,
                quint64 epoch);
    grpc::ServerUnaryReactor *Call(grpc::CallbackServerContext *context, const grpc::ByteBuffer *request,
                                   grpc::ByteBuffer *response) override;

private:
    class Running;
    grpc::Status perform(const Request &request, const ICallContext &context, Response *response) const;

    const std::shared_ptr<const ServantTable> m_servants;
    const std::shared_ptr<ClientSide> m_client; ///< for objects that callers pass; null in the hub
    WorkerPool &m_workers;
    const quint64 m_epoch;
    std::atomic<qint64> m_heldBytes = 0; ///< of calls that are not done
};

} // namespace tarn::rpc
