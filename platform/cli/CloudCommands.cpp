// "tarnctl cloud".
#include "cli/Output.h"
#include "cli/Service.h"
#include "tarn/keys/CloudKeys.h"
#include "tarn/link/CloudWire.h"

namespace tarn::cli {

using namespace cloud;
namespace wire = link::wire;

namespace {

const QString PhoneOption = QStringLiteral("phone");
const QString WeixinOption = QStringLiteral("weixin");
const QString QqOption = QStringLiteral("qq");

Query query(const QString &method, const QVariantMap &values = {})
{
    return {CloudService, method, {values, {}}};
}

QVariantMap account(const Line &line)
{
    return {{key::User, line.at(0)}};
}

int runAdd(const Line &line)
{
    QString password;
    QString error;
    if (!readPassword(&password, &error))
        return wrongUsage(error);
    QVariantMap values = account(line);
    values.insert(key::Password, password);
    values.insert(key::Phone, line.value(PhoneOption));
    values.insert(wire::Weixin, line.value(WeixinOption));
    values.insert(wire::Qq, line.value(QqOption));
    const int code = ask(query(wire::method::AddAccount, values));
    wipe(&password);
    return code;
}

int runRemove(const Line &line)
{
    return ask(query(wire::method::RemoveAccount, account(line)));
}

int runLock(const Line &line)
{
    const bool on = line.at(1) == QLatin1String("on");
    if (!on && line.at(1) != QLatin1String("off"))
        return wrongUsage(QStringLiteral("expected on or off, not \"%1\"").arg(line.at(1)));
    QVariantMap values = account(line);
    values.insert(wire::Locked, on);
    return ask(query(wire::method::LockAccount, values));
}

void printAccount(const QVariantMap &map)
{
    QString text = printable(map, key::User);
    for (const QString &way : {key::Phone, wire::Weixin, wire::Qq}) {
        if (!map.value(way).toString().isEmpty())
            text += QStringLiteral(", %1 %2").arg(way.toLower(), printable(map, way));
    }
    print(map.value(wire::Locked).toBool() ? text + QStringLiteral(", locked") : text);
}

void printCode(const QVariantMap &map)
{
    print(QStringLiteral("%1 %2 %3")
              .arg(printable(map, wire::SentTime), printable(map, key::Phone), printable(map, key::Code)));
}

int list(const Line &line, const QString &method, void (*printEntry)(const QVariantMap &))
{
    const auto printer = [printEntry](const rpc::CallResult &result) {
        for (const QVariant &entry : result.output.list)
            printEntry(entry.toMap());
    };
    return ask(query(method), line, printer, listOf);
}

int runList(const Line &line)
{
    return list(line, wire::method::ListAccounts, printAccount);
}

int runOutbox(const Line &line)
{
    return list(line, wire::method::ListOutbox, printCode);
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

int runState(const Line &line)
{
    return ask(query(wire::method::CloudStatus), line, [](const rpc::CallResult &result) {
        const QVariantMap &values = result.output.values;
        const QString state = stateName(values.value(key::LoginState).toInt());
        print(values.value(key::User).toString().isEmpty()
                  ? state
                  : QStringLiteral("%1: %2, by %3, since %4")
                        .arg(state, printable(values, key::User), printable(values, wire::Way),
                             printable(values, wire::Since)));
    });
}

int runLogout(const Line &)
{
    return ask(query(QStringLiteral("Logout")));
}

} // namespace

QList<Command> cloudCommands()
{
    const Argument name{"NAME", "Name of the account.", {}, false};
    return {
        makeCommand(
            "cloud account add", "adds an account",
            "Adds an account. Its password is read twice from the terminal without echo, or from the first line "
            "of the standard input.",
            {name},
            {{PhoneOption, "Phone for one-time codes, 11 digits.", "number"},
             {WeixinOption, "Identity that may confirm QR codes.", "id"},
             {QqOption, "Likewise.", "id"}},
            runAdd),
        makeCommand("cloud account remove", "removes an account",
                    "Removes an account; if it is signed in, it is signed out.", {name}, {}, runRemove),
        makeCommand("cloud account list", "lists the accounts", "Lists the accounts.", {}, {jsonOption()}, runList),
        makeCommand("cloud account lock", "locks or unlocks an account",
                    "Locks an account (its sign-in is refused with code 4018) or unlocks it.",
                    {name, {"on|off", "The new state.", {}, false}}, {}, runLock),
        makeCommand("cloud outbox", "lists the one-time codes that were sent",
                    "Lists the one-time codes that are still valid, newest first. The outbox represents the telephone "
                    "network.",
                    {}, {jsonOption()}, runOutbox),
        makeCommand("cloud state", "tells who is signed in", "Tells who is signed in.", {}, {jsonOption()}, runState),
        makeCommand("cloud logout", "signs the user out", "Signs the user out.", {}, {}, runLogout),
    };
}

} // namespace tarn::cli
