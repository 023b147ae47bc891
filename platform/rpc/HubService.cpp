#include "rpc/HubService.h"
#include "rpc/Log.h"
#include "rpc/Messages.h"
#include "tarn/keys/HubKeys.h"
#include "tarn/rpc/RuntimeDir.h"
#include <grpcpp/support/server_callback.h>

namespace tarn::rpc {
namespace {

constexpr int MaxObjectsPerLease = 256;

QVector<RegistryEntry> entriesOf(const v1::RegisterRequest &request)
{
    QVector<RegistryEntry> entries;
    const QString endpoint = QString::fromStdString(request.endpoint());
    const QString program = QString::fromStdString(request.program()).left(64);
    for (const v1::Registration &object : request.objects()) {
        RegistryEntry entry;
        entry.object = {QString::fromStdString(object.interface_name()), QString::fromStdString(object.tag()), endpoint,
                        request.epoch()};
        entry.pid = request.pid();
        entry.program = program;
        entries.append(entry);
    }
    return entries;
}

} // namespace

/// Holds a lease for as long as the stream lives.
class HubService::LeaseStream final : public grpc::ServerWriteReactor<v1::RegisterReply>
{
public:
    LeaseStream(HubService &hub, const v1::RegisterRequest &request)
        : m_hub(hub)
        , m_registry(hub.m_registry)
        , m_epoch(request.epoch())
        , m_lease(++hub.m_leases)
        , m_program(QStringLiteral("%1 (process %2)")
                        .arg(QString::fromStdString(request.program()).left(64))
                        .arg(request.pid()))
    {
        if (request.objects_size() > MaxObjectsPerLease) {
            finish({grpc::StatusCode::INVALID_ARGUMENT, "too many objects"});
            return;
        }
        const QMutexLocker lock(&hub.m_mutex);
        const QString reason =
            m_registry.add(entriesOf(request), QString::fromStdString(request.endpoint()), request.epoch(), m_lease);
        if (!reason.isEmpty()) {
            finish({grpc::StatusCode::ALREADY_EXISTS, reason.toStdString()});
            return;
        }
        // A process that lost its lease to another stream must learn it, to register again.
        if (LeaseStream *older = std::exchange(hub.m_streams[m_epoch], this))
            older->finish({grpc::StatusCode::ABORTED, "a newer lease of this process replaces it"});
        trace(QStringLiteral("lease %1: %2 objects of %3").arg(m_lease).arg(request.objects_size()).arg(m_program));
        m_reply.set_hub_epoch(hub.m_self.epoch);
        StartWrite(&m_reply);
    }
    void OnCancel() override { finish(grpc::Status::CANCELLED); }
    void OnWriteDone(bool ok) override
    {
        if (!ok)
            finish(grpc::Status::CANCELLED);
    }
    void OnDone() override
    {
        trace(QStringLiteral("lease %1 of %2 ended").arg(m_lease).arg(m_program));
        m_registry.end(m_lease);
        {
            const QMutexLocker lock(&m_hub.m_mutex);
            const auto it = m_hub.m_streams.find(m_epoch);
            if (it != m_hub.m_streams.end() && it->second == this)
                m_hub.m_streams.erase(it);
        }
        delete this;
    }

private:
    void finish(const grpc::Status &status)
    {
        if (!m_finished.exchange(true))
            Finish(status);
    }

    HubService &m_hub;
    Registry &m_registry;
    const quint64 m_epoch;
    const quint64 m_lease;
    const QString m_program;
    v1::RegisterReply m_reply;
    std::atomic_bool m_finished = false;
};

HubService::HubService(Registry &registry)
    : m_registry(registry)
{
}

void HubService::setSelf(const ObjectRef &self)
{
    m_self = self;
}

grpc::ServerWriteReactor<v1::RegisterReply> *HubService::Register(grpc::CallbackServerContext *,
                                                                  const v1::RegisterRequest *request)
{
    return new LeaseStream(*this, *request);
}

grpc::ServerUnaryReactor *HubService::Resolve(grpc::CallbackServerContext *context, const v1::ResolveRequest *request,
                                              v1::ObjectRef *reply)
{
    grpc::ServerUnaryReactor *reactor = context->DefaultReactor();
    const QString tag = QString::fromStdString(request->tag());
    ObjectRef found;
    if (tag == hub::HubInterface) {
        found = m_self;
    } else if (!m_registry.find(tag, &found)) {
        reactor->Finish({grpc::StatusCode::NOT_FOUND,
                         QStringLiteral("no object \"%1\" is registered").arg(tag.left(200)).toStdString()});
        return reactor;
    }
    toWire(found, reply);
    reactor->Finish(grpc::Status::OK);
    return reactor;
}

grpc::ServerUnaryReactor *HubService::List(grpc::CallbackServerContext *context, const v1::ListRequest *,
                                           v1::ListReply *reply)
{
    for (const RegistryEntry &entry : m_registry.list()) {
        v1::Entry *each = reply->add_entries();
        toWire(entry.object, each->mutable_object());
        each->set_pid(entry.pid);
        each->set_program(entry.program.toStdString());
    }
    grpc::ServerUnaryReactor *reactor = context->DefaultReactor();
    reactor->Finish(grpc::Status::OK);
    return reactor;
}

} // namespace tarn::rpc
