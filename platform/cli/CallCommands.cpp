#include "cli/JsonBag.h"
#include "cli/Output.h"
#include "cli/Service.h"
#include "tarn/binding/LoginNotify.h"
#include "tarn/binding/Operations.h"
#include "tarn/cloud/ICloudLoginNotify.h"
#include "tarn/keys/CloudKeys.h"
#include "tarn/rpc/HubPort.h"
#include "tarn/rpc/Skeletons.h"
#include <QDeadlineTimer>
#include <QJsonArray>
#include <QSemaphore>
#include <algorithm>

namespace tarn::cli {

namespace {

constexpr int NameWidth = 30;    // of the list of operations
constexpr int DefaultWait = 600; // s
constexpr int LookMs = 500;
constexpr int ShowMs = 15000;       // until the dialog must have been seen
constexpr int AnswerTimeout = 3000; // ms
constexpr int NoticeMs = 3000;      // between the dialog's end and the notice of a sign-in

const QString SignIn = QStringLiteral("ShowCloudLogin");
const QString List = QStringLiteral("list");
const QString Wait = QStringLiteral("wait");
const QString Timeout = QStringLiteral("timeout");
const QString Parent = QStringLiteral("parent");
const QString RecordsKey = QStringLiteral("$list");

const binding::Operation *findOperation(const QString &name)
{
    const auto &table = binding::visualizedOperations();
    const auto it = std::find_if(table.cbegin(), table.cend(), [&](const auto &each) { return each.name == name; });
    return it == table.cend() ? nullptr : &*it;
}

QString shownName(const binding::OperationKey &key)
{
    return key.name.isEmpty() ? RecordsKey : key.name;
}

QString keyLines(const QString &title, const QVector<binding::OperationKey> &keys)
{
    QString text = keys.isEmpty() ? QString() : QStringLiteral("\n%1:\n").arg(title);
    for (const binding::OperationKey &key : keys)
        text +=
            QStringLiteral("  %1 (%2%3): %4\n")
                .arg(shownName(key), key.type, key.required ? QStringLiteral(", required") : QString(), key.meaning);
    return text;
}

QString operationHelp(const Line &line)
{
    const binding::Operation *operation = findOperation(line.at(0));
    if (!operation)
        return {};
    QString text =
        QStringLiteral("Usage: tarnctl call %1 [JSON | @file | -]\n%2\n").arg(operation->name, operation->summary) +
        keyLines(QStringLiteral("Input"), operation->input) + keyLines(QStringLiteral("Output"), operation->output);
    const bool takesRecords = std::any_of(operation->input.cbegin(), operation->input.cend(),
                                          [](const auto &key) { return key.name.isEmpty(); });
    for (const binding::Record &record : takesRecords ? binding::visualizedRecords() : QVector<binding::Record>())
        text += keyLines(QStringLiteral("A %1").arg(record.name), record.keys);
    return text.trimmed();
}

int printOperations()
{
    print(QStringLiteral("OPERATION").leftJustified(NameWidth) + QStringLiteral("MEANING"));
    for (const binding::Operation &operation : binding::visualizedOperations())
        print(operation.name.leftJustified(NameWidth) + operation.summary);
    return status::Ok;
}

bool hasType(const QVariant &value, const QString &type)
{
    static const QMap<QString, QVector<int>> types{{"bool", {QMetaType::Bool}},
                                                   {"int", {QMetaType::Int}},
                                                   {"u64", {QMetaType::ULongLong, QMetaType::Int}},
                                                   {"rect", {QMetaType::QRect}},
                                                   {"string", {QMetaType::QString, QMetaType::Int}}}; // read as a text
    const bool negative = type == QLatin1String("u64") && value.userType() == QMetaType::Int && value.toInt() < 0;
    return !negative && (!types.contains(type) || types.value(type).contains(value.userType()));
}

void warn(const QString &text)
{
    complain(QStringLiteral("warning: %1").arg(text));
}

// The service ignores a mistyped key and accepts the call, so the warning is printed here.
void checkInput(const binding::Operation &operation, const rpc::Bag &input)
{
    QStringList known;
    for (const binding::OperationKey &key : operation.input) {
        known << key.name;
        const QVariant value = input.values.value(key.name);
        if (key.name.isEmpty() ? key.required && input.list.isEmpty() : key.required && !value.isValid())
            warn(QStringLiteral("\"%1\" is missing: %2").arg(shownName(key), key.meaning));
        if (value.isValid() && !hasType(value, key.type))
            warn(QStringLiteral("expected a value of the type %1 in \"%2\"").arg(key.type, key.name));
    }
    for (const QString &name : input.values.keys()) {
        if (!known.contains(name))
            warn(QStringLiteral("unknown key \"%1\" (see \"tarnctl call %2 --help\")").arg(name, operation.name));
    }
}

QByteArray quoted(const QString &text)
{
    const QByteArray array = compact(QJsonArray{text});
    return array.mid(1, array.size() - 2);
}

// Written by hand, since a JSON object would sort its keys.
QByteArray answerLine(const rpc::CallResult &result)
{
    QByteArray line = "{\"accepted\":" + QByteArray(result.accepted ? "true" : "false") +
                      ",\"retCode\":" + QByteArray::number(result.retCode) + ",\"error\":" + quoted(result.errorText) +
                      ",\"values\":" + compact(toJson(result.output.values));
    if (!result.output.list.isEmpty())
        line += ",\"list\":" + compact(toJson(QVariant(result.output.list)));
    return line + '}';
}

int call(link::ServiceConnection &connection, const QString &operation, const rpc::Bag &input)
{
    const auto result = connection.call(visualized::DefaultTag, operation, input);
    if (!result.arrived())
        throw failureOf(result, VisualizedService);
    print(answerLine(result));
    return result.accepted ? status::Ok : status::Refused;
}

class Notify final : public ICloudLoginNotify
{
public:
    void AfterLogin() override { m_calls.release(); } // on an RPC thread
    bool wasCalled(int waitMs) { return m_calls.tryAcquire(1, waitMs); }

private:
    QSemaphore m_calls;
};

// Waits until the notify object is called, and prints its call. Gives up when no dialog is seen within 15 seconds, when it
// has been closed without a sign-in, when the visualized service ends, or after so many seconds.
int wait(Notify &notify, link::ServiceConnection &connection, int seconds)
{
    const QDeadlineTimer deadline(static_cast<qint64>(seconds) * 1000);
    const QDeadlineTimer showDeadline(ShowMs);
    bool wasOpen = false;
    bool wasSeen = false;
    while (!notify.wasCalled(LookMs)) {
        const auto answer =
            connection.call(visualized::DefaultTag, QStringLiteral("QueryYunLoginDialogState"), {}, AnswerTimeout);
        if (!answer.arrived() && answer.error.code != rpc::RpcError::Timeout)
            throw failureOf(answer, VisualizedService);
        const bool isOpen = answer.arrived() ? answer.output.values.value(cloud::key::DialogExists).toBool() : wasOpen;
        if (wasOpen && !isOpen) {
            if (notify.wasCalled(NoticeMs))
                break;
            throw Failure{status::Refused, QStringLiteral("the dialog was closed without a sign-in")};
        }
        wasOpen = isOpen;
        wasSeen |= isOpen;
        if (!wasSeen && answer.arrived() && showDeadline.hasExpired())
            throw Failure{status::Refused,
                          QStringLiteral("no dialog was shown; is the user signed in already? tarnctl cloud state")};
        if (deadline.hasExpired())
            throw Failure{status::Refused, QStringLiteral("no sign-in within %1 seconds").arg(seconds)};
    }
    print(QStringLiteral("AfterLogin"));
    return status::Ok;
}

// Calls the sign-in with a notify object of this program and waits for its end.
int callAndWait(const QString &operation, rpc::Bag input, int seconds)
{
    QString error;
    rpc::Rpc core;
    const quint16 port = rpc::hubPort(&error);
    const auto notify = QSharedPointer<Notify>::create();
    const bool connected = port != 0 && core.init({{rpc::keys::Port, QString::number(port)}});
    const auto adapter = connected ? core.createAdapter(QStringLiteral("tarnctl")) : nullptr;
    rpc::ObjectRef reference;
    if (adapter && adapter->active())
        reference = rpc::bindCallback(*adapter, std::any(QSharedPointer<ICloudLoginNotify>(notify)),
                                      binding::LoginNotifyInterface);
    if (reference.isNull()) {
        const QString reason = port == 0 ? error : QString::fromStdString(rpc::getRpcLastError().message);
        throw Failure{status::NoTransport, QStringLiteral("%1; start \"visualized-host\"").arg(reason)};
    }
    input.values.insert(binding::NotifyKey, QVariant::fromValue(reference));
    link::ServiceConnection connection;
    const int code = call(connection, operation, input);
    return code == status::Ok ? wait(*notify, connection, seconds) : code;
}

// Takes the options of the sign-in. @return the seconds to wait, 0 for not at all
int readOptions(const Line &line, rpc::Bag *input)
{
    for (const QString &option : {Wait, Timeout, Parent}) {
        if (line.isSet(option) && line.at(0) != SignIn)
            throw wrongUsage(QStringLiteral("--%1 is for %2 only").arg(option, SignIn));
    }
    bool valid = true;
    if (line.isSet(Parent))
        input->values.insert(cloud::key::ParentWindow, line.value(Parent).toULongLong(&valid, 0));
    if (!valid)
        throw wrongUsage(
            QStringLiteral("--%1: expected the number of a window, not \"%2\"").arg(Parent, line.value(Parent)));
    if (line.isSet(Timeout) && !line.isSet(Wait))
        throw wrongUsage(QStringLiteral("--%1 has no meaning without --%2").arg(Timeout, Wait));
    const int wait = line.isSet(Timeout) ? line.value(Timeout).toInt(&valid) : DefaultWait;
    if (!valid || wait <= 0)
        throw wrongUsage(
            QStringLiteral("--%1: expected a number of seconds, not \"%2\"").arg(Timeout, line.value(Timeout)));
    return line.isSet(Wait) ? wait : 0;
}

int runCall(const Line &line)
{
    if (line.isSet(List))
        return printOperations();
    const QString name = line.at(0);
    if (name.isEmpty())
        throw wrongUsage(QStringLiteral("the argument OPERATION is missing (see \"tarnctl call --list\")"));
    rpc::Bag input = parseBag(line.at(1).isEmpty() ? QByteArray("{}") : readArgument(line.at(1)));
    const int seconds = readOptions(line, &input);
    if (const binding::Operation *operation = findOperation(name))
        checkInput(*operation, input);
    else
        warn(QStringLiteral("unknown operation \"%1\" (see \"tarnctl call --list\")").arg(name));
    if (seconds > 0)
        return callAndWait(name, input, seconds);
    link::ServiceConnection connection;
    return call(connection, name, input);
}

} // namespace

QList<Command> callCommands()
{
    Command call(
        "call", "calls an operation of the visualized service",
        "Calls one operation of the visualized service and prints its answer as JSON.\n"
        "A rect is {\"$rect\":[x,y,width,height]}, an unsigned 64-bit number {\"$u64\":\"...\"}; the list of records "
        "is in \"$list\".\n"
        "\"tarnctl call OPERATION --help\" shows the keys of one operation.\n"
        "Exit code: 0 accepted, 1 refused or the answer cannot be written, 2 wrong usage, 3 not reached.",
        {{"OPERATION", "Name of the operation, e.g. ShowNotifyMessage.", {}, true},
         {"JSON", "The input, a JSON object; @file reads it from a file, - from the standard input. Empty by default.",
          "[JSON | @file | -]", true}},
        {{List, "Lists the operations."},
         {Wait, "ShowCloudLogin: serves a notify object, waits until the user has signed in and prints its call. Exit "
                "code 1 when no dialog is shown or the user closes it."},
         {Timeout, QStringLiteral("With --wait: the limit, %1 by default.").arg(DefaultWait), "seconds"},
         {Parent, "The caller's window, its X11 id (0x... or decimal).", "window"}},
        runCall);
    call.helpOn = operationHelp;
    return {call};
}

} // namespace tarn::cli
