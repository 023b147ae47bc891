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

QVariantMap product(const Line &line)
{
    return {{key::SoftwareName, line.at(0)}};
}

void printShown(const rpc::CallResult &result)
{
    const QVariantMap &answer = result.output.values;
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
    const bool show = !line.isSet(ListOption) && !line.isSet(Json.name);
    const auto printOffer = [show](const rpc::CallResult &result) {
        const int offered = result.output.values.value(wire::Offered).toInt();
        print(offered == 0 ? QStringLiteral("nothing is new")
                           : QStringLiteral("products with something new: %1").arg(offered));
        if (!show)
            eachOf(printRecord).print(result);
        else if (offered > 0)
            printShown(result);
    };
    return ask({UpgradeService, wire::method::AnnounceUpdates, {{wire::Show, show}}}, line, {printOffer, listOf});
}

QString stateName(int state)
{
    static const QMap<int, QString> names{{state::Downloading, "downloading"},
                                          {state::Downloaded, "downloaded"},
                                          {state::Installing, "installing"},
                                          {state::Cancelled, "cancelled"},
                                          {state::DownloadFailed, "download failed"},
                                          {state::InstallFailed, "installation failed or cancelled"},
                                          {state::Installed, "installed"}};
    return names.value(state, QStringLiteral("state %1").arg(state));
}

QString taskText(const QVariantMap &task)
{
    const QVariantMap item = task.value(key::WorkingItem).toMap();
    const QString text = QStringLiteral("%1: %2, %3 %4, %5 of %6 bytes")
                             .arg(printable(task, key::SoftName), stateName(task.value(key::Status).toInt()),
                                  printable(item, key::UpdateName), printable(item, key::UpdateVersion),
                                  printable(item, key::CurrentSize), printable(item, key::TotalSize));
    const QString error = printable(task, key::ErrMsg);
    return error.isEmpty() ? text : text + QStringLiteral(", ") + error;
}

QString ignoreText(const QVariantMap &map)
{
    const QString item = printable(map, wire::ignored::Item);
    return QStringLiteral("%1: %2 %3%4")
        .arg(printable(map, wire::ignored::Product), printable(map, wire::ignored::Kind),
             item.isEmpty() ? item : item + QLatin1Char(' '), printable(map, wire::ignored::Version));
}

void printList(const QString &title, const QVariant &list, QString (*text)(const QVariantMap &))
{
    const QVariantList entries = list.toList();
    print(QStringLiteral("%1: %2").arg(title).arg(entries.size()));
    for (const QVariant &entry : entries)
        print(QStringLiteral("  ") + text(entry.toMap()));
}

// A status in pages is one list.
QVariant statusOf(const rpc::CallResult &result)
{
    if (result.output.list.isEmpty())
        return result.output.values;
    QVariantList ignores;
    QVariantList tasks;
    for (const QVariant &entry : result.output.list)
        (entry.toMap().contains(wire::ignored::Product) ? ignores : tasks) << entry;
    return QVariantMap{{wire::Ignores, ignores}, {wire::Tasks, tasks}};
}

void printStatus(const rpc::CallResult &result)
{
    const QVariantMap status = statusOf(result).toMap();
    printList("ignored", status.value(wire::Ignores), ignoreText);
    printList("tasks", status.value(wire::Tasks), taskText);
}

QVariant tasksOf(const rpc::CallResult &result)
{
    // A list in pages comes as the answer's own list.
    return result.output.values.value(key::TaskInfoList, result.output.list).toList();
}

void printForgotten(const rpc::CallResult &result)
{
    print(QStringLiteral("forgotten: %1").arg(result.output.values.value(wire::Removed).toInt()));
}

void complainIfHidden(const rpc::CallResult &started)
{
    const QVariantMap &answer = started.output.values;
    if (!answer.value(wire::Shown).toBool())
        complain(QStringLiteral("started, but no window shows it: %1").arg(printable(answer, wire::ShowError)));
}

