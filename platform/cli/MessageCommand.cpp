#include "cli/Command.h"
#include "cli/JsonBag.h"
#include "cli/MessageText.h"
#include "tarn/keys/MessageKeys.h"
#include "tarn/link/MessageWire.h"
#include "tarn/link/PagedCall.h"
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QUuid>

namespace tarn::cli {

using namespace message;
namespace wire = link::wire;

namespace {

constexpr int ChunkRecords = 500; // an import goes to the service in pieces
constexpr int ChunkBytes = 1024 * 1024;

const QString JsonOption = QStringLiteral("json");

// Prints nothing when the call went well.
int judge(const rpc::CallResult &result)
{
    return cli::judge(result, messageService());
}

struct PushOption
{
    QString name;
    QString valueName;
    QString description;
    QString key;
};

QList<PushOption> pushOptions()
{
    return {
        {QStringLiteral("title"), QStringLiteral("text"), QStringLiteral("Title line."), key::MsgTitle},
        {QStringLiteral("content"), QStringLiteral("text"), QStringLiteral("Body; may hold rich text."),
         key::MsgContent},
        {QStringLiteral("link"), QStringLiteral("url"), QStringLiteral("Target of the link."), key::LinkAdress},
        {QStringLiteral("link-text"), QStringLiteral("text"), QStringLiteral("Text of the link."), key::LinkText},
        {QStringLiteral("picture"), QStringLiteral("file"), QStringLiteral("Picture shown with the message."),
         key::PicFilePath},
        {QStringLiteral("unread"), QStringLiteral("number"),
         QStringLiteral("Number on the pop-up's badge; without it the number of unread messages."), key::unReadNum},
        {QStringLiteral("id"), QStringLiteral("id"), QStringLiteral("Identity; without it a new one."), key::MsgId},
        {QStringLiteral("time"), QStringLiteral("text"),
         QStringLiteral("Time of the message, \"yyyy-MM-dd hh:mm:ss\"; without it now."), key::MsgDateTime},
    };
}

bool readPushOptions(const CommandLine &line, QVariantMap *values)
{
    for (const PushOption &option : pushOptions()) {
        if (!line.isSet(option.name))
            continue;
        QVariant value = line.value(option.name);
        bool valid = true;
        if (option.key == key::unReadNum)
            value = value.toInt(&valid);
        else if (option.key == key::PicFilePath && !value.toString().isEmpty())
            value = QFileInfo(value.toString()).absoluteFilePath();
        if (!valid) {
            complain(QStringLiteral("--%1: a number is wanted").arg(option.name));
            return false;
        }
        values->insert(option.key, value);
    }
    // Made here, so that a push that is sent twice is one message.
    if (!values->contains(key::MsgId))
        values->insert(key::MsgId, QUuid::createUuid().toString(QUuid::WithoutBraces));
    return true;
}

int runPush(const QStringList &arguments)
{
    CommandLine line({QStringLiteral("message"), QStringLiteral("push")},
                     QStringLiteral("Stores a message, has the visualized service show it and prints its identity.\n"
                                    "Exit code 0 once it is stored, also when nobody is there to show it."));
    for (const PushOption &option : pushOptions())
        line.addOption(option.name, option.description, option.valueName);
    line.addOption(JsonOption, QStringLiteral("Prints the service's answer as JSON."));
    if (const auto done = line.parse(arguments, 0, 0))
        return *done;
    rpc::Bag input;
    if (!readPushOptions(line, &input.values))
        return status::WrongUsage;

    link::ServiceConnection connection;
    const auto result = connection.call(wire::MessageTag, wire::method::Push, input);
    const int code = judge(result);
    if (code != status::Ok)
        return code;
    const QVariantMap &answer = result.output.values;
    if (line.isSet(JsonOption)) {
        printRaw(compact(toJson(answer)));
        return code;
    }
    print(printable(answer.value(key::MsgId).toString()));
    if (!answer.value(wire::Shown).toBool())
        complain(QStringLiteral("stored, but not shown: %1").arg(printable(answer.value(wire::ShowError).toString())));
    return code;
}

int runList(const QStringList &arguments)
{
    const QString all = QStringLiteral("all");
    CommandLine line({QStringLiteral("message"), QStringLiteral("list")},
                     QStringLiteral("Lists the stored messages, newest first, with their state and receipts."));
    line.addOption(all, QStringLiteral("Deleted messages too."));
    line.addOption(JsonOption, QStringLiteral("Prints a JSON array."));
    if (const auto done = line.parse(arguments, 0, 0))
        return *done;
    link::ServiceConnection connection;
    const rpc::Bag input{{{wire::All, line.isSet(all)}}, {}};
    const auto result = link::callPaged(connection, wire::MessageTag, wire::method::List, input);
    const int code = judge(result);
    if (code != status::Ok)
        return code;
    if (line.isSet(JsonOption))
        printRaw(QJsonDocument(toJson(QVariant(result.output.list)).toArray()).toJson(QJsonDocument::Compact));
    else if (result.output.list.isEmpty())
        print(QStringLiteral("no messages"));
    else
        print(messageTable(result.output.list));
    return code;
}

int runShow(const QStringList &arguments)
{
    CommandLine line({QStringLiteral("message"), QStringLiteral("show")},
                     QStringLiteral("Shows everything that is stored about one message."));
    line.addArgument(QStringLiteral("ID"), QStringLiteral("Identity of the message."));
    line.addOption(JsonOption, QStringLiteral("Prints a JSON object."));
    if (const auto done = line.parse(arguments, 1, 1))
        return *done;
    link::ServiceConnection connection;
    const auto result = link::callPaged(connection, wire::MessageTag, wire::method::List, {{{wire::All, true}}, {}});
    const int code = judge(result);
    if (code != status::Ok)
        return code;
    for (const QVariant &entry : result.output.list) {
        const QVariantMap record = entry.toMap();
        if (record.value(key::MsgId).toString() != line.arguments().first())
            continue;
        if (line.isSet(JsonOption))
            printRaw(compact(toJson(record)));
        else
            print(messageDetails(record));
        return code;
    }
    complain(QStringLiteral("no message \"%1\"").arg(line.arguments().first()));
    return status::Refused;
}

// The records of an import file: an array of objects, or an object that holds it as "messages".
bool readRecords(const QByteArray &text, QJsonArray *records, QString *error)
{
    QJsonDocument document;
    if (!parseJson(text, &document, error))
        return false;
    const QJsonValue array =
        document.isArray() ? QJsonValue(document.array()) : document.object().value(QStringLiteral("messages"));
    if (!array.isArray()) {
        *error = QStringLiteral("/: an array of messages is wanted");
        return false;
    }
    *records = array.toArray();
    return true;
}

// Cuts the records into pieces that one call can carry.
bool toChunks(const QJsonArray &records, QList<QVariantList> *chunks, QString *error)
{
    int bytes = 0;
    int index = 0;
    for (const QJsonValue record : records) {
        const QString place = QStringLiteral("/%1").arg(index++);
        if (!record.isObject()) {
            *error = QStringLiteral("%1: an object is wanted").arg(place);
            return false;
        }
        const int size = compact(record.toObject()).size();
        if (chunks->isEmpty() || chunks->last().size() >= ChunkRecords || bytes + size > ChunkBytes) {
            chunks->append(QVariantList());
            bytes = 0;
        }
        bytes += size;
        chunks->last().append(QVariant());
        if (!parseValue(record, place, &chunks->last().last(), error))
            return false;
    }
    return true;
}

int sendChunks(const QList<QVariantList> &chunks)
{
    link::ServiceConnection connection;
    int stored = 0;
    for (const QVariantList &chunk : chunks) {
        const auto result = connection.call(wire::MessageTag, wire::method::Import, {{{wire::First, stored}}, chunk});
        const int code = judge(result);
        if (code != status::Ok) {
            complain(QStringLiteral("the first %1 messages are stored, the others are not").arg(stored));
            return code;
        }
        stored += chunk.size();
    }
    print(QStringLiteral("stored: %1 messages").arg(stored));
    return status::Ok;
}

int runImport(const QStringList &arguments)
{
    CommandLine line({QStringLiteral("message"), QStringLiteral("import")},
                     QStringLiteral("Stores the messages of a JSON array without showing them. An object has the keys "
                                    "of a record: MsgId, MsgTitle, MsgContent, MsgDateTime, LinkText, LinkAdress, "
                                    "PicFilePath, unRead, ...\nThe output of \"message list --json\" is taken too."));
    line.addArgument(QStringLiteral("FILE"), QStringLiteral("File to read, - for the standard input."),
                     QStringLiteral("FILE | -"));
    if (const auto done = line.parse(arguments, 1, 1))
        return *done;
    const QString file = line.arguments().first();
    QByteArray text;
    QString error;
    if (!readArgument(file == QLatin1String("-") ? file : QLatin1Char('@') + file, &text, &error)) {
        complain(error);
        return status::WrongUsage;
    }
    QJsonArray records;
    QList<QVariantList> chunks;
    if (!readRecords(text, &records, &error) || !toChunks(records, &chunks, &error)) {
        complain(QStringLiteral("wrong JSON at %1").arg(error));
        return status::WrongUsage;
    }
    return sendChunks(chunks);
}

int runClear(const QStringList &arguments)
{
    CommandLine line({QStringLiteral("message"), QStringLiteral("clear")},
                     QStringLiteral("Removes every message and receipt from the store, for good."));
    if (const auto done = line.parse(arguments, 0, 0))
        return *done;
    link::ServiceConnection connection;
    const auto result = connection.call(wire::MessageTag, wire::method::Clear, {});
    const int code = judge(result);
    if (code == status::Ok)
        print(QStringLiteral("removed: %1 messages").arg(result.output.values.value(wire::Removed).toInt()));
    return code;
}

} // namespace

int runMessage(const QStringList &arguments)
{
    const QString command = arguments.value(0);
    const QStringList rest = arguments.mid(1);
    if (command == QLatin1String("push"))
        return runPush(rest);
    if (command == QLatin1String("list"))
        return runList(rest);
    if (command == QLatin1String("show"))
        return runShow(rest);
    if (command == QLatin1String("import"))
        return runImport(rest);
    if (command == QLatin1String("clear"))
        return runClear(rest);

    CommandLine line({QStringLiteral("message")}, QStringLiteral("Drives the message service.\n\nCommands:\n"
                                                                 "  push     stores a message and shows it\n"
                                                                 "  list     lists the stored messages\n"
                                                                 "  show     shows one message with its receipts\n"
                                                                 "  import   stores the messages of a JSON file\n"
                                                                 "  clear    removes all messages\n\n"
                                                                 "\"tarnctl message COMMAND --help\" tells more."));
    line.addArgument(QStringLiteral("COMMAND"), QStringLiteral("push, list, show, import or clear"));
    if (const auto done = line.parse(arguments, 1, 1000))
        return *done;
    complain(QStringLiteral("unknown command \"%1\" (see \"tarnctl message --help\")").arg(command));
    return status::WrongUsage;
}

} // namespace tarn::cli
