#include "cli/Command.h"
#include "cli/JsonBag.h"
#include "cli/MessageText.h"
#include "cli/PasswordInput.h"
#include "tarn/keys/CloudKeys.h"
#include "tarn/link/CloudWire.h"
#include "tarn/link/MessageWire.h"
#include "tarn/link/ServiceConnection.h"
#include <QJsonArray>
#include <QJsonDocument>

namespace tarn::cli {

using namespace cloud;
namespace wire = link::wire;

namespace {

const QString JsonOption = QStringLiteral("json");

QString text(const QVariantMap &map, const QString &key)
{
    return printable(map.value(key).toString());
}

// Prints why a call did not go well. @return the exit code
int callCloud(const QString &method, const QVariantMap &values, rpc::CallResult *result = nullptr)
{
    link::ServiceConnection connection;
    const auto answer = connection.call(wire::CloudTag, method, {values, {}});
    if (result)
        *result = answer;
    return judge(answer, cloudService());
}

void printList(const QVariantList &list, bool asJson, QString (*line)(const QVariantMap &))
{
    if (asJson) {
        printRaw(QJsonDocument(toJson(QVariant(list)).toArray()).toJson(QJsonDocument::Compact));
        return;
    }
    for (const QVariant &entry : list)
        print(line(entry.toMap()));
}

// A command without arguments that prints a list.
int runList(const QStringList &words, const QString &description, const QStringList &arguments, const QString &method,
            QString (*entryLine)(const QVariantMap &))
{
    CommandLine line(QStringList{QStringLiteral("cloud")} + words, description);
    line.addOption(JsonOption, QStringLiteral("Prints a JSON array."));
    if (const auto done = line.parse(arguments, 0, 0))
        return *done;
    rpc::CallResult result;
    const int code = callCloud(method, {}, &result);
    if (code == status::Ok)
        printList(result.output.list, line.isSet(JsonOption), entryLine);
    return code;
}

QString accountLine(const QVariantMap &account)
{
    QString line = text(account, key::User);
    for (const QString &way : {key::Phone, wire::Weixin, wire::Qq}) {
        if (!account.value(way).toString().isEmpty())
            line += QStringLiteral(", %1 %2").arg(way.toLower(), text(account, way));
    }
    return account.value(wire::Locked).toBool() ? line + QStringLiteral(", locked") : line;
}

QString outboxLine(const QVariantMap &entry)
{
    return QStringLiteral("%1 %2 %3").arg(text(entry, wire::SentTime), text(entry, key::Phone), text(entry, key::Code));
}

int runAccountAdd(const QStringList &arguments)
{
    const QString phone = QStringLiteral("phone");
    const QString weixin = QStringLiteral("weixin");
    const QString qq = QStringLiteral("qq");
    CommandLine line({QStringLiteral("cloud"), QStringLiteral("account"), QStringLiteral("add")},
                     QStringLiteral("Adds an account. Its password is asked for on the terminal without echo, or is "
                                    "the first line of the standard input."));
    line.addArgument(QStringLiteral("NAME"), QStringLiteral("Name of the account."));
    line.addOption(phone, QStringLiteral("Phone for one-time codes, 11 digits."), QStringLiteral("number"));
    line.addOption(weixin, QStringLiteral("Identity that may confirm QR codes."), QStringLiteral("id"));
    line.addOption(qq, QStringLiteral("Likewise."), QStringLiteral("id"));
    if (const auto done = line.parse(arguments, 1, 1))
        return *done;
    QString password;
    QString error;
    if (!readPassword(&password, &error)) {
        complain(error);
        return status::WrongUsage;
    }
    const int code = callCloud(wire::method::AddAccount, {{key::User, line.arguments().constFirst()},
                                                          {key::Password, password},
                                                          {key::Phone, line.value(phone)},
                                                          {wire::Weixin, line.value(weixin)},
                                                          {wire::Qq, line.value(qq)}});
    wipe(&password);
    return code;
}

int runAccountRemove(const QStringList &arguments)
{
    CommandLine line({QStringLiteral("cloud"), QStringLiteral("account"), QStringLiteral("remove")},
                     QStringLiteral("Removes an account; if it is signed in, it is signed out."));
    line.addArgument(QStringLiteral("NAME"), QStringLiteral("Name of the account."));
    if (const auto done = line.parse(arguments, 1, 1))
        return *done;
    return callCloud(wire::method::RemoveAccount, {{key::User, line.arguments().constFirst()}});
}

int runAccountLock(const QStringList &arguments)
{
    CommandLine line({QStringLiteral("cloud"), QStringLiteral("account"), QStringLiteral("lock")},
                     QStringLiteral("Locks an account (its sign-in is refused with code 4018) or unlocks it."));
    line.addArgument(QStringLiteral("NAME"), QStringLiteral("Name of the account."));
    line.addArgument(QStringLiteral("on|off"), QStringLiteral("What it shall be."));
    if (const auto done = line.parse(arguments, 2, 2))
        return *done;
    const QString wanted = line.arguments().at(1);
    if (wanted != QLatin1String("on") && wanted != QLatin1String("off")) {
        complain(QStringLiteral("\"%1\": on or off is wanted").arg(wanted));
        return status::WrongUsage;
    }
    return callCloud(wire::method::LockAccount,
                     {{key::User, line.arguments().constFirst()}, {wire::Locked, wanted == QLatin1String("on")}});
}

int runAccountList(const QStringList &arguments)
{
    return runList({QStringLiteral("account"), QStringLiteral("list")}, QStringLiteral("Lists the accounts."),
                   arguments, wire::method::ListAccounts, accountLine);
}

int runAccount(const QStringList &arguments)
{
    return runGroup({QStringLiteral("cloud"), QStringLiteral("account")}, QStringLiteral("Manages the accounts."),
                    {{QStringLiteral("add"), QStringLiteral("adds an account"), runAccountAdd},
                     {QStringLiteral("remove"), QStringLiteral("removes an account"), runAccountRemove},
                     {QStringLiteral("list"), QStringLiteral("lists the accounts"), runAccountList},
                     {QStringLiteral("lock"), QStringLiteral("locks or unlocks an account"), runAccountLock}},
                    arguments);
}

int runOutbox(const QStringList &arguments)
{
    return runList({QStringLiteral("outbox")},
                   QStringLiteral("Lists the one-time codes that are still valid, newest first. The outbox stands in "
                                  "for the telephone network."),
                   arguments, wire::method::ListOutbox, outboxLine);
}

QString stateName(int state)
{
    switch (state) {
    case wire::loginState::SignedIn:
        return QStringLiteral("signed in");
    case wire::loginState::SigningIn:
        return QStringLiteral("signing in");
    case wire::loginState::SignedInAgain:
        return QStringLiteral("signed in again at the start");
    default:
        return QStringLiteral("signed out");
    }
}

int runState(const QStringList &arguments)
{
    CommandLine line({QStringLiteral("cloud"), QStringLiteral("state")}, QStringLiteral("Tells who is signed in."));
    line.addOption(JsonOption, QStringLiteral("Prints a JSON object."));
    if (const auto done = line.parse(arguments, 0, 0))
        return *done;
    rpc::CallResult result;
    const int code = callCloud(wire::method::CloudStatus, {}, &result);
    if (code != status::Ok)
        return code;
    const QVariantMap &values = result.output.values;
    if (line.isSet(JsonOption)) {
        printRaw(compact(toJson(values)));
        return code;
    }
    const QString state = stateName(values.value(key::LoginState).toInt());
    print(values.value(key::User).toString().isEmpty()
              ? state
              : QStringLiteral("%1: %2, by %3, since %4")
                    .arg(state, text(values, key::User), text(values, wire::Way), text(values, wire::Since)));
    return code;
}

int runLogout(const QStringList &arguments)
{
    CommandLine line({QStringLiteral("cloud"), QStringLiteral("logout")}, QStringLiteral("Signs the user out."));
    if (const auto done = line.parse(arguments, 0, 0))
        return *done;
    return callCloud(QStringLiteral("Logout"), {});
}

} // namespace

int runCloud(const QStringList &arguments)
{
    return runGroup({QStringLiteral("cloud")}, QStringLiteral("Drives the cloud account service."),
                    {{QStringLiteral("account"), QStringLiteral("adds, removes, lists and locks accounts"), runAccount},
                     {QStringLiteral("outbox"), QStringLiteral("lists the one-time codes that were sent"), runOutbox},
                     {QStringLiteral("state"), QStringLiteral("tells who is signed in"), runState},
                     {QStringLiteral("logout"), QStringLiteral("signs the user out"), runLogout}},
                    arguments);
}

} // namespace tarn::cli
