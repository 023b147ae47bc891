#pragma once
#include "tarn/rpc/Bag.h"
#include "tarn/v1/hub.grpc.pb.h"
#include <QHash>
#include <QMutex>
#include <QVector>
#include <map>

namespace tarn::rpc {

/// A registered object and the process that serves it.
struct RegistryEntry
{
    ObjectRef object;
    qint64 pid = 0;
    QString program;
    quint64 lease = 0; ///< the stream that holds the entry
};

/// The Hub service and its registry, the objects of all processes.
class HubService final : public v1::Hub::CallbackService
{
public:
    void setSelf(const ObjectRef &self) { m_self = self; } ///< the hub's own entry; before the server starts
    QVector<RegistryEntry> list() const;                   ///< by tag

    grpc::ServerWriteReactor<v1::RegisterReply> *Register(grpc::CallbackServerContext *context,
                                                          const v1::RegisterRequest *request) override;
    grpc::ServerUnaryReactor *Resolve(grpc::CallbackServerContext *context, const v1::ResolveRequest *request,
                                      v1::ObjectRef *reply) override;
    grpc::ServerUnaryReactor *List(grpc::CallbackServerContext *context, const v1::ListRequest *request,
                                   v1::ListReply *reply) override;

private:
    class LeaseStream;
    QString add(const v1::RegisterRequest &request, quint64 lease);

    ObjectRef m_self;
    mutable QRecursiveMutex m_mutex; ///< guards what follows; gRPC may end a stream inside finish()
    QHash<QString, RegistryEntry> m_entries;
    std::map<quint64, LeaseStream *> m_streams; ///< by epoch, the newest of each process
    quint64 m_leases = 0;
};

} // namespace tarn::rpc
