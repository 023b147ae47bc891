#include "cli/Command.h"
#include "cli/JsonBag.h"
#include "cli/MessageText.h"
#include "cli/UpgradeCommands.h"
#include "tarn/keys/UpgradeKeys.h"
#include "tarn/link/MessageWire.h"
#include "tarn/link/ServiceConnection.h"
#include "tarn/link/UpgradeWire.h"
#include <QJsonArray>
#include <QJsonDocument>

namespace tarn::cli {

using namespace upgrade;
namespace wire = link::wire;

namespace {

const QString JsonOption = QStringLiteral("json");

QString text(const QVariantMap &map, const QString &key)
{
    return printable(map.value(key).toString());
}

QString sectionLine(const QString &kind, const QVariantMap &section)
{
    return QStringLiteral("  %1 %2: %3 -> %4")
        .arg(kind, text(section, key::SoftwareName), text(section, key::CurrentVersion),
             text(section, key::NewVersion));
}

void printRecord(const QVariantMap &record)
{
    print(text(record, key::SoftwareName));
    for (const QString &kind : {key::Software, key::Patch, key::OldPatch}) {
        const QVariantMap section = record.value(kind).toMap();
        if (!section.isEmpty())
            print(sectionLine(kind, section));
    }
    const QVariantList plugins = record.value(key::Plugins).toList();
    for (const QVariant &plugin : plugins)
        print(sectionLine(key::Plugins, plugin.toMap()));
}

int runCheck(const QStringList &arguments)
{
    const QString list = QStringLiteral("list");
    CommandLine line({QStringLiteral("upgrade"), QStringLiteral("check")},
                     QStringLiteral("Compares the catalogue with what is installed and has the visualized service "
                                    "prompt for what is new.\nExit code 0 once it was compared, also when nothing is "
                                    "new or nobody is there to show it."));
    line.addOption(list, QStringLiteral("Prints what is new instead of showing it."));
    line.addOption(JsonOption, QStringLiteral("Prints the update records as a JSON array, and shows nothing."));
    if (const auto done = line.parse(arguments, 0, 0))
        return *done;
    const bool show = !line.isSet(list) && !line.isSet(JsonOption);
    link::ServiceConnection connection;
    const auto result = connection.call(wire::UpgradeTag, wire::method::AnnounceUpdates, {{{wire::Show, show}}, {}});
    const int code = judgeUpgrade(result);
    if (code != status::Ok)
        return code;
    if (line.isSet(JsonOption)) {
        printRaw(QJsonDocument(toJson(QVariant(result.output.list)).toArray()).toJson(QJsonDocument::Compact));
        return code;
    }
    const int offered = result.output.values.value(wire::Offered).toInt();
    print(offered == 0 ? QStringLiteral("nothing is new")
                       : QStringLiteral("products with something new: %1").arg(offered));
    if (show && offered > 0)
        printShown(result.output.values);
    if (!show) {
        for (const QVariant &record : result.output.list)
            printRecord(record.toMap());
    }
    return code;
}

int runNotes(const QStringList &arguments)
{
    CommandLine line({QStringLiteral("upgrade"), QStringLiteral("notes")},
                     QStringLiteral("Has the update notes of a product shown, also of an update that is ignored."));
    line.addArgument(QStringLiteral("PRODUCT"), QStringLiteral("Name of the product."));
    if (const auto done = line.parse(arguments, 1, 1))
        return *done;
    link::ServiceConnection connection;
    const auto result = connection.call(wire::UpgradeTag, wire::method::ShowNotes,
                                        {{{key::SoftwareName, line.arguments().constFirst()}}, {}});
    const int code = judgeUpgrade(result);
    if (code == status::Ok)
        printShown(result.output.values);
    return code;
}

void printIgnores(const QVariantList &ignores)
{
    print(QStringLiteral("ignored: %1").arg(ignores.size()));
    for (const QVariant &entry : ignores) {
        const QVariantMap map = entry.toMap();
        const QString item = text(map, wire::ignored::Item);
        print(QStringLiteral("  %1: %2 %3 %4")
                  .arg(text(map, wire::ignored::Product), text(map, wire::ignored::Kind),
                       item.isEmpty() ? item : item + QLatin1Char(' '), text(map, wire::ignored::Version)));
    }
}

int runUpgradeStatus(const QStringList &arguments)
{
    CommandLine line({QStringLiteral("upgrade"), QStringLiteral("status")},
                     QStringLiteral("Tells which updates are ignored and which tasks there are."));
    line.addOption(JsonOption, QStringLiteral("Prints a JSON object."));
    if (const auto done = line.parse(arguments, 0, 0))
        return *done;
    link::ServiceConnection connection;
    const auto result = connection.call(wire::UpgradeTag, wire::method::UpgradeStatus, {});
    const int code = judgeUpgrade(result);
    if (code != status::Ok)
        return code;
    const QVariantMap &values = result.output.values;
    if (line.isSet(JsonOption)) {
        printRaw(compact(toJson(values)));
        return code;
    }
    printIgnores(values.value(wire::Ignores).toList());
    printTasks(values.value(wire::Tasks).toList());
    return code;
}

int runForget(const QStringList &arguments)
{
    CommandLine line({QStringLiteral("upgrade"), QStringLiteral("forget")},
                     QStringLiteral("Forgets what is ignored, so that the next check offers it again."));
    line.addArgument(QStringLiteral("PRODUCT"), QStringLiteral("Name of the product; all without it."),
                     QStringLiteral("[PRODUCT]"));
    if (const auto done = line.parse(arguments, 0, 1))
        return *done;
    link::ServiceConnection connection;
    const auto result = connection.call(wire::UpgradeTag, wire::method::ForgetIgnores,
                                        {{{key::SoftwareName, line.arguments().value(0)}}, {}});
    const int code = judgeUpgrade(result);
    if (code == status::Ok)
        print(QStringLiteral("forgotten: %1").arg(result.output.values.value(wire::Removed).toInt()));
    return code;
}

} // namespace

void printShown(const QVariantMap &answer)
{
    print(answer.value(wire::Shown).toBool() ? QStringLiteral("shown: yes")
                                             : QStringLiteral("shown: no, %1").arg(text(answer, wire::ShowError)));
}

int runUpgrade(const QStringList &arguments)
{
    const QString command = arguments.value(0);
    const QStringList rest = arguments.mid(1);
    if (command == QLatin1String("check"))
        return runCheck(rest);
    if (command == QLatin1String("notes"))
        return runNotes(rest);
    if (command == QLatin1String("status"))
        return runUpgradeStatus(rest);
    if (command == QLatin1String("forget"))
        return runForget(rest);
    if (command == QLatin1String("start"))
        return runUpgradeStart(rest);
    if (command == QLatin1String("stop"))
        return runUpgradeStop(rest);
    if (command == QLatin1String("install"))
        return runUpgradeInstall(rest);
    if (command == QLatin1String("silent"))
        return runUpgradeSilent(rest);
    if (command == QLatin1String("tasks"))
        return runUpgradeTasks(rest);

    CommandLine line({QStringLiteral("upgrade")}, QStringLiteral("Drives the upgrade service.\n\nCommands:\n"
                                                                 "  check    looks for updates and shows the prompt\n"
                                                                 "  notes    shows the update notes of a product\n"
                                                                 "  status   lists ignored updates and tasks\n"
                                                                 "  forget   offers ignored updates again\n"
                                                                 "  start    downloads what is offered for a product\n"
                                                                 "  stop     ends a product's task\n"
                                                                 "  install  installs what is downloaded\n"
                                                                 "  silent   patches a product without questions\n"
                                                                 "  tasks    lists downloads and installations\n\n"
                                                                 "\"tarnctl upgrade COMMAND --help\" tells more."));
    line.addArgument(QStringLiteral("COMMAND"), QStringLiteral("one of those above"));
    if (const auto done = line.parse(arguments, 1, 1000))
        return *done;
    complain(QStringLiteral("unknown command \"%1\" (see \"tarnctl upgrade --help\")").arg(command));
    return status::WrongUsage;
}

} // namespace tarn::cli
