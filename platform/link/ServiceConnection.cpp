#include "tarn/link/ServiceConnection.h"
#include "tarn/link/HubPort.h"
#include <QMutexLocker>
#include <QScopeGuard>

namespace tarn::link {

using rpc::RpcError;

namespace {

rpc::CallResult failed(RpcError error)
{
    rpc::CallResult result;
    result.error = std::move(error);
    return result;
}

RpcError closedError()
{
    return {RpcError::NotInitialized, "the connection was closed"};
}

QHash<QString, QString> settings(quint16 port)
{
    const QString address = QStringLiteral("127.0.0.1");
    return {{rpc::keys::IP, address},
            {rpc::keys::SvrIP, address},
            {rpc::keys::Port, QString::number(port)},
            {rpc::keys::Timeout, QString::number(ServiceConnection::HubTimeout)},
            {rpc::keys::ThreadNum, QStringLiteral("1")}};
}

} // namespace

ServiceConnection::~ServiceConnection()
{
    close();
}

bool ServiceConnection::isOpen() const
{
    const QMutexLocker lock(&m_state);
    return m_open;
}

void ServiceConnection::open()
{
    const QMutexLocker lock(&m_state);
    m_open = true;
}

void ServiceConnection::close()
{
    {
        const QMutexLocker lock(&m_state);
        m_open = false;
        m_proxies.clear();
    }
    m_rpc.shutdown();
    {
        // Whoever was just connecting has made the core live again.
        const QMutexLocker lock(&m_connecting);
        m_rpc.shutdown();
        m_port = 0;
    }
    QMutexLocker lock(&m_state);
    while (m_calls > 0)
        m_idle.wait(&m_state);
}

rpc::CallResult ServiceConnection::call(const QString &tag, const QString &method, const rpc::Bag &input, int timeoutMs)
{
    {
        const QMutexLocker lock(&m_state);
        if (!m_open)
            return failed(closedError());
        ++m_calls;
    }
    const auto leave = qScopeGuard([this] {
        const QMutexLocker lock(&m_state);
        --m_calls;
        m_idle.wakeAll();
    });

    auto result = attempt(tag, method, input, timeoutMs, false);
    // Either the object has gone or it has no such method; looking it up again tells.
    if (result.error.code == RpcError::NotFound)
        result = attempt(tag, method, input, timeoutMs, true);
    return result.arrived() || isOpen() ? result : failed(closedError());
}

rpc::CallResult ServiceConnection::attempt(const QString &tag, const QString &method, const rpc::Bag &input,
                                           int timeoutMs, bool lookUpAgain)
{
    RpcError error;
    const auto proxy = proxyOf(tag, lookUpAgain, &error);
    if (!proxy)
        return failed(error);
    auto result = proxy->call(method, input, timeoutMs);
    if (result.error.code == RpcError::NotFound)
        result.errorText = QString::fromStdString(result.error.message);
    return result;
}

QSharedPointer<rpc::RpcProxy> ServiceConnection::proxyOf(const QString &tag, bool lookUpAgain, RpcError *error)
{
    if (!lookUpAgain) {
        const QMutexLocker lock(&m_state);
        if (auto known = m_proxies.value(tag))
            return known;
    }
    auto found = lookUp(tag, error);
    const QMutexLocker lock(&m_state);
    if (found && m_open)
        m_proxies.insert(tag, found);
    else
        m_proxies.remove(tag);
    return found;
}

QSharedPointer<rpc::RpcProxy> ServiceConnection::lookUp(const QString &tag, RpcError *error)
{
    const QMutexLocker lock(&m_connecting);
    if (!connectToHub(error))
        return {};
    auto proxy = m_rpc.stringToProxy(tag);
    if (!proxy)
        *error = rpc::getRpcLastError();
    return proxy;
}

bool ServiceConnection::connectToHub(RpcError *error)
{
    QString reason;
    const quint16 port = readHubPort(&reason);
    if (port == 0) {
        *error = {RpcError::NoHub, reason.toStdString()};
        return false;
    }
    if (port == m_port && m_rpc.isInitialized())
        return true;
    if (!isOpen()) {
        *error = closedError();
        return false;
    }
    if (!m_rpc.init(settings(port))) {
        *error = rpc::getRpcLastError();
        return false;
    }
    m_port = port;
    return true;
}

} // namespace tarn::link
