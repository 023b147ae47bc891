#include "cli/Service.h"
#include "cli/JsonBag.h"
#include "cli/Output.h"
#include "tarn/rpc/RuntimeDir.h"
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <sys/socket.h>
#include <unistd.h>

namespace tarn::cli {

namespace {

const QString HostProgram = QStringLiteral("visualized-host");

// The advice that fits: whether a host runs or not.
QString hostAdvice(const QString &running, const QString &absent)
{
    const qint64 host = runningProcesses().key(HostProgram);
    return host != 0 ? running.arg(processText(HostProgram, host)) : absent;
}

QString noHubAdvice()
{
    return hostAdvice(QStringLiteral("%1 starts the hub again within seconds; its log has the reason if it does not"),
                      QStringLiteral("start \"visualized-host\", or \"ServiceHub quickboot\" for the services alone"));
}

// The advice when the hub answers and the object does not.
QString absentAdvice(const Service &service)
{
    if (service.tag != VisualizedService.tag)
        return QStringLiteral("the hub starts it; the hub's log has the reason if it does not come");
    return hostAdvice(QStringLiteral("%1 runs; its log has the reason"), QStringLiteral("start \"visualized-host\""));
}

// The process that listens on a socket; 0 when there is none.
qint64 listenerOf(const QString &path)
{
    const int fd = rpc::connectTo(QFile::encodeName(path));
    ucred peer = {};
    socklen_t size = sizeof(peer);
    const bool known = fd >= 0 && ::getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0;
    ::close(fd);
    return known ? peer.pid : 0;
}

} // namespace

Failure failureOf(const rpc::CallResult &result, const Service &service)
{
    const QString reason = QString::fromStdString(result.error.message);
    switch (result.error.code) {
    case rpc::RpcError::None:
        return {status::Refused, QStringLiteral("%1 refused with code %2: %3")
                                     .arg(service.name, QString::number(result.retCode), printable(result.errorText))};
    case rpc::RpcError::NoHub:
    case rpc::RpcError::NotInitialized: {
        QString unusable;
        const bool isUsable = !rpc::runtimeDir(&unusable).isEmpty();
        return {status::NoTransport, isUsable ? QStringLiteral("%1; %2").arg(reason, noHubAdvice()) : unusable};
    }
    case rpc::RpcError::InvalidArgument:
        return wrongUsage(QStringLiteral("this cannot be sent: %1").arg(reason));
    case rpc::RpcError::NotFound:
        if (!result.errorText.isEmpty())
            return wrongUsage(QStringLiteral("%1 does not know this: %2").arg(service.name, result.errorText));
        break;
    default:
        break;
    }
    return {status::NoTransport,
            QStringLiteral("%1 cannot be reached: %2; %3").arg(service.name, reason, absentAdvice(service))};
}

rpc::CallResult accepted(const rpc::CallResult &result, const Service &service)
{
    if (!result.accepted)
        throw failureOf(result, service);
    return result;
}

Query paged(const Service &service, const QString &method, const QVariantMap &values)
{
    return {service, method, values, link::ServiceConnection::DefaultTimeout, true};
}

QVariant valuesOf(const rpc::CallResult &result)
{
    return result.output.values;
}

QVariant listOf(const rpc::CallResult &result)
{
    return result.output.list;
}

Output eachOf(void (*printer)(const QVariantMap &))
{
    const auto print = [printer](const rpc::CallResult &result) {
        for (const QVariant &entry : result.output.list)
            printer(entry.toMap());
    };
    return {print, listOf};
}

int ask(const Query &query, const Line &line, const Output &output)
{
    link::ServiceConnection connection;
    const rpc::Bag input{query.values, {}};
    const auto result =
        accepted(query.paged ? connection.callPaged(query.service.tag, query.method, input, query.limitMs)
                             : connection.call(query.service.tag, query.method, input, query.limitMs),
                 query.service);
    if (output.print)
        line.isSet(Json.name) ? print(compact(toJson(output.data(result)))) : output.print(result);
    return status::Ok;
}

Command::Run asks(const Query &query, QVariantMap (*values)(const Line &), const Output &output)
{
    return [=](const Line &line) {
        Query whole = query;
        if (values)
            whole.values = values(line);
        return ask(whole, line, output);
    };
}

QString processText(const QString &program, qint64 pid)
{
    return QStringLiteral("%1 (process %2)").arg(program).arg(pid);
}

QMap<qint64, QString> runningProcesses()
{
    QMap<qint64, QString> programs;
    QString error;
    const QString directory = rpc::runtimeDir(&error);
    if (directory.isEmpty())
        return programs;
    for (const QFileInfo &socket : QDir(directory).entryInfoList({QStringLiteral("*.sock")}, QDir::System)) {
        const qint64 pid = listenerOf(socket.filePath());
        QFile name(QStringLiteral("/proc/%1/comm").arg(pid)); // host and services hide their file from their own user
        if (pid != 0 && name.open(QIODevice::ReadOnly))
            programs.insert(pid, QString::fromUtf8(name.readAll()).trimmed());
    }
    return programs;
}

} // namespace tarn::cli
