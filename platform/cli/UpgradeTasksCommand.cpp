// "tarnctl upgrade start", "stop", "install" and "tasks".
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

constexpr int InstallTimeout = 3600'000; // ms

QString text(const QVariantMap &map, const QString &key)
{
    return printable(map.value(key).toString());
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

// A command whose only argument is a product, sent as it is.
int runForProduct(const QString &command, const QString &description, const QStringList &arguments,
                  const QString &method, QVariantMap values, int timeoutMs)
{
    CommandLine line({QStringLiteral("upgrade"), command}, description);
    line.addArgument(QStringLiteral("PRODUCT"), QStringLiteral("Name of the product."));
    if (const auto done = line.parse(arguments, 1, 1))
        return *done;
    values.insert(key::SoftwareName, line.arguments().constFirst());
    link::ServiceConnection connection;
    return judgeUpgrade(connection.call(wire::UpgradeTag, method, {values, {}}, timeoutMs));
}

} // namespace

int judgeUpgrade(const rpc::CallResult &result)
{
    return judge(result, upgradeService());
}

int runUpgradeStart(const QStringList &arguments)
{
    CommandLine line(
        {QStringLiteral("upgrade"), QStringLiteral("start")},
        QStringLiteral("Downloads everything that is new for a product; the window with the tasks comes up "
                       "and installs it."));
    line.addArgument(QStringLiteral("PRODUCT"), QStringLiteral("Name of the product."));
    if (const auto done = line.parse(arguments, 1, 1))
        return *done;
    const QString product = line.arguments().constFirst();
    link::ServiceConnection connection;
    const auto offered =
        connection.call(wire::UpgradeTag, QStringLiteral("CheckNewVersion"), {{{key::SoftwareName, product}}, {}});
    int code = judgeUpgrade(offered);
    if (code != status::Ok)
        return code;
    if (offered.output.list.isEmpty()) {
        complain(QStringLiteral("nothing is new for \"%1\"").arg(printable(product)));
        return status::Refused;
    }
    const auto started = connection.call(wire::UpgradeTag, QStringLiteral("StartDownload"),
                                         {offered.output.list.constFirst().toMap(), {}});
    code = judgeUpgrade(started);
    if (code == status::Ok && !started.output.values.value(wire::Shown).toBool())
        complain(
            QStringLiteral("started, but no window shows it: %1").arg(text(started.output.values, wire::ShowError)));
    return code;
}

int runUpgradeStop(const QStringList &arguments)
{
    return runForProduct(QStringLiteral("stop"), QStringLiteral("Ends the task of a product, whatever it is doing."),
                         arguments, QStringLiteral("StopUpgrade"), {}, link::ServiceConnection::DefaultTimeout);
}

int runUpgradeInstall(const QStringList &arguments)
{
    return runForProduct(QStringLiteral("install"),
                         QStringLiteral("Installs what is downloaded for a product, and waits until it is over. The "
                                        "window with the tasks does this by itself."),
                         arguments, QStringLiteral("InstallSoftware"), {{key::WaitForFinished, true}}, InstallTimeout);
}

int runUpgradeTasks(const QStringList &arguments)
{
    const QString json = QStringLiteral("json");
    CommandLine line({QStringLiteral("upgrade"), QStringLiteral("tasks")},
                     QStringLiteral("Lists the downloads and installations, finished ones too."));
    line.addOption(json, QStringLiteral("Prints the tasks as a JSON array."));
    if (const auto done = line.parse(arguments, 0, 0))
        return *done;
    link::ServiceConnection connection;
    const auto result = connection.call(wire::UpgradeTag, QStringLiteral("QueryTaskInfos"), {});
    const int code = judgeUpgrade(result);
    if (code != status::Ok)
        return code;
    const QVariantList tasks = result.output.values.value(key::TaskInfoList).toList();
    if (line.isSet(json))
        printRaw(QJsonDocument(toJson(QVariant(tasks)).toArray()).toJson(QJsonDocument::Compact));
    else
        printTasks(tasks);
    return code;
}

void printTasks(const QVariantList &tasks)
{
    print(QStringLiteral("tasks: %1").arg(tasks.size()));
    for (const QVariant &entry : tasks) {
        const QVariantMap task = entry.toMap();
        const QVariantMap item = task.value(key::WorkingItem).toMap();
        QString line =
            QStringLiteral("  %1: %2, %3 %4, %5 of %6 bytes")
                .arg(text(task, key::SoftName), stateName(task.value(key::Status).toInt()), text(item, key::UpdateName),
                     text(item, key::UpdateVersion), text(item, key::CurrentSize), text(item, key::TotalSize));
        const QString error = text(task, key::ErrMsg);
        print(error.isEmpty() ? line : line + QStringLiteral(", ") + error);
    }
}

} // namespace tarn::cli
