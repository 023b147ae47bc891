#include "cli/Command.h"
#include "tarn/keys/HubKeys.h"
#include "tarn/keys/MessageKeys.h"
#include "tarn/link/CloudWire.h"
#include "tarn/link/HubPort.h"
#include "tarn/link/MessageWire.h"
#include "tarn/link/ServiceConnection.h"
#include "tarn/link/UpgradeWire.h"
#include "tarn/visualized/IVisualizedService.h"

namespace tarn::cli {

namespace {

constexpr int AnswerTimeout = 3000; // ms

struct Question
{
    QString name;
    QString tag;
    QString method;
};

// A service that knows no such method answers too.
bool answers(const rpc::CallResult &result)
{
    return result.arrived() || (result.error.code == rpc::RpcError::NotFound && !result.errorText.isEmpty());
}

void printState(const QString &name, const QString &state)
{
    print(QStringLiteral("%1 %2").arg(name + QLatin1Char(':'), -23).arg(state));
}

bool ask(link::ServiceConnection &connection, const Question &question)
{
    const auto result = connection.call(question.tag, question.method, {}, AnswerTimeout);
    const bool answered = answers(result);
    QString state = answered ? QStringLiteral("answers")
                             : QStringLiteral("no answer: %1").arg(QString::fromStdString(result.error.message));
    const QVariant unread = result.output.values.value(message::key::unReadNum);
    if (unread.isValid())
        state += QStringLiteral(", %1 unread").arg(unread.toInt());
    printState(question.name, state);
    return answered;
}

} // namespace

int runStatus(const QStringList &arguments)
{
    CommandLine line({QStringLiteral("status")},
                     QStringLiteral("Tells whether the hub, the services and the visualized service answer.\n"
                                    "Exit code: 0 when all answer, 3 when one does not."));
    if (const auto done = line.parse(arguments, 0, 0))
        return *done;

    link::ServiceConnection connection;
    QString error;
    const quint16 port = link::readHubPort(&error);
    const auto hub = connection.call(hub::HubInterface, QStringLiteral("List"), {}, AnswerTimeout);
    const bool hubAnswers = answers(hub);
    printState(QStringLiteral("hub"),
               hubAnswers ? QStringLiteral("answers, port %1").arg(port)
                          : QStringLiteral("no answer: %1").arg(QString::fromStdString(hub.error.message)));
    bool all = hubAnswers;
    for (const Question &question :
         {Question{QStringLiteral("message service"), link::wire::MessageTag, link::wire::method::UnreadCount},
          Question{QStringLiteral("upgrade service"), link::wire::UpgradeTag, link::wire::method::UpgradeStatus},
          Question{QStringLiteral("cloud account service"), link::wire::CloudTag, link::wire::method::CloudStatus},
          Question{QStringLiteral("visualized service"), visualized::DefaultTag,
                   QStringLiteral("getVisualizedOperateManager")}})
        all = ask(connection, question) && all;
    if (!all)
        complain(hubAnswers ? QStringLiteral("start \"visualized-host\" for the visualized service; the hub starts the "
                                             "others.")
                            : QStringLiteral("start \"visualized-host\", which brings up the rest."));
    return all ? status::Ok : status::NoTransport;
}

} // namespace tarn::cli
