#include "tarn/rpc/HubServer.h"
#include "rpc/Channels.h"
#include "rpc/Endpoint.h"
#include "rpc/Log.h"
#include "rpc/Messages.h"
#include "tarn/keys/HubKeys.h"
#include "tarn/rpc/RuntimeDir.h"
#include "tarn/v1/hub.grpc.pb.h"
#include <QCoreApplication>
#include <QFile>
#include <QMap>
#include <atomic>
#include <grpcpp/support/server_callback.h>

namespace tarn::rpc {
namespace {

constexpr int HubThreads = 2;
constexpr int MaxObjectsPerLease = 256;
constexpr int MaxEntries = 4096;
constexpr int MaxName = 256;

QString programOf(const v1::RegisterRequest &request)
{
    return QString::fromStdString(request.program()).left(64);
}

QString objection(const ObjectRef &object)
{
    if (object.tag.isEmpty() || object.interfaceName.isEmpty() || object.endpoint.isEmpty() || object.epoch == 0)
        return QStringLiteral("an entry lacks its tag, interface, endpoint or epoch");
    if (object.tag.size() > MaxName || object.interfaceName.size() > MaxName || object.endpoint.size() > MaxName)
        return QStringLiteral("a name has more than %1 characters").arg(MaxName);
    if (object.tag == hub::HubInterface)
        return QStringLiteral("tag \"%1\" is the hub's own").arg(object.tag);
    return QString();
}

/// A registered object and the process that serves it.
struct Entry
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
    QMap<QString, Entry> entries() const                   ///< by tag
    {
        const QMutexLocker lock(&m_mutex);
        return m_entries;
    }

    grpc::ServerWriteReactor<v1::RegisterReply> *Register(grpc::CallbackServerContext *context,
                                                          const v1::RegisterRequest *request) override;
    grpc::ServerUnaryReactor *Resolve(grpc::CallbackServerContext *context, const v1::ResolveRequest *request,
                                      v1::ObjectRef *reply) override
    {
        grpc::ServerUnaryReactor *reactor = context->DefaultReactor();
        const QString tag = QString::fromStdString(request->tag());
        ObjectRef found = m_self;
        if (tag != hub::HubInterface) {
            const QMutexLocker lock(&m_mutex);
            found = m_entries.value(tag).object;
        }
        if (found.isNull()) {
            reactor->Finish({grpc::StatusCode::NOT_FOUND,
                             QStringLiteral("no object \"%1\" is registered").arg(tag.left(200)).toStdString()});
            return reactor;
        }
        toWire(found, reply);
        reactor->Finish(grpc::Status::OK);
        return reactor;
    }
    grpc::ServerUnaryReactor *List(grpc::CallbackServerContext *context, const v1::ListRequest *,
                                   v1::ListReply *reply) override
    {
        for (const Entry &entry : entries()) {
            v1::Entry *each = reply->add_entries();
            toWire(entry.object, each->mutable_object());
            each->set_pid(entry.pid);
            each->set_program(entry.program.toStdString());
        }
        grpc::ServerUnaryReactor *reactor = context->DefaultReactor();
        reactor->Finish(grpc::Status::OK);
        return reactor;
    }

private:
    class LeaseStream;
    QString add(const v1::RegisterRequest &request, quint64 lease);
    /// Removes the entries for which the function returns true.
    template <class Predicate>
    void removeIf(Predicate isRemoved)
    {
        for (auto it = m_entries.begin(); it != m_entries.end();)
            it = isRemoved(*it) ? m_entries.erase(it) : std::next(it);
    }

