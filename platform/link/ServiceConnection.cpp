#include "tarn/link/ServiceConnection.h"
#include "tarn/keys/HubKeys.h"
#include "tarn/link/MessageWire.h"
#include "tarn/rpc/HubPort.h"
#include <QElapsedTimer>
#include <QScopeGuard>

namespace tarn::link {

using rpc::RpcError;

namespace {

constexpr int LongMs = 1000; // a failure that took longer is no quick refusal
constexpr int Attempts = 3;  // to fetch all pages of a list

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
    if (isSilent(tag, &silent.error)) {
        if (late != Decision || !takeProbe(tag))
            return silent;
        timeoutMs = qMin(timeoutMs, ProbeTimeout);
    }
    QElapsedTimer clock;
    clock.start();
    RpcError error;
    const auto proxy = proxyOf(tag, &error);
    const auto result = proxy ? proxy->call(method, input, timeoutMs) : failed(error);
    if (!isOpen() && !result.arrived())
        return failed(closedError());
    if (late != LongWork || result.error.code != RpcError::Timeout)
        notice(tag, result.error, clock.elapsed());
    return result;
}

rpc::CallResult ServiceConnection::callPaged(const QString &tag, const QString &method, const rpc::Bag &input,
                                             int limitMs)
{
    const QDeadlineTimer deadline(limitMs);
    const auto pageAt = [&](const QString &cursor) {
        rpc::Bag bag = input;
        if (!cursor.isEmpty())
            bag.values.insert(wire::Cursor, cursor);
        return call(tag, method, bag, static_cast<int>(qMax<qint64>(1, deadline.remainingTime())));
    };
    rpc::CallResult page;
    for (int attempt = 0; attempt == 0 || (attempt < Attempts && !deadline.hasExpired()); ++attempt) {
        rpc::CallResult whole = pageAt(QString());
        QString cursor = whole.output.values.take(wire::Cursor).toString();
        while (!cursor.isEmpty() && (page = pageAt(cursor)).accepted) {
            whole.output.list += page.output.list;
            cursor = page.output.values.value(wire::Cursor).toString();
        }
        if (cursor.isEmpty())
            return whole;
    }
    page.output.list.clear();
    return page;
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

bool ServiceConnection::takeProbe(const QString &tag)
{
    const QMutexLocker lock(&m_state);
    const auto silence = m_silent.find(tag);
    return silence == m_silent.end() || !std::exchange(silence->isProbed, true);
}

void ServiceConnection::notice(const QString &tag, const RpcError &error, qint64 tookMs)
{
    const bool silent = error.code == RpcError::Timeout || (error.code != RpcError::None && tookMs >= LongMs);
    const QMutexLocker lock(&m_state);
    const Silence before = m_silent.take(tag);
    if (silent && m_open)
        m_silent.insert(tag, {error, QDeadlineTimer(SilenceTime), before.isProbed && !before.end.hasExpired()});
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
    QString reason;
    QSharedPointer<rpc::RpcProxy> proxy;
    const quint16 port = rpc::hubPort(&reason);
    if (port == 0) {
        *error = {RpcError::NoHub, reason.toStdString()};
    } else if (!isOpen()) {
        *error = closedError();
    } else {
        if (m_rpc.isInitialized() || m_rpc.init({{rpc::keys::Port, QString::number(port)},
                                                 {rpc::keys::Timeout, QString::number(HubTimeout)},
                                                 {rpc::keys::ThreadNum, QStringLiteral("1")}}))
            proxy = m_rpc.stringToProxy(tag);
        *error = rpc::getRpcLastError();
    }
    notice(hub::HubInterface, *error, clock.elapsed());
    return proxy;
}

} // namespace tarn::link
