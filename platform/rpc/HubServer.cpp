#include "tarn/rpc/HubServer.h"
#include "rpc/Channels.h"
#include "rpc/Endpoint.h"
#include "rpc/HubService.h"
#include "tarn/keys/HubKeys.h"
#include "tarn/rpc/RuntimeDir.h"
#include <QCoreApplication>
#include <QFile>

namespace tarn::rpc {
namespace {

constexpr int HubThreads = 2;

QVariantMap describe(const RegistryEntry &entry)
{
    return {{QStringLiteral("tag"), entry.object.tag},
            {QStringLiteral("interface"), entry.object.interfaceName},
            {QStringLiteral("endpoint"), entry.object.endpoint},
            {QStringLiteral("epoch"), entry.object.epoch},
            {QStringLiteral("pid"), entry.pid},
            {QStringLiteral("program"), entry.program}};
}

/// The hub as an object that RpcProxy can call.
class HubObject final : public IInvocable
{
public:
    explicit HubObject(const HubService &service)
        : m_service(service)
    {
    }
    CallResult invoke(const QString &method, const Bag &, const ICallContext &) override
    {
        CallResult result;
        result.accepted = true;
        if (method == QLatin1String("Ping")) {
            result.output.values = {{QStringLiteral("pid"), QCoreApplication::applicationPid()},
                                    {QStringLiteral("program"), hub::HubProgram}};
        } else if (method == QLatin1String("List")) {
            for (const RegistryEntry &entry : m_service.list())
                result.output.list.append(describe(entry));
        } else {
            result.error.code = RpcError::NotFound;
        }
        return result;
    }

private:
    const HubService &m_service;
};

} // namespace

class HubServer::Private
{
public:
    Private()
        : servants(std::make_shared<ServantTable>())
        , endpoint(servants, nullptr, HubThreads)
    {
        Servant self;
        self.interfaceName = self.tag = hub::HubInterface;
        self.object = QSharedPointer<HubObject>::create(service);
        self.gate = std::make_shared<CallGate>();
        self.gate->open();
        servants->insert(self);
    }

    quint16 port = 0;
    std::shared_ptr<ServantTable> servants;
    HubService service; // before the server
    Endpoint endpoint;
};

HubServer::HubServer() = default;

HubServer::~HubServer()
{
    stop();
}

bool HubServer::start(quint16 port, QString *error)
{
    stop();
    auto started = std::make_unique<Private>();
    const QString name = hubSocketName(port);
    const QString path = socketPath(name, error);
    if (path.isEmpty())
        return false;
    sweepSockets();
    QFile::remove(path); // of a killed predecessor; the caller holds the directory's lock
    started->service.setSelf({hub::HubInterface, hub::HubInterface, unixTarget(path), started->endpoint.epoch()});
    if (!started->endpoint.open(name, &started->service, error) || !linkHubSocket(port, error))
        return false;
    started->port = port;
    d = std::move(started);
    return true;
}

void HubServer::stop()
{
    if (d)
        unlinkHubSocket(d->port); // before the socket, so that no link leads nowhere
    d.reset();
}

} // namespace tarn::rpc
