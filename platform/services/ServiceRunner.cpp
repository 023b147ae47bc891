#include "services/ServiceRunner.h"
#include "services/Log.h"
#include "tarn/rpc/HubPort.h"

namespace tarn::services {

namespace {

constexpr int HubPollMs = 100; // while there is none

QString rpcError()
{
    return QString::fromStdString(rpc::getRpcLastError().message);
}

} // namespace

ServiceRunner::ServiceRunner(QObject *parent)
    : QObject(parent)
{
    m_hubPoll.setInterval(HubPollMs);
    connect(&m_hubPoll, &QTimer::timeout, this, &ServiceRunner::connectToHub);
}

ServiceRunner::~ServiceRunner()
{
    m_hubPoll.stop();
    if (m_adapter)
        m_adapter->unactive();
    m_adapter.reset();
    m_rpc.shutdown();
}

void ServiceRunner::addService(const QString &name, const QSharedPointer<rpc::IInvocable> &service)
{
    m_services.push_back({name, service});
}

void ServiceRunner::start()
{
    m_hubPoll.start();
    connectToHub();
}

void ServiceRunner::connectToHub()
{
    QString trouble;
    const quint16 port = rpc::hubPort(&trouble);
    if (port != 0 && serve(port)) {
        m_hubPoll.stop(); // the core registers them again when the hub restarts
        qCInfo(servicesLog).noquote() << QStringLiteral("services are registered at the hub on port %1").arg(port);
        return;
    }
    if (port != 0)
        trouble = rpcError();
    if (trouble != m_lastTrouble)
        qCWarning(servicesLog).noquote() << QStringLiteral("waiting for the hub: %1").arg(trouble);
    m_lastTrouble = trouble;
}

bool ServiceRunner::serve(quint16 port)
{
    const QString address = QStringLiteral("127.0.0.1");
    if (!m_rpc.init({{rpc::keys::IP, address},
                     {rpc::keys::SvrIP, address},
                     {rpc::keys::Port, QString::number(port)},
                     {rpc::keys::ThreadNum, QStringLiteral("8")}}))
        return false;
    auto adapter = m_rpc.createAdapter(QStringLiteral("tarn-services"));
    if (!adapter)
        return false;
    for (const Service &service : m_services) {
        if (!adapter->add(std::any(service.object), service.name, service.name))
            return false;
    }
    if (!adapter->active())
        return false;
    m_adapter = adapter;
    return true;
}

} // namespace tarn::services
