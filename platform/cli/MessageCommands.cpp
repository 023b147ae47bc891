#include "cli/JsonBag.h"
#include "cli/Output.h"
#include "cli/Service.h"
#include "tarn/keys/MessageKeys.h"
#include <QDateTime>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QUuid>

namespace tarn::cli {

using namespace message;
namespace wire = link::wire;
namespace detail = link::wire::detail;

namespace {

constexpr int ChunkRecords = 500; // an import is sent in pieces that one call can carry
constexpr int ChunkBytes = 1024 * 1024;
constexpr int NameWidth = 11; // of a detail
constexpr int PreviewChars = 60;

const QString AllOption = QStringLiteral("all");
const QString YesOption = QStringLiteral("yes");

struct PushOption
{
    Option option;
    QString key;
};

const QList<PushOption> &pushOptions()
{
    static const QString text = "text";
    static const QList<PushOption> options{
        {{"title", "Title line.", text}, key::MsgTitle},
        {{"content", "Body; may hold rich text.", text}, key::MsgContent},
        {{"link", "Target of the link.", "url"}, key::LinkAdress},
        {{"link-text", "Text of the link.", text}, key::LinkText},
        {{"picture", "Picture shown with the message.", "file"}, key::PicFilePath},
        {{"unread", "Number on the pop-up's badge; by default the number of unread messages.", "number"},
         key::unReadNum},
        {{"id", "Identity; a new one by default.", "id"}, key::MsgId},
        {{"time", "Time of the message, \"yyyy-MM-dd[ hh:mm:ss]\"; now by default.", text}, key::MsgDateTime},
    };
    return options;
}

QVariant readPushOption(const PushOption &option, const QString &text)
{
    const auto wrong = [&](const QString &expected) {
        return wrongUsage(QStringLiteral("--%1: expected %2, not \"%3\"").arg(option.option.name, expected, text));
    };
    if (option.key == key::unReadNum) {
        bool valid = false;
        const int number = text.toInt(&valid);
        if (!valid || number < 0)
            throw wrong(QStringLiteral("a number of 0 or more"));
        return number;
    }
    if (option.key == key::MsgDateTime) {
        const QString pattern = QStringLiteral("yyyy-MM-dd hh:mm:ss");
        if (!QDate::fromString(text, pattern.left(10)).isValid() && !QDateTime::fromString(text, pattern).isValid())
            throw wrong(QStringLiteral("a time \"yyyy-MM-dd[ hh:mm:ss]\""));
    }
    if (option.key == key::PicFilePath && !text.isEmpty()) {
        const QFileInfo picture(text);
        if (!picture.isFile() || !picture.isReadable())
            throw wrong(QStringLiteral("a file that can be read"));
        return picture.absoluteFilePath();
    }
    return text;
}

void printPushed(const rpc::CallResult &result)
{
    const QVariantMap &answer = result.output.values;
    print(printable(answer, key::MsgId));
    if (!answer.value(wire::Shown).toBool())
        complain(QStringLiteral("stored, but not shown: %1").arg(printable(answer, wire::ShowError)));
}

int runPush(const Line &line)
{
    QVariantMap values;
    for (const PushOption &each : pushOptions()) {
        if (line.isSet(each.option.name))
            values.insert(each.key, readPushOption(each, line.value(each.option.name)));
    }
    // Chosen here, so that a push that is sent twice is one message.
    if (!values.contains(key::MsgId))
        values.insert(key::MsgId, QUuid::createUuid().toString(QUuid::WithoutBraces));
    return ask({MessageService, wire::method::Push, values}, line, {printPushed});
}

QString stateOf(const QVariantMap &record)
{
    QStringList states{record.value(key::unRead).toBool() ? QStringLiteral("unread") : QStringLiteral("read")};
    if (!record.value(detail::DeletedTime).toString().isEmpty())
        states.append(QStringLiteral("deleted"));
    if (!record.value(detail::IgnoredTime).toString().isEmpty())
        states.append(QStringLiteral("ignored"));
    return states.join(QLatin1Char(','));
}

QString receiptName(const QVariant &receipt)
{
    static const QMap<int, QString> kinds{{receipt::Read, "read"}, {receipt::Clicked, "clicked"}};
    const int kind = receipt.toMap().value(key::MessageReceipt).toInt();
    return kinds.value(kind, QString::number(kind));
}

QString receiptsOf(const QVariantMap &record)
{
    QStringList names;
    for (const QVariant &receipt : record.value(detail::Receipts).toList())
        names.append(receiptName(receipt));
    names.removeDuplicates();
    return names.isEmpty() ? QStringLiteral("-") : names.join(QLatin1Char(','));
}

void printMessages(const rpc::CallResult &result)
{
    QList<QStringList> rows{{"ID", "TIME", "STATE", "RECEIPTS", "TITLE"}};
    for (const QVariant &entry : result.output.list) {
        const QVariantMap record = entry.toMap();
        const QString title = record.value(key::MsgTitle).toString();
        rows.append({record.value(key::MsgId).toString(), record.value(key::MsgDateTime).toString(), stateOf(record),
                     receiptsOf(record),
                     title.isEmpty() ? record.value(key::MsgContent).toString().left(PreviewChars) : title});
    }
    print(rows.size() == 1 ? QStringLiteral("no messages") : table(rows));
}

QVariantMap selection(const Line &line)
{
    return {{wire::All, line.isSet(AllOption)}};
}

QString receiptText(const QVariantMap &receipt)
{
    QString text = receiptName(receipt) + QLatin1Char(' ') + receipt.value(detail::FirstTime).toString();
    const int count = receipt.value(detail::Count).toInt();
    if (count > 1)
        text += QStringLiteral(", last %1, %2 times").arg(receipt.value(detail::LastTime).toString()).arg(count);
    const QString softName = receipt.value(key::SoftName).toString();
    return softName.isEmpty() ? text : text + QStringLiteral(", ") + softName;
}

void printDetail(const QString &name, const QString &value)
{
    if (!value.isEmpty())
        print(printable(QStringLiteral("%1:").arg(name).leftJustified(NameWidth) + value));
}

void printDetails(const QVariantMap &record)
{
    const QPair<QString, QString> stored[] = {{"id", key::MsgId},
                                              {"title", key::MsgTitle},
                                              {"time", key::MsgDateTime},
                                              {"content", key::MsgContent},
                                              {"link text", key::LinkText},
                                              {"link", key::LinkAdress},
                                              {"picture", key::PicFilePath},
                                              {"state", {}},
                                              {"stored", detail::StoredTime},
                                              {"read", detail::ReadTime},
                                              {"deleted", detail::DeletedTime},
                                              {"ignored", detail::IgnoredTime}};
    for (const auto &[name, key] : stored)
        printDetail(name, key.isEmpty() ? stateOf(record) : record.value(key).toString());
    for (const QVariant &receipt : record.value(detail::Receipts).toList())
        printDetail("receipt", receiptText(receipt.toMap()));
}

int runShow(const Line &line)
{
    const auto find = [&line](const rpc::CallResult &result) {
        for (const QVariant &record : result.output.list) { // an older service sends others too
            if (record.toMap().value(key::MsgId) == line.at(0))
                return record;
        }
        throw Failure{status::Refused, QStringLiteral("no such message: %1").arg(line.at(0))};
    };
    const auto printOne = [&find](const rpc::CallResult &result) { printDetails(find(result).toMap()); };
    const QVariantMap wanted{{wire::All, true}, {key::MsgId, line.at(0)}};
    return ask({MessageService, wire::method::List, wanted}, line, {printOne, find});
}

/// @param document an array of records, or an object that has it as "messages"
QList<QVariantList> toChunks(const QJsonDocument &document)
{
    const QJsonValue array =
        document.isArray() ? QJsonValue(document.array()) : document.object().value(QStringLiteral("messages"));
    if (!array.isArray())
        throw wrongJson(QString(), QStringLiteral("expected an array of messages"));
    const QJsonArray records = array.toArray();
    QList<QVariantList> chunks;
    int bytes = 0;
    for (int i = 0; i < records.size(); ++i) {
        const QString place = QStringLiteral("/%1").arg(i);
        if (!records.at(i).isObject())
            throw wrongJson(place, QStringLiteral("expected an object"));
        const int size = compact(records.at(i)).size();
        if (chunks.isEmpty() || chunks.last().size() >= ChunkRecords || bytes + size > ChunkBytes) {
            chunks.append(QVariantList());
            bytes = 0;
        }
        bytes += size;
        chunks.last().append(parseValue(records.at(i), place));
    }
    return chunks;
}

int runImport(const Line &line)
{
    const QString file = line.at(0);
    const QByteArray text = readArgument(file == QLatin1String("-") ? file : QLatin1Char('@') + file);
    const QList<QVariantList> chunks = toChunks(parseJson(text));
    link::ServiceConnection connection;
    int stored = 0;
    for (const QVariantList &chunk : chunks) {
        const auto result = connection.call(wire::MessageTag, wire::method::Import, {{{wire::First, stored}}, chunk});
        if (!result.accepted) {
            const Failure failure = failureOf(result, MessageService);
            complain(failure.text);
            throw Failure{failure.exitCode,
                          QStringLiteral("the first %1 messages are stored, the others are not").arg(stored)};
        }
        stored += chunk.size();
    }
    line.isSet(Json.name) ? print(compact({{wire::Imported, stored}}))
                          : print(QStringLiteral("stored: %1 messages").arg(stored));
    return status::Ok;
}

void printRemoved(const rpc::CallResult &result)
{
    print(QStringLiteral("removed: %1 messages").arg(result.output.values.value(wire::Removed).toInt()));
}

int runClear(const Line &line)
{
    if (!line.isSet(YesOption) && !confirm(QStringLiteral("Remove every message and receipt for good?")))
        throw wrongUsage(QStringLiteral("nothing is removed; --%1 answers the question").arg(YesOption));
    return ask({MessageService, wire::method::Clear}, line, {printRemoved});
}

} // namespace

QList<Command> messageCommands()
{
    QList<Option> push;
    for (const PushOption &each : pushOptions())
        push.append(each.option);
    return {
        Command("message push", "stores a message and shows it",
                "Stores a message, has the visualized service show it and prints its identity.\n"
                "Exit code 0 once it is stored, also when it cannot be shown.",
                {}, push << Json, runPush),
        Command("message list", "lists the stored messages",
                "Lists the stored messages, newest first, with their state and receipts.", {},
                {{AllOption, "Deleted messages too."}, Json},
                asks(paged(MessageService, wire::method::List), selection, {printMessages, listOf})),
        Command("message show", "shows one message with its receipts",
                "Shows everything that is stored about one message.", {{"ID", "Identity of the message."}}, {Json},
                runShow),
        Command("message import", "stores the messages of a JSON file",
                "Stores the messages of a JSON array without showing them. An object has the keys of a record: MsgId, "
                "MsgTitle, MsgContent, MsgDateTime, LinkText, LinkAdress, PicFilePath, unRead, ...\n"
                "The output of \"message list --json\" is accepted too.",
                {{"FILE", "File to read, - for the standard input.", "FILE | -"}}, {Json}, runImport),
        Command("message clear", "removes all messages",
                "Removes every message and receipt from the store for good, after a question on the terminal.", {},
                {{YesOption, "Asks no question."}, Json}, runClear),
    };
}

} // namespace tarn::cli
