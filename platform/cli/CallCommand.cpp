#include "cli/Command.h"
#include "cli/JsonBag.h"
#include "cli/LoginWait.h"
#include "tarn/keys/CloudKeys.h"
#include "tarn/link/ServiceConnection.h"
#include "tarn/visualized/IVisualizedService.h"
#include <QJsonArray>
#include <QJsonDocument>

namespace tarn::cli {

namespace {

constexpr int DefaultWait = 600; // s

const QString SignIn = QStringLiteral("ShowCloudLogin");
const QString Wait = QStringLiteral("wait");
const QString Timeout = QStringLiteral("timeout");
const QString Parent = QStringLiteral("parent");

QByteArray quoted(const QString &text)
{
    const QByteArray array = QJsonDocument(QJsonArray{text}).toJson(QJsonDocument::Compact);
    return array.mid(1, array.size() - 2);
}

// Written by hand, since a JSON object would sort its keys.
QByteArray answerLine(const rpc::CallResult &result)
{
    QByteArray line = "{\"accepted\":" + QByteArray(result.accepted ? "true" : "false") +
                      ",\"retCode\":" + QByteArray::number(result.retCode) + ",\"error\":" + quoted(result.errorText) +
                      ",\"values\":" + compact(toJson(result.output.values));
    if (!result.output.list.isEmpty()) {
        const QJsonValue list = toJson(QVariant(result.output.list));
        line += ",\"list\":" + QJsonDocument(list.toArray()).toJson(QJsonDocument::Compact);
    }
    return line + '}';
}

// Prints the answer. @return the exit code
int call(link::ServiceConnection &connection, const QString &operation, const rpc::Bag &input)
{
    const auto result = connection.call(visualized::DefaultTag, operation, input);
    if (!result.arrived())
        return explainFailure(result, visualizedService());
    printRaw(answerLine(result));
    return result.accepted ? status::Ok : status::Refused;
}

int callOnce(const QString &operation, const rpc::Bag &input)
{
    link::ServiceConnection connection;
    return call(connection, operation, input);
}

int callAndWait(rpc::Bag input, int seconds)
{
    QString error;
    LoginWait notify;
    const rpc::ObjectRef reference = notify.serve(&error);
    if (reference.isNull()) {
        complain(QStringLiteral("%1. Start \"visualized-host\".").arg(error));
        return status::NoTransport;
    }
    input.values.insert(rpc::NotifyKey, QVariant::fromValue(reference));
    link::ServiceConnection connection;
    const int code = call(connection, SignIn, input);
    return code == status::Ok ? notify.wait(connection, seconds) : code;
}

// Takes over what the options of the sign-in say. @param seconds to wait, 0 for not at all
bool readOptions(const CommandLine &line, rpc::Bag *input, int *seconds)
{
    const bool isSignIn = line.arguments().constFirst() == SignIn;
    for (const QString &option : {Wait, Timeout, Parent}) {
        if (line.isSet(option) && !isSignIn) {
            complain(QStringLiteral("--%1 is for %2 alone").arg(option, SignIn));
            return false;
        }
    }
    bool valid = true;
    if (line.isSet(Parent))
        input->values.insert(cloud::key::ParentWindow, line.value(Parent).toULongLong(&valid, 0));
    if (!valid) {
        complain(QStringLiteral("--%1: a window's number is wanted").arg(Parent));
        return false;
    }
    if (line.isSet(Timeout) && !line.isSet(Wait)) {
        complain(QStringLiteral("--%1 is of use with --%2 alone").arg(Timeout, Wait));
        return false;
    }
    int wait = line.isSet(Timeout) ? line.value(Timeout).toInt(&valid) : DefaultWait;
    if (!valid || wait <= 0) {
        complain(QStringLiteral("--%1: a number of seconds is wanted").arg(Timeout));
        return false;
    }
    *seconds = line.isSet(Wait) ? wait : 0;
    return true;
}

} // namespace

int runCall(const QStringList &arguments)
{
    CommandLine line({QStringLiteral("call")},
                     QStringLiteral("Calls one operation of the visualized service and prints its answer as JSON.\n"
                                    "A rect is {\"$rect\":[x,y,width,height]}, an unsigned 64-bit number "
                                    "{\"$u64\":\"...\"}; a list of records stands under \"$list\".\n"
                                    "Exit code: 0 accepted, 1 refused, 2 wrong usage, 3 not reached."));
    line.addArgument(QStringLiteral("OPERATION"), QStringLiteral("Name of the operation, e.g. ShowNotifyMessage."));
    line.addArgument(QStringLiteral("JSON"),
                     QStringLiteral("The input, a JSON object; @file reads it from a file, "
                                    "- from the standard input. Empty without it."),
                     QStringLiteral("[JSON | @file | -]"));
    line.addOption(Wait,
                   QStringLiteral("ShowCloudLogin: serves a notify object, waits until the user has signed in and "
                                  "prints its call. Exit code 1 when no dialog is shown or it is closed "
                                  "without that."));
    line.addOption(Timeout, QStringLiteral("With --wait: how long, %1 without it.").arg(DefaultWait),
                   QStringLiteral("seconds"));
    line.addOption(Parent, QStringLiteral("The caller's window, its X11 id (0x... or decimal)."),
                   QStringLiteral("window"));
    if (const auto done = line.parse(arguments, 1, 2))
        return *done;

    QByteArray json = "{}";
    rpc::Bag input;
    QString error;
    const QStringList given = line.arguments();
    if (given.size() == 2 && !readArgument(given.at(1), &json, &error)) {
        complain(error);
        return status::WrongUsage;
    }
    if (!parseBag(json, &input, &error)) {
        complain(QStringLiteral("wrong JSON at %1").arg(error));
        return status::WrongUsage;
    }
    int seconds = 0;
    if (!readOptions(line, &input, &seconds))
        return status::WrongUsage;
    return seconds > 0 ? callAndWait(input, seconds) : callOnce(given.first(), input);
}

} // namespace tarn::cli
