#include "Command.h"
#include "JsonBag.h"
#include "tarn/link/ServiceConnection.h"
#include "tarn/visualized/IVisualizedService.h"
#include <QJsonArray>
#include <QJsonDocument>

namespace tarn::cli {

namespace {

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
    link::ServiceConnection connection;
    const auto result = connection.call(visualized::DefaultTag, given.first(), input);
    if (!result.arrived())
        return explainFailure(result, visualizedService());
    printRaw(answerLine(result));
    return result.accepted ? status::Ok : status::Refused;
}

} // namespace tarn::cli
