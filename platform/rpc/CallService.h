#pragma once
#include "rpc/Messages.h"
#include "rpc/Proxy.h"
#include "rpc/Servants.h"
#include "tarn/v1/invoker.grpc.pb.h"
#include <QThreadPool>

namespace tarn::rpc {

/// The Invoker service of a process. It executes "ThreadNum" calls at once: one in the gRPC thread that has read it, which
/// saves two thread switches and is nearly always enough, the others in a pool with a bounded queue. gRPC has two such
/// threads or more, so that one is left to read and to notice callers that end.
class CallService final : public v1::Invoker::WithRawCallbackMethod_Call<v1::Invoker::Service>
{
public:
    /// @param servants outlives this object
    CallService(const ServantTable &servants, std::shared_ptr<ClientSide> client, int threads, quint64 epoch);
    grpc::ServerUnaryReactor *Call(grpc::CallbackServerContext *context, const grpc::ByteBuffer *request,
                                   grpc::ByteBuffer *response) override;

private:
    class Running;
    grpc::Status perform(const Request &request, const ICallContext &context, CallResult *result) const;

    const ServantTable &m_servants;
    const std::shared_ptr<ClientSide> m_client; ///< for objects that callers pass; null in the hub
    const quint64 m_epoch;
    const bool m_single;                           ///< one thread only: all calls are queued in the pool
    std::atomic_flag m_entered = ATOMIC_FLAG_INIT; ///< a gRPC thread executes a call
    std::atomic_int m_queued = 0;
    QThreadPool m_pool;
};

} // namespace tarn::rpc
