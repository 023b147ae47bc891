// "tarnctl status" and "tarnctl stop".
#include "cli/JsonBag.h"
#include "cli/Output.h"
#include "cli/Service.h"
#include "tarn/keys/HubKeys.h"
#include "tarn/keys/MessageKeys.h"
#include "tarn/link/CloudWire.h"
#include "tarn/link/UpgradeWire.h"
#include "tarn/rpc/HubPort.h"
#include "tarn/rpc/RuntimeDir.h"
#include <QJsonArray>
#include <algorithm>
#include <csignal>
#include <poll.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace tarn::cli {

namespace {

constexpr int AnswerMs = 2000; // a service that hangs is reported after this time
constexpr int EndMs = 10000;   // until a process that was asked to end is reported

struct Question
{
    QString name; ///< as the answer is called
    const Service &service;
    QString tag;
    QString method;
};

struct Report
{
    QString name;
    const Service *service; ///< for the advice when it does not answer
    rpc::CallResult result;
    QString state = QStringLiteral("answers");
    int code = status::Ok;
};

// A service that does not know the method answers too.
bool answers(const rpc::CallResult &result)
{
    return result.arrived() || (result.error.code == rpc::RpcError::NotFound && !result.errorText.isEmpty());
}

Report ask(link::ServiceConnection &connection, const Question &question)
{
    Report report{question.name, &question.service, connection.call(question.tag, question.method, {}, AnswerMs)};
    if (!answers(report.result)) {
        report.state = QStringLiteral("no answer: %1").arg(QString::fromStdString(report.result.error.message));
        report.code = status::NoTransport;
    } else if (report.result.arrived() && !report.result.accepted) {
        report.state = QStringLiteral("answers, but cannot work: %1").arg(printable(report.result.errorText));
        report.code = status::Refused;
    } else if (question.tag == hub::HubInterface) {
        report.state += QStringLiteral(", port %1").arg(rpc::hubPort());
    }
    const QVariant unread = report.result.output.values.value(message::key::unReadNum);
    if (unread.isValid())
        report.state += QStringLiteral(", %1 unread").arg(unread.toInt());
    return report;
}

int runStatus(const Line &line)
{
    QString error;
    if (rpc::runtimeDir(&error).isEmpty()) {
        complain(error);
        return status::NoTransport;
    }
    const Question questions[] = {
        {"hub", VisualizedService, hub::HubInterface, "List"},
        {"message service", MessageService, MessageService.tag, link::wire::method::UnreadCount},
        {"upgrade service", UpgradeService, UpgradeService.tag, link::wire::method::UpgradeStatus},
        {"cloud account service", CloudService, CloudService.tag, link::wire::method::CloudStatus},
        {"visualized service", VisualizedService, VisualizedService.tag, "getVisualizedOperateManager"},
    };
    link::ServiceConnection connection;
    QList<Report> reports;
    QJsonArray array;
    for (const Question &question : questions) {
        const Report report = ask(connection, question);
        reports.append(report);
        array.append(QJsonObject{{QStringLiteral("name"), report.name},
                                 {QStringLiteral("state"), report.state},
                                 {QStringLiteral("ok"), report.code == status::Ok}});
        if (!line.isSet(Json.name))
            print(QStringLiteral("%1 %2").arg(report.name + QLatin1Char(':'), -23).arg(report.state));
    }
    if (line.isSet(Json.name))
        print(compact(array));
    const auto silent = [](const Report &report) { return report.code == status::NoTransport; };
    const auto first = std::find_if(reports.cbegin(), reports.cend(), silent);
    if (first != reports.cend()) // the others usually follow from it
        return explainFailure(first->result, *first->service);
    const auto failed = [](const Report &report) { return report.code != status::Ok; };
    return std::any_of(reports.cbegin(), reports.cend(), failed) ? status::Refused : status::Ok;
}

// Asks a process to end and waits for that.
bool stop(qint64 pid, const QString &program)
{
    const int descriptor = static_cast<int>(::syscall(SYS_pidfd_open, static_cast<pid_t>(pid), 0));
    pollfd end = {descriptor, POLLIN, 0};
    ::kill(static_cast<pid_t>(pid), SIGTERM);
    const bool ended = descriptor < 0 || ::poll(&end, 1, EndMs) == 1; // no descriptor: the process has ended already
    ::close(descriptor);
    const QString text = processText(program, pid);
    ended ? print(QStringLiteral("stopped: %1").arg(text))
          : complain(QStringLiteral("%1 does not end within %2 seconds").arg(text).arg(EndMs / 1000));
    return ended;
}

int runStop(const Line &)
{
    bool ended = true;
    // The hosts first: they start a missing hub again, and the hub starts missing services again.
    for (const QString &program : QStringList{"visualized-host", "ServiceHub", "tarn-services"}) {
        for (const qint64 pid : runningProcesses().keys(program))
            ended = stop(pid, program) && ended;
    }
    return ended ? status::Ok : status::Refused;
}

} // namespace

QList<Command> statusCommands()
{
    return {
        Command("status", "tells whether hub and services answer",
                "Tells whether the hub, the services and the visualized service answer.\n"
                "Exit code: 0 when all of them work, 1 when one answers with an error, 3 when one does not answer.",
                {}, {Json}, runStatus),
        Command("stop", "ends host, hub and services",
                "Ends the visualized service's host, the hub and the services of this user. Running downloads continue "
                "at the "
                "next start.\nExit code: 0 when none of them runs any more, 1 otherwise.",
                {}, {}, runStop),
    };
}

} // namespace tarn::cli
