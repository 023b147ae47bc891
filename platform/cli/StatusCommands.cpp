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

// The state of an object by its answer. @return the exit code
int judgeState(const Question &question, const rpc::CallResult &result, QString *state)
{
    // A service that does not know the method answers too.
    const bool isUnknown = result.error.code == rpc::RpcError::NotFound && !result.errorText.isEmpty();
    if (!result.arrived() && !isUnknown) {
        *state = QStringLiteral("no answer: %1").arg(QString::fromStdString(result.error.message));
        return status::NoTransport;
    }
    if (result.arrived() && !result.accepted) {
        *state = QStringLiteral("answers, but cannot work: %1").arg(printable(result.errorText));
        return status::Refused;
    }
    *state = QStringLiteral("answers");
    if (question.tag == hub::HubInterface)
        *state += QStringLiteral(", port %1").arg(rpc::hubPort());
    const QVariant unread = result.output.values.value(message::key::unReadNum);
    if (unread.isValid())
        *state += QStringLiteral(", %1 unread").arg(unread.toInt());
    return status::Ok;
}

int runStatus(const Line &line)
{
    QString error;
    if (rpc::runtimeDir(&error).isEmpty())
        throw Failure{status::NoTransport, error};
    const Question questions[] = {
        {"hub", VisualizedService, hub::HubInterface, "List"},
        {"message service", MessageService, MessageService.tag, link::wire::method::UnreadCount},
        {"upgrade service", UpgradeService, UpgradeService.tag, link::wire::method::UpgradeStatus},
        {"cloud account service", CloudService, CloudService.tag, link::wire::method::CloudStatus},
        {"visualized service", VisualizedService, VisualizedService.tag, "getVisualizedOperateManager"},
    };
    link::ServiceConnection connection;
    QJsonArray array;
    rpc::CallResult silent;
    const Service *silentService = nullptr; // the first: the others usually follow from it
    int worst = status::Ok;
    for (const Question &question : questions) {
        QString state;
        const auto result = connection.call(question.tag, question.method, {}, AnswerMs);
        const int code = judgeState(question, result, &state);
        worst = std::max(worst, code);
        if (code == status::NoTransport && !silentService) {
            silent = result;
            silentService = &question.service;
        }
        array.append(QJsonObject{{QStringLiteral("name"), question.name},
                                 {QStringLiteral("state"), state},
                                 {QStringLiteral("ok"), code == status::Ok}});
        if (!line.isSet(Json.name))
            print(QStringLiteral("%1 %2").arg(question.name + QLatin1Char(':'), -23).arg(state));
    }
    if (line.isSet(Json.name))
        print(compact(array));
    if (silentService)
        throw failureOf(silent, *silentService);
    return worst;
}

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
                "at the next start.\nExit code: 0 when none of them runs any more, 1 otherwise.",
                {}, {}, runStop),
    };
}

} // namespace tarn::cli
