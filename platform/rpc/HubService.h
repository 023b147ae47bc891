#pragma once
#include "rpc/Registry.h"
#include "tarn/v1/hub.grpc.pb.h"
#include <QMutex>
#include <atomic>
#include <map>

namespace tarn::rpc {

/// The Hub service over a registry.
class HubService final : public v1::Hub::CallbackService
{
public:
    explicit HubService(Registry &registry);
    void setSelf(const ObjectRef &self); ///< the hub's own entry; before the server starts

    grpc::ServerWriteReactor<v1::RegisterReply> *Register(grpc::CallbackServerContext *context,
                                                          const v1::RegisterRequest *request) override;
    grpc::ServerUnaryReactor *Resolve(grpc::CallbackServerContext *context, const v1::ResolveRequest *request,
                                      v1::ObjectRef *reply) override;
    grpc::ServerUnaryReactor *List(grpc::CallbackServerContext *context, const v1::ListRequest *request,
                                   v1::ListReply *reply) override;

private:
    class LeaseStream;

    Registry &m_registry;
    QRecursiveMutex m_mutex;                    ///< guards m_streams; gRPC may end a stream inside finish()
    std::map<quint64, LeaseStream *> m_streams; ///< by epoch, the newest of each process
    ObjectRef m_self;
    std::atomic<quint64> m_leases = 0;
};

} // namespace tarn::rpc
