#include "tarn/link/ServiceConnection.h"
#include "tarn/keys/HubKeys.h"
#include "tarn/rpc/HubPort.h"
#include <QElapsedTimer>
#include <QScopeGuard>

namespace tarn::link {

using rpc::RpcError;

namespace {

constexpr int LongMs = 1000; // a failure that took longer is no quick refusal

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
    return {{rpc::keys::Port, QString::number(port)},
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
        m_silent.clear();
    }
    m_rpc.shutdown();
    {
        // A caller that was just connecting has initialised the core again.
        const QMutexLocker lock(&m_connecting);
        m_rpc.shutdown();
        m_port = 0;
    }
    const QWriteLocker ended(&m_calls);
}

rpc::CallResult ServiceConnection::call(const QString &tag, const QString &method, const rpc::Bag &input, int timeoutMs,
                                        Late late)
{
    if (!m_calls.tryLockForRead()) // close() waits for the others
        return failed(closedError());
    const auto leave = qScopeGuard([this] { m_calls.unlock(); });
    if (!isOpen())
        return failed(closedError());
    rpc::CallResult silent;
    if (isSilent(tag, &silent.error))
        return silent;
    QElapsedTimer clock;
    clock.start();
    auto result = send(tag, method, input, timeoutMs);
    if (!isOpen() && !result.arrived())
        return failed(closedError());
    if (late == Silent || result.error.code != RpcError::Timeout)
        notice(tag, result.error, clock.elapsed());
    return result;
}

rpc::CallResult ServiceConnection::send(const QString &tag, const QString &method, const rpc::Bag &input, int timeoutMs)
{
    RpcError error;
    const auto proxy = proxyOf(tag, &error);
    return proxy ? proxy->call(method, input, timeoutMs) : failed(error);
}

bool ServiceConnection::isSilent(const QString &tag, RpcError *error)
{
    const QMutexLocker lock(&m_state);
    const Silence silence = m_silent.value(tag);
    if (silence.end.hasExpired())
        return false;
    *error = silence.error;
    return true;
}

void ServiceConnection::notice(const QString &tag, const RpcError &error, qint64 tookMs)
{
    const bool silent = error.code == RpcError::Timeout || (error.code != RpcError::None && tookMs >= LongMs);
    const QMutexLocker lock(&m_state);
    if (silent && m_open)
        m_silent.insert(tag, {error, QDeadlineTimer(SilenceTime)});
    else
        m_silent.remove(tag);
}

QSharedPointer<rpc::RpcProxy> ServiceConnection::proxyOf(const QString &tag, RpcError *error)
{
    {
        const QMutexLocker lock(&m_state);
        if (auto known = m_proxies.value(tag))
            return known;
    }
    auto found = lookUp(tag, error);
    const QMutexLocker lock(&m_state);
    if (found && m_open)
        m_proxies.insert(tag, found);
    return found;
}

QSharedPointer<rpc::RpcProxy> ServiceConnection::lookUp(const QString &tag, RpcError *error)
{
    const QMutexLocker lock(&m_connecting);
    if (isSilent(hub::HubInterface, error)) // several callers must not wait for it one after the other
        return {};
    QElapsedTimer clock;
    clock.start();
    QSharedPointer<rpc::RpcProxy> proxy;
    if (connectToHub(error)) {
        proxy = m_rpc.stringToProxy(tag);
        *error = rpc::getRpcLastError();
    }
    notice(hub::HubInterface, *error, clock.elapsed());
    return proxy;
}

bool ServiceConnection::connectToHub(RpcError *error)
{
    QString reason;
    const quint16 port = rpc::hubPort(&reason);
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
