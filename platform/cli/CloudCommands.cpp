#include "cli/Output.h"
#include "cli/Service.h"
#include "tarn/keys/CloudKeys.h"
#include "tarn/link/CloudWire.h"
#include <QScopeGuard>

namespace tarn::cli {

using namespace cloud;
namespace wire = link::wire;

namespace {

const QString PhoneOption = QStringLiteral("phone");
const QString WeixinOption = QStringLiteral("weixin");
const QString QqOption = QStringLiteral("qq");

QVariantMap account(const Line &line)
{
    return {{key::User, line.at(0)}};
}

int runAdd(const Line &line)
{
    QString password = readPassword();
    QVariantMap values = account(line);
    values.insert(key::Password, password);
    values.insert(key::Phone, line.value(PhoneOption));
    values.insert(wire::Weixin, line.value(WeixinOption));
    values.insert(wire::Qq, line.value(QqOption));
    const auto end = qScopeGuard([&] { wipe(&password); });
    return ask({CloudService, wire::method::AddAccount, values}, line);
}

int runLock(const Line &line)
{
    const bool on = line.at(1) == QLatin1String("on");
    if (!on && line.at(1) != QLatin1String("off"))
        throw wrongUsage(QStringLiteral("expected on or off, not \"%1\"").arg(line.at(1)));
    QVariantMap values = account(line);
    values.insert(wire::Locked, on);
    return ask({CloudService, wire::method::LockAccount, values}, line);
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

void printState(const rpc::CallResult &result)
{
    static const QMap<int, QString> names{{loginstate::SignedIn, "signed in"},
                                          {loginstate::Checking, "signing in"},
                                          {loginstate::Restored, "signed in again at the start"}};
    const QVariantMap &values = result.output.values;
    const QString state = names.value(values.value(key::LoginState).toInt(), QStringLiteral("signed out"));
    print(values.value(key::User).toString().isEmpty()
              ? state
              : QStringLiteral("%1: %2, by %3, since %4")
                    .arg(state, printable(values, key::User), printable(values, wire::Way),
                         printable(values, wire::Since)));
}

} // namespace

QList<Command> cloudCommands()
{
    const Argument name{"NAME", "Name of the account."};
    return {
        Command(
            "cloud account add", "adds an account",
            "Adds an account. Its password is read twice from the terminal without echo, or from the first line of the "
            "standard input.",
            {name},
            {{PhoneOption, "Phone for one-time codes, 11 digits.", "number"},
             {WeixinOption, "Identity on Weixin that may confirm QR codes.", "id"},
             {QqOption, "Identity on QQ that may confirm QR codes.", "id"}},
            runAdd),
        Command("cloud account remove", "removes an account",
                "Removes an account; if it is signed in, it is signed out.", {name}, {},
                asks({CloudService, wire::method::RemoveAccount}, account)),
        Command("cloud account list", "lists the accounts", {}, {}, {Json},
                asks({CloudService, wire::method::ListAccounts}, {}, eachOf(printAccount))),
        Command("cloud account lock", "locks or unlocks an account",
                "Locks an account (its sign-in is refused with code 4018) or unlocks it.",
                {name, {"on|off", "The new state."}}, {}, runLock),
        Command(
            "cloud outbox", "lists the one-time codes that were sent",
            "Lists the one-time codes that are still valid, newest first. The outbox represents the telephone network.",
            {}, {Json}, asks({CloudService, wire::method::ListOutbox}, {}, eachOf(printCode))),
        Command("cloud state", "tells who is signed in", {}, {}, {Json},
                asks({CloudService, wire::method::CloudStatus}, {}, {printState})),
        Command("cloud logout", "signs the user out", {}, {}, {}, asks({CloudService, QStringLiteral("Logout")})),
    };
}

} // namespace tarn::cli
