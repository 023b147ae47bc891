#include "cli/Service.h"
#include "cli/JsonBag.h"
#include "cli/Output.h"
#include "tarn/keys/HubKeys.h"
#include "tarn/link/PagedCall.h"
#include "tarn/rpc/RuntimeDir.h"
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <sys/socket.h>
#include <unistd.h>

namespace tarn::cli {

namespace {

const QString HostProgram = QStringLiteral("visualized-host");

QString noHubAdvice()
{
    const qint64 host = processOf(HostProgram);
    return host != 0 ? QStringLiteral("%1 starts the hub again within seconds; its log has the reason if it does not")
                           .arg(processText(HostProgram, host))
                     : QStringLiteral("start \"visualized-host\", or \"ServiceHub quickboot\" for the services alone");
}

// The advice when the hub answers and the object does not.
QString absentAdvice(const Service &service)
{
    if (service.tag != VisualizedService.tag)
        return QStringLiteral("the hub starts it; the hub's log has the reason if it does not come");
    const qint64 host = processOf(HostProgram);
    return host != 0 ? QStringLiteral("%1 runs; its log has the reason").arg(processText(HostProgram, host))
                     : QStringLiteral("start \"visualized-host\"");
}

// The process that listens on a socket; 0 when there is none.
qint64 listenerOf(const QString &path)
{
    const int fd = rpc::connectTo(path);
    ucred peer = {};
    socklen_t size = sizeof(peer);
    const bool known = fd >= 0 && ::getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0;
    ::close(fd);
    return known ? peer.pid : 0;
}

} // namespace

int explainFailure(const rpc::CallResult &result, const Service &service)
{
    const QString reason = QString::fromStdString(result.error.message);
    switch (result.error.code) {
    case rpc::RpcError::NoHub:
    case rpc::RpcError::NotInitialized: {
        QString unusable;
        if (rpc::runtimeDir(&unusable).isEmpty())
            complain(unusable);
        else
            complain(QStringLiteral("%1; %2").arg(reason, noHubAdvice()));
        return status::NoTransport;
    }
    case rpc::RpcError::InvalidArgument:
        complain(QStringLiteral("this cannot be sent: %1").arg(reason));
        return status::WrongUsage;
    case rpc::RpcError::NotFound:
        if (!result.errorText.isEmpty()) {
            complain(QStringLiteral("%1 does not know this: %2").arg(service.name, result.errorText));
            return status::WrongUsage;
        }
        break;
    default:
        break;
    }
    complain(QStringLiteral("%1 cannot be reached: %2; %3").arg(service.name, reason, absentAdvice(service)));
    return status::NoTransport;
}

int judge(const rpc::CallResult &result, const Service &service)
{
    if (!result.arrived())
        return explainFailure(result, service);
    if (result.accepted)
        return status::Ok;
    complain(QStringLiteral("%1 refused with code %2: %3")
                 .arg(service.name, QString::number(result.retCode), printable(result.errorText)));
    return status::Refused;
}

Option jsonOption()
{
    return {QStringLiteral("json"), QStringLiteral("Prints the answer as JSON."), {}};
}

QVariant listOf(const rpc::CallResult &result)
{
    return result.output.list;
}

QVariant valuesOf(const rpc::CallResult &result)
{
    return result.output.values;
}

int ask(const Query &query, const Line &line, const Printer &printer, const Data &data)
{
    link::ServiceConnection connection;
    const auto result = query.paged ? link::callPaged(connection, query.service.tag, query.method, query.input)
                                    : connection.call(query.service.tag, query.method, query.input, query.timeoutMs);
    const int code = judge(result, query.service);
    if (code == status::Ok && line.isSet(jsonOption().name)) {
        printRaw(compact(toJson(data(result))));
    } else if (code == status::Ok) {
        printer(result);
    }
    return code;
}

int ask(const Query &query)
{
    link::ServiceConnection connection;
    return judge(connection.call(query.service.tag, query.method, query.input, query.timeoutMs), query.service);
}

QString processText(const QString &program, qint64 pid)
{
    return QStringLiteral("%1 (process %2)").arg(program).arg(pid);
}

QList<Process> runningProcesses()
{
    QList<Process> processes;
    QString error;
    const QString directory = rpc::runtimeDir(&error);
    if (directory.isEmpty())
        return processes;
    const auto sockets = QDir(directory).entryInfoList({QStringLiteral("*.sock")}, QDir::System);
    for (const QFileInfo &socket : sockets) {
        const qint64 pid = listenerOf(socket.filePath());
        const auto isKnown = [pid](const Process &process) { return process.pid == pid; };
        if (pid == 0 || std::any_of(processes.cbegin(), processes.cend(), isKnown))
            continue;
        const QString program = QFile::symLinkTarget(QStringLiteral("/proc/%1/exe").arg(pid));
        processes.append({QFileInfo(program).fileName(), pid});
    }
    return processes;
}

qint64 processOf(const QString &program)
{
    const auto processes = runningProcesses();
    for (const Process &process : processes) {
        if (process.program == program)
            return process.pid;
    }
    return 0;
}

} // namespace tarn::cli
