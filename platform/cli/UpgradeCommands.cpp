// "tarnctl upgrade".
#include "cli/Output.h"
#include "cli/Service.h"
#include "tarn/keys/UpgradeKeys.h"
#include "tarn/link/UpgradeWire.h"

namespace tarn::cli {

using namespace upgrade;
namespace wire = link::wire;

namespace {

constexpr int LongMs = 3600'000; // an installation

const QString ListOption = QStringLiteral("list");
const QString KillOption = QStringLiteral("kill-running");

Query query(const QString &method, const QVariantMap &values, int timeoutMs = link::ServiceConnection::DefaultTimeout)
{
    return {UpgradeService, method, {values, {}}, timeoutMs};
}

QVariantMap product(const Line &line)
{
    return {{key::SoftwareName, line.at(0)}};
}

void printShown(const QVariantMap &answer)
{
    print(answer.value(wire::Shown).toBool() ? QStringLiteral("shown: yes")
                                             : QStringLiteral("shown: no, %1").arg(printable(answer, wire::ShowError)));
}

void printSection(const QString &kind, const QVariantMap &section)
{
    print(QStringLiteral("  %1 %2: %3 -> %4")
              .arg(kind, printable(section, key::SoftwareName), printable(section, key::CurrentVersion),
                   printable(section, key::NewVersion)));
}

void printRecord(const QVariantMap &record)
{
    print(printable(record, key::SoftwareName));
    for (const QString &kind : {key::Software, key::Patch, key::OldPatch}) {
        const QVariantMap section = record.value(kind).toMap();
        if (!section.isEmpty())
            printSection(kind, section);
    }
    for (const QVariant &plugin : record.value(key::Plugins).toList())
        printSection(key::Plugins, plugin.toMap());
}

int runCheck(const Line &line)
{
    const bool show = !line.isSet(ListOption) && !line.isSet(jsonOption().name);
    const auto printer = [show](const rpc::CallResult &result) {
        const int offered = result.output.values.value(wire::Offered).toInt();
        print(offered == 0 ? QStringLiteral("nothing is new")
                           : QStringLiteral("products with something new: %1").arg(offered));
        if (show && offered > 0)
            printShown(result.output.values);
        for (const QVariant &record : show ? QVariantList() : result.output.list)
            printRecord(record.toMap());
    };
    return ask(query(wire::method::AnnounceUpdates, {{wire::Show, show}}), line, printer, listOf);
}

int runNotes(const Line &line)
{
    return ask(query(wire::method::ShowNotes, product(line)), line,
               [](const rpc::CallResult &result) { printShown(result.output.values); });
}

QString stateName(int state)
{
    switch (state) {
    case state::Downloading:
        return QStringLiteral("downloading");
    case state::Downloaded:
        return QStringLiteral("downloaded");
    case state::Installing:
        return QStringLiteral("installing");
    case state::Cancelled:
        return QStringLiteral("cancelled");
    case state::DownloadFailed:
        return QStringLiteral("download failed");
    case state::InstallFailed:
        return QStringLiteral("installation failed or cancelled");
    case state::Installed:
        return QStringLiteral("installed");
    default:
        return QStringLiteral("state %1").arg(state);
    }
}

void printTasks(const QVariantList &tasks)
{
    print(QStringLiteral("tasks: %1").arg(tasks.size()));
    for (const QVariant &entry : tasks) {
        const QVariantMap task = entry.toMap();
        const QVariantMap item = task.value(key::WorkingItem).toMap();
        const QString line = QStringLiteral("  %1: %2, %3 %4, %5 of %6 bytes")
                                 .arg(printable(task, key::SoftName), stateName(task.value(key::Status).toInt()),
                                      printable(item, key::UpdateName), printable(item, key::UpdateVersion),
                                      printable(item, key::CurrentSize), printable(item, key::TotalSize));
        const QString error = printable(task, key::ErrMsg);
        print(error.isEmpty() ? line : line + QStringLiteral(", ") + error);
    }
}

void printIgnores(const QVariantList &ignores)
{
    print(QStringLiteral("ignored: %1").arg(ignores.size()));
    for (const QVariant &entry : ignores) {
        const QVariantMap map = entry.toMap();
        const QString item = printable(map, wire::ignored::Item);
        print(QStringLiteral("  %1: %2 %3%4")
                  .arg(printable(map, wire::ignored::Product), printable(map, wire::ignored::Kind),
                       item.isEmpty() ? item : item + QLatin1Char(' '), printable(map, wire::ignored::Version)));
    }
}

// A status in pages is one list.
QVariantMap statusOf(const rpc::CallResult &result)
{
    if (result.output.list.isEmpty())
        return result.output.values;
    QVariantList ignores;
    QVariantList tasks;
    for (const QVariant &entry : result.output.list)
        (entry.toMap().contains(wire::ignored::Product) ? ignores : tasks) << entry;
    return {{wire::Ignores, ignores}, {wire::Tasks, tasks}};
}

int runStatus(const Line &line)
{
    Query paged = query(wire::method::UpgradeStatus, {});
    paged.paged = true;
    return ask(
        paged, line,
        [](const rpc::CallResult &result) {
            printIgnores(statusOf(result).value(wire::Ignores).toList());
            printTasks(statusOf(result).value(wire::Tasks).toList());
        },
        [](const rpc::CallResult &result) { return QVariant(statusOf(result)); });
}

int runTasks(const Line &line)
{
    const auto tasks = [](const rpc::CallResult &result) { // a list in pages comes as the answer's own list
        return result.output.values.value(key::TaskInfoList, result.output.list);
    };
    Query paged = query(QStringLiteral("QueryTaskInfos"), {});
    paged.paged = true;
    return ask(
        paged, line, [&](const rpc::CallResult &result) { printTasks(tasks(result).toList()); },
        [&](const rpc::CallResult &result) { return QVariant(tasks(result).toList()); });
}

int runForget(const Line &line)
{
    return ask(query(wire::method::ForgetIgnores, product(line)), line, [](const rpc::CallResult &result) {
        print(QStringLiteral("forgotten: %1").arg(result.output.values.value(wire::Removed).toInt()));
    });
}

int runStart(const Line &line)
{
    link::ServiceConnection connection;
    const auto offered = connection.call(wire::UpgradeTag, QStringLiteral("CheckNewVersion"), {product(line), {}});
    const int code = judge(offered, UpgradeService);
    if (code != status::Ok)
        return code;
    if (offered.output.list.isEmpty()) {
        complain(QStringLiteral("nothing is new for \"%1\"").arg(printable(line.at(0))));
        return status::Refused;
    }
    return ask(query(QStringLiteral("StartDownload"), offered.output.list.constFirst().toMap()), line,
               [](const rpc::CallResult &started) {
                   if (!started.output.values.value(wire::Shown).toBool())
                       complain(QStringLiteral("started, but no window shows it: %1")
                                    .arg(printable(started.output.values, wire::ShowError)));
               });
}

int runStop(const Line &line)
{
    return ask(query(QStringLiteral("StopUpgrade"), product(line)));
}

int runInstall(const Line &line)
{
    QVariantMap values = product(line);
    values.insert(key::WaitForFinished, true);
    return ask(query(QStringLiteral("InstallSoftware"), values, LongMs));
}

int runSilent(const Line &line)
{
    QVariantMap values = product(line);
    values.insert(wire::KillRunning, line.isSet(KillOption));
    link::ServiceConnection connection;
    const auto result = connection.call(wire::UpgradeTag, wire::method::PatchSilently, {values, {}}, LongMs);
    const int code = judge(result, UpgradeService);
    const QVariantMap &answer = result.output.values; // a refusal has them too
    if (code == status::Ok)
        printShown(answer);
    if (answer.value(wire::Shown).toBool())
        print(QStringLiteral("state of the window: %1").arg(answer.value(key::SilentState).toInt()));
    if (code == status::Ok)
        print(QStringLiteral("installed: %1").arg(printable(answer, key::NewVersion)));
    return code;
}

} // namespace

QList<Command> upgradeCommands()
{
    const QList<Argument> one{{"PRODUCT", "Name of the product.", {}, false}};
    return {
        makeCommand("upgrade check", "looks for updates and shows the prompt",
                    "Compares the catalogue with the installed products and has the visualized service prompt for the "
                    "updates.\nExit code 0 once it was compared, also when nothing is new or no window can be shown.",
                    {},
                    {{ListOption, "Prints the updates instead of showing them.", {}},
                     {jsonOption().name, "Prints the update records as a JSON array, and shows nothing.", {}}},
                    runCheck),
        makeCommand("upgrade notes", "shows the update notes of a product",
                    "Has the update notes of a product shown, also of an update that is ignored.", one, {jsonOption()},
                    runNotes),
        makeCommand("upgrade status", "lists ignored updates and tasks",
                    "Tells which updates are ignored and lists the tasks.", {}, {jsonOption()}, runStatus),
        makeCommand("upgrade forget", "offers ignored updates again",
                    "Forgets ignored updates, so that the next check offers them again.",
                    {{"PRODUCT", "Name of the product; all products by default.", "[PRODUCT]", true}}, {jsonOption()},
                    runForget),
        makeCommand("upgrade start", "downloads the updates of a product",
                    "Downloads every update of a product; the window with the tasks comes up and installs them.", one,
                    {jsonOption()}, runStart),
        makeCommand("upgrade stop", "ends a product's task", "Ends the task of a product in any state.", one, {},
                    runStop),
        makeCommand(
            "upgrade install", "installs a finished download",
            "Installs the downloaded packages of a product and waits for the end. The window with the tasks does this "
            "by itself.",
            one, {}, runInstall),
        makeCommand(
            "upgrade silent", "patches a product without questions",
            "Downloads the patch of a product's installed version and installs it, with a progress window only. Waits "
            "until it is installed. A product that runs is refused.",
            one,
            {{KillOption,
              "Ends the product's program first, by force. Only processes of the same user that run its "
              "executable file are ended; a script has no such process.",
              {}}},
            runSilent),
        makeCommand("upgrade tasks", "lists downloads and installations",
                    "Lists the downloads and installations, finished ones too.", {}, {jsonOption()}, runTasks),
    };
}

} // namespace tarn::cli