int runStart(const Line &line)
{
    link::ServiceConnection connection;
    const auto offered = accepted(
        connection.call(wire::UpgradeTag, QStringLiteral("CheckNewVersion"), {product(line), {}}), UpgradeService);
    if (offered.output.list.isEmpty())
        throw Failure{status::Refused,
                      QStringLiteral("nothing is new for \"%1\"; \"tarnctl upgrade check --list\" names the products")
                          .arg(printable(line.at(0)))};
    return ask({UpgradeService, QStringLiteral("StartDownload"), offered.output.list.constFirst().toMap()}, line,
               {complainIfHidden});
}

QVariantMap waitingProduct(const Line &line)
{
    return {{key::SoftwareName, line.at(0)}, {key::WaitForFinished, true}};
}

int runSilent(const Line &line)
{
    QVariantMap values = product(line);
    values.insert(wire::KillRunning, line.isSet(KillOption));
    link::ServiceConnection connection;
    const auto result = connection.call(wire::UpgradeTag, wire::method::PatchSilently, {values, {}}, LongMs);
    const QVariantMap &answer = result.output.values; // a refusal has them too
    const Failure failure = result.accepted ? Failure{status::Ok, {}} : failureOf(result, UpgradeService);
    result.accepted ? printShown(result) : complain(failure.text);
    if (answer.value(wire::Shown).toBool())
        print(QStringLiteral("state of the window: %1").arg(answer.value(key::SilentState).toInt()));
    if (result.accepted)
        print(QStringLiteral("installed: %1").arg(printable(answer, key::NewVersion)));
    return failure.exitCode;
}

} // namespace

QList<Command> upgradeCommands()
{
    const QList<Argument> one{{"PRODUCT", "Name of the product."}};
    return {
        Command("upgrade check", "looks for updates and shows the prompt",
                "Compares the catalogue with the installed products and has the visualized service prompt for the "
                "updates.\n"
                "Exit code 0 once it was compared, also when nothing is new or no window can be shown.",
                {},
                {{ListOption, "Prints the updates instead of showing them."},
                 {Json.name, "Prints the update records as a JSON array, and shows nothing."}},
                runCheck),
        Command("upgrade notes", "shows the update notes of a product",
                "Has the update notes of a product shown, also of an update that is ignored.", one, {Json},
                asks({UpgradeService, wire::method::ShowNotes}, product, {printShown})),
        Command("upgrade status", "lists ignored updates and tasks",
                "Tells which updates are ignored and lists the tasks.", {}, {Json},
                asks(paged(UpgradeService, wire::method::UpgradeStatus), {}, {printStatus, statusOf})),
        Command("upgrade forget", "offers ignored updates again",
                "Forgets ignored updates, so that the next check offers them again.",
                {{"PRODUCT", "Name of the product; all products by default.", "[PRODUCT]", true}}, {Json},
                asks({UpgradeService, wire::method::ForgetIgnores}, product, {printForgotten})),
        Command("upgrade start", "downloads the updates of a product",
                "Downloads every update of a product; the window with the tasks comes up and installs them.", one,
                {Json}, runStart),
        Command("upgrade stop", "ends a product's task", "Ends the task of a product in any state.", one, {},
                asks({UpgradeService, QStringLiteral("StopUpgrade")}, product)),
        Command("upgrade install", "installs a finished download",
                "Installs the downloaded packages of a product and waits for the end. The window with the tasks does "
                "this by itself.",
                one, {}, asks({UpgradeService, QStringLiteral("InstallSoftware"), {}, LongMs}, waitingProduct)),
        Command(
            "upgrade silent", "patches a product without questions",
            "Downloads the patch of a product's installed version and installs it, with a progress window only. Waits "
            "until it is installed. A product that runs is refused.",
            one,
            {{KillOption, "Ends the product's program first, by force. Only processes of the same user that run its "
                          "executable file are ended; a script has no such process."}},
            runSilent),
        Command("upgrade tasks", "lists downloads and installations",
                "Lists the downloads and installations, finished ones too.", {}, {Json},
                asks(paged(UpgradeService, QStringLiteral("QueryTaskInfos")), {},
                     {[](const rpc::CallResult &result) { printList("tasks", tasksOf(result), taskText); }, tasksOf})),
    };
}

} // namespace tarn::cli