    ObjectRef m_self;
    mutable QRecursiveMutex m_mutex;        ///< guards the members below; gRPC may end a stream inside finish()
    QMap<QString, Entry> m_entries;         ///< by tag
    QMap<quint64, LeaseStream *> m_streams; ///< by epoch, the newest of each process
    quint64 m_leases = 0;
};

/// Holds a lease for as long as the stream lives.
class HubService::LeaseStream final : public grpc::ServerWriteReactor<v1::RegisterReply>
{
public:
    LeaseStream(HubService &hub, const v1::RegisterRequest &request)
        : m_hub(hub)
        , m_epoch(request.epoch())
        , m_program(QStringLiteral("%1 (process %2)").arg(programOf(request)).arg(request.pid()))
    {
        if (request.objects_size() > MaxObjectsPerLease) {
            finish({grpc::StatusCode::INVALID_ARGUMENT, "too many objects"});
            return;
        }
        const QMutexLocker lock(&hub.m_mutex);
        m_lease = ++hub.m_leases;
        const QString reason = hub.add(request, m_lease);
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
        {
            const QMutexLocker lock(&m_hub.m_mutex);
            m_hub.removeIf([this](const Entry &entry) { return entry.lease == m_lease; });
            if (m_hub.m_streams.value(m_epoch) == this)
                m_hub.m_streams.remove(m_epoch);
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
    const quint64 m_epoch;
    const QString m_program;
    quint64 m_lease = 0; ///< 0 where there are too many objects
    v1::RegisterReply m_reply;
    std::atomic_bool m_finished = false;
};

/// Registers all objects of a process for a new lease, or none. Entries that an older lease of the process holds pass over
/// to this one; those that it leaves out are removed.
/// @return empty, or why not: an entry without a name, a tag that another process holds, or an epoch that belongs to
///         another endpoint
QString HubService::add(const v1::RegisterRequest &request, quint64 lease)
{
    const QString endpoint = QString::fromStdString(request.endpoint());
    const quint64 epoch = request.epoch();
    for (const Entry &held : qAsConst(m_entries)) {
        // The epoch is no secret: it must not be enough to take a process's objects away.
        if (held.object.epoch == epoch && held.object.endpoint != endpoint)
            return QStringLiteral("the epoch belongs to another endpoint, of %1 (process %2)")
                .arg(held.program)
                .arg(held.pid);
    }
    QVector<Entry> entries;
    for (const v1::Registration &each : request.objects()) {
        const ObjectRef object{QString::fromStdString(each.interface_name()), QString::fromStdString(each.tag()),
                               endpoint, epoch};
        QString reason = objection(object);
        if (!reason.isEmpty())
            return reason;
        const auto holder = m_entries.constFind(object.tag);
        if (holder != m_entries.constEnd() && holder->object.epoch != epoch)
            return QStringLiteral("tag \"%1\" is registered by %2 (process %3)")
                .arg(object.tag, holder->program)
                .arg(holder->pid);
        entries.append({object, request.pid(), programOf(request), lease});
    }
    if (m_entries.size() + entries.size() > MaxEntries)
        return QStringLiteral("the registry is full");
    removeIf([epoch](const Entry &entry) { return entry.object.epoch == epoch; });
    for (const Entry &entry : qAsConst(entries))
        m_entries.insert(entry.object.tag, entry);
    return QString();
}

grpc::ServerWriteReactor<v1::RegisterReply> *HubService::Register(grpc::CallbackServerContext *,
                                                                  const v1::RegisterRequest *request)
{
    return new LeaseStream(*this, *request);
}

QVariantMap describe(const Entry &entry)
{
    return {{QStringLiteral("tag"), entry.object.tag},
            {QStringLiteral("interface"), entry.object.interfaceName},
            {QStringLiteral("endpoint"), entry.object.endpoint},
            {QStringLiteral("epoch"), entry.object.epoch},
            {QStringLiteral("pid"), entry.pid},
            {QStringLiteral("program"), entry.program}};
}

/// The methods of the hub as an object that RpcProxy can call.
CallResult invoke(const HubService &service, const QString &method)
{
    CallResult result;
    result.accepted = true;
    if (method == QLatin1String("Ping")) {
        result.output.values = {{QStringLiteral("pid"), QCoreApplication::applicationPid()},
                                {QStringLiteral("program"), hub::HubProgram}};
    } else if (method == QLatin1String("List")) {
        for (const Entry &entry : service.entries())
            result.output.list.append(describe(entry));
    } else {
        result.error.code = RpcError::NotFound;
    }
    return result;
}

/// The registry and the endpoint that serves it.
struct Hub
{
    explicit Hub(quint16 number)
        : port(number)
        , endpoint(servants, nullptr, HubThreads)
    {
        Servant self;
        self.interfaceName = self.tag = hub::HubInterface;
        self.object = QSharedPointer<Invocable>::create(
            [this](const QString &method, const Bag &, const ICallContext &) { return invoke(service, method); });
        self.gate = std::make_shared<CallGate>();
        self.gate->open();
        servants.add(self);
    }
    ~Hub() { unlinkHubSocket(port); } // before the socket, so that no link leads nowhere
    Q_DISABLE_COPY(Hub)

    const quint16 port;
    ServantTable servants;
    HubService service; // before the server
    Endpoint endpoint;
};

} // namespace

std::shared_ptr<void> startHub(quint16 port, QString *error)
{
    const QString name = hubSocketName(port);
    const QString path = socketPath(name, error);
    if (path.isEmpty())
        return nullptr;
    sweepSockets();
    QFile::remove(path); // of a killed predecessor; the caller holds the directory's lock
    auto started = std::make_shared<Hub>(port);
    started->service.setSelf({hub::HubInterface, hub::HubInterface, unixTarget(path), started->endpoint.epoch()});
    if (!started->endpoint.open(name, &started->service, error) || !linkHubSocket(port, error))
        return nullptr;
    return started;
}

} // namespace tarn::rpc
