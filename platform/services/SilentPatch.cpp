#include "services/SilentPatch.h"
#include "services/Dispatch.h"
#include "services/RunningProgram.h"
#include "services/UpgradeEngine.h"
#include "tarn/keys/UpgradeKeys.h"
#include "tarn/link/MessageWire.h"
#include <QElapsedTimer>
#include <QFileInfo>
#include <utility>

namespace tarn::services {

using namespace upgrade;
namespace wire = link::wire;

namespace {

constexpr int SilentFailed = 99;  // "静默补丁安装状态"
constexpr int EndTimeout = 30000; // ms, for the product's program
constexpr int SettleTime = 500;   // ms in which the visualized service judges the package

QString operation()
{
    return QStringLiteral("showSilentPatchInstallDialog");
}

QString nobodyWaits()
{
    return QStringLiteral("the caller no longer waits for the result");
}

// The product's own program; empty for one outside of its directory, which others use too.
QString productProgram(const InstalledSoftware &software)
{
    const QFileInfo info(software.exePath);
    QString file = info.exists() ? info.canonicalFilePath() // one that was deleted may run all the same
                                 : QFileInfo(info.path()).canonicalFilePath() + QLatin1Char('/') + info.fileName();
    if (file.startsWith(QFileInfo(software.directory).canonicalFilePath() + QLatin1Char('/')))
        return file;
    qCInfo(servicesLog).noquote()
        << QStringLiteral("%1 has no program of its own: %2").arg(software.name, software.exePath);
    return {};
}

// By the package: the same patch is asked for under another section where there is a new version as well.
bool isSame(const UpgradeTask &one, const UpgradeTask &other)
{
    return one.items.size() == 1 && one.items.constFirst().url == other.items.constFirst().url &&
           one.items.constFirst().sha256 == other.items.constFirst().sha256;
}

} // namespace

SilentPatch::SilentPatch(Tools tools, InstalledSoftware software, UpgradeTask task)
    : m_tools(std::move(tools))
    , m_software(std::move(software))
    , m_task(std::move(task))
{
}

QString SilentPatch::run(bool killRunning)
{
    // Checked before the download too: a refusal leaves no task behind.
    QString error = killRunning ? QString() : makeWay(false);
    if (error.isEmpty())
        error = download();
    if (error.isEmpty())
        error = makeWay(killRunning);
    if (error.isEmpty())
        error = show();
    if (error.isEmpty())
        error = install();
    if (!error.isEmpty())
        abandon();
    return error;
}

QVariantMap SilentPatch::report() const
{
    return {{wire::Shown, m_shown}, {wire::ShowError, m_showError}, {key::SilentState, m_state}};
}

QString SilentPatch::download()
{
    UpgradeTask before;
    UpgradeTask task;
    QString error = m_tools.engine([&](UpgradeEngine &engine) {
        QString failure = engine.taskOf(m_software.name, &before);
        if (failure.isEmpty())
            failure = engine.start(m_task); // changes nothing when the product has an active task
        return failure.isEmpty() ? engine.taskOf(m_software.name, &task) : failure;
    });
    if (!error.isEmpty())
        return error;
    if (!isSame(task, m_task))
        return QStringLiteral("the product has another task: it is being upgraded");
    m_id = task.id;
    m_ownsTask = task.id != before.id;
    return awaitEndOf(state::Downloading, &task);
}

QString SilentPatch::makeWay(bool killRunning)
{
    const RunningProgram program(productProgram(m_software));
    if (!program.isRunning())
        return {};
    return killRunning ? program.end(EndTimeout) : QStringLiteral("the product is running: %1").arg(m_software.exePath);
}

QString SilentPatch::show()
{
    QString package;
    m_tools.engine([&](UpgradeEngine &engine) {
        package = engine.file(m_software.name, m_task.items.constFirst());
        return QString();
    });
    m_showError = whyNotShown(operation(), query()); // takes the state that an earlier installation has left
    if (!m_showError.isEmpty())
        return {};
    const rpc::CallResult result =
        m_tools.present(operation(), {{{key::SoftwareName, m_software.name},
                                       {key::SettingsPath, m_software.directory + QStringLiteral("/installation.ini")},
                                       {key::LocalFile, package},
                                       {key::InstallDir, m_software.directory},
                                       {key::Restart, false}},
                                      {}});
    m_showError = whyNotShown(operation(), result);
    m_shown = m_showError.isEmpty();
    if (!m_shown)
        return {};
    keepState(result);
    return awaitJudgement(package);
}

// What the visualized service finds wrong with the package, empty when it is silent.
QString SilentPatch::awaitJudgement(const QString &package)
{
    QElapsedTimer sinceShown;
    sinceShown.start();
    while (sinceShown.elapsed() < SettleTime && !hasBegun()) {
        if (m_state == SilentFailed)
            return QStringLiteral("the visualized service finds no such package: %1").arg(package);
        if (m_tools.isCancelled())
            return nobodyWaits();
        m_tools.waitForChange();
        askState();
    }
    return {};
}

// The window with the tasks may have installed the package meanwhile and removed it, which is no failure.
bool SilentPatch::hasBegun()
{
    UpgradeTask task;
    m_tools.engine([&](UpgradeEngine &engine) { return engine.taskOf(m_software.name, &task); });
    return task.id == m_id && (task.state == state::Installing || task.state == state::Installed);
}

QString SilentPatch::install()
{
    UpgradeTask task;
    QString error = m_tools.engine([&](UpgradeEngine &engine) {
        const QString failure = engine.taskOf(m_software.name, &task);
        const bool waits = task.id == m_id && task.state == state::Downloaded; // else it has begun, or is another's
        return failure.isEmpty() && waits ? engine.install(m_software.name) : failure;
    });
    if (error.isEmpty())
        error = awaitEndOf(state::Installing, &task);
    if (error.isEmpty() && task.state != state::Installed)
        error = QStringLiteral("it was not installed: its task has state %1").arg(task.state);
    askState(); // an end that is not fetched would be the first answer during the next installation
    return error;
}

// Stops the task, unless another caller has begun it or it is being installed, which ends by itself.
void SilentPatch::abandon()
{
    if (!m_ownsTask)
        return;
    m_tools.engine([&](UpgradeEngine &engine) {
        UpgradeTask task;
        bool known = false;
        const QString error = engine.taskOf(m_software.name, &task);
        const bool stops = error.isEmpty() && task.id == m_id && task.state != state::Installing;
        return stops ? engine.stop(m_software.name, &known) : error;
    });
}

// What ended it badly, empty when all is well.
QString SilentPatch::awaitEndOf(int state, UpgradeTask *task)
{
    while (!m_tools.isCancelled()) {
        QString error = m_tools.engine([&](UpgradeEngine &engine) { return engine.taskOf(m_software.name, task); });
        if (!error.isEmpty())
            return error;
        if (task->id != m_id)
            return QStringLiteral("the task was replaced by another one");
        if (task->state == state::Cancelled)
            return QStringLiteral("it was cancelled");
        if (task->state == state::DownloadFailed || task->state == state::InstallFailed)
            return task->error;
        if (task->state != state)
            return {};
        askState();
        m_tools.waitForChange();
    }
    return nobodyWaits();
}

rpc::CallResult SilentPatch::query() const
{
    return m_tools.present(operation(), {{{key::SoftwareName, m_software.name}, {key::QueryOnly, true}}, {}});
}

void SilentPatch::askState()
{
    if (m_shown)
        keepState(query());
}

// The service reports an end once, so it is kept. It does not decide about a running installation: the installer
// judges the package itself.
void SilentPatch::keepState(const rpc::CallResult &result)
{
    if (result.arrived() && result.accepted && m_state != SilentFailed)
        m_state = result.output.values.value(key::SilentState).toInt();
}

} // namespace tarn::services
