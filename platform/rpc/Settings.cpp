#include "rpc/Settings.h"
#include "rpc/Log.h"
#include "tarn/keys/RpcKeys.h"
#include <QtGlobal>

namespace tarn::rpc {
namespace {

constexpr int MaxPort = 65535;

int number(const QHash<QString, QString> &table, const QString &key, int min, int max, int fallback)
{
    const QString text = table.value(key).trimmed();
    if (text.isEmpty())
        return fallback;
    bool ok = false;
    const int value = text.toInt(&ok);
    if (ok && value >= min && value <= max)
        return value;
    throw makeError(RpcError::InvalidArgument,
                    QStringLiteral("setting \"%1\" is \"%2\", not a number from %3 to %4")
                        .arg(key, text.left(40), QString::number(min), QString::number(max)));
}

QString textOr(const QHash<QString, QString> &table, const QString &key, const QString &fallback)
{
    const QString text = table.value(key).trimmed();
    return text.isEmpty() ? fallback : text;
}

} // namespace

bool Address::isLocal() const
{
    return ip.isEmpty() || ip == QLatin1String("localhost") || ip == QLatin1String("::1") ||
           ip.startsWith(QLatin1String("127."));
}

QString Address::text() const
{
    const QString host = ip.contains(QLatin1Char(':')) ? QStringLiteral("[%1]").arg(ip) : ip;
    return QStringLiteral("%1:%2").arg(host).arg(port);
}

Settings Settings::parse(const QHash<QString, QString> &table)
{
    Settings read;
    read.hub.ip = textOr(table, keys::IP, QStringLiteral("127.0.0.1"));
    read.hubForServers.ip = textOr(table, keys::SvrIP, read.hub.ip);
    read.endpoint.ip = textOr(table, keys::EndpointIp, QString());
    read.hub.port = number(table, keys::Port, 1, MaxPort, 0);
    if (read.hub.port == 0)
        throw makeError(RpcError::InvalidArgument, QStringLiteral("setting \"%1\" is missing").arg(keys::Port));
    read.hubForServers.port = number(table, keys::SvrPort, 1, MaxPort, read.hub.port);
    read.endpoint.port = number(table, keys::EndpointPort, 1, MaxPort, 0);
    read.timeoutMs = number(table, keys::Timeout, 1, 24 * 3600 * 1000, limits::DefaultTimeoutMs);
    // Any number of threads is taken and clamped: hosts derive it from the machine.
    read.threads =
        qBound(1, number(table, keys::ThreadNum, -1000000, 1000000, limits::DefaultThreads), limits::MaxThreads);
    return read;
}

int leaseMs()
{
    bool ok = false;
    const int value = qEnvironmentVariableIntValue("TARN_LEASE_MS", &ok);
    return ok && value >= 200 && value <= 60000 ? value : 10000;
}

} // namespace tarn::rpc
