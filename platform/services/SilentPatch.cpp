#include "services/SilentPatch.h"
#include "services/UpgradeEngine.h"
#include <QDeadlineTimer>
#include <QDir>
#include <QScopeGuard>
#include <algorithm>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <poll.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace tarn::services {

using namespace upgrade;
namespace fs = std::filesystem;
namespace wire = link::wire;

namespace {

constexpr int EndTimeout = 30000; // ms, for the product's program
constexpr unsigned long PollMs = 100;
constexpr int SettleTime = 500; // ms in which the visualized service judges the package
const QString Operation = QStringLiteral("showSilentPatchInstallDialog");

// Whether a process of this user runs the file, also one that was replaced or deleted since: the link "exe" says so
// then, unless a file is really called "... (deleted)".
bool runs(const fs::path &process, const fs::path &file)
{
    std::error_code error;
    struct stat owner = {};
    if (::stat(process.c_str(), &owner) != 0 || owner.st_uid != ::geteuid())
        return false;
    const fs::path exe = process / "exe";
    const fs::path lost = file.string() + " (deleted)";
    return fs::equivalent(exe, file, error) ||
           (fs::read_symlink(exe, error) == lost && !fs::equivalent(exe, lost, error));
}

// Calls act with a descriptor for each process that runs the file, until it returns false. The descriptor stays with
// the process when its number is given to another one. Scripts are never found: their processes run the interpreter.
// @return false when act returned false
bool forEachProcess(const QString &file, const std::function<bool(int)> &act)
{
    const QStringList entries = file.isEmpty() ? QStringList() : QDir(QStringLiteral("/proc")).entryList(QDir::Dirs);
    return std::all_of(entries.cbegin(), entries.cend(), [&](const QString &entry) {
        const pid_t pid = entry.toInt();
        const int descriptor = pid > 0 && pid != ::getpid() ? int(::syscall(SYS_pidfd_open, pid, 0)) : -1;
        const auto closing = qScopeGuard([descriptor] { ::close(descriptor); });
        return descriptor < 0 || !runs("/proc/" + entry.toStdString(), QFile::encodeName(file).toStdString()) ||
               act(descriptor);
    });
}

bool isProgramRunning(const QString &file)
{
    return !forEachProcess(file, [](int) { return false; });
}

void endProgram(const QString &file)
{
    const QDeadlineTimer deadline(EndTimeout);
    forEachProcess(file, [&](int process) {
        qCInfo(servicesLog).noquote() << QStringLiteral("ending a process of %1").arg(file);
        if (::syscall(SYS_pidfd_send_signal, process, SIGKILL, nullptr, 0) != 0)
            return errno == ESRCH; // it has ended
        pollfd waiting = {process, POLLIN, 0};
        return ::poll(&waiting, 1, int(deadline.remainingTime())) > 0;
    });
    failIf(isProgramRunning(file), QStringLiteral("%1 cannot be ended").arg(file));
}

// The product's own program; empty for one outside of its directory, which others use too.
QString productProgram(const InstalledSoftware &software)
{
    const fs::path exe = QFile::encodeName(software.exePath).toStdString(); // one that was deleted may run all the same
    QString file = QFile::decodeName(fs::weakly_canonical(exe).c_str());
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

class SilentPatch
{
public:
    SilentPatch(const PatchTools &tools, const InstalledSoftware &software, const UpgradeTask &task)
        : m_tools(tools)
        , m_software(software)
        , m_task(task)
    {
    }

    rpc::CallResult run(bool killRunning)
    {
        const QString error = errorOf([&] {
            if (!killRunning)
                makeWay(false); // before the download too: a refusal leaves no task behind
            download();
            makeWay(killRunning);
            show();
            install();
        });
        if (!error.isEmpty())
            errorOf([this] { abandon(); });
        rpc::CallResult result = error.isEmpty() ? ok() : refusedWith(code::Refused, error);
        result.output.values = {{wire::Shown, m_shown},
                                {wire::ShowError, m_showError},
                                {key::SilentState, m_state},
                                {key::NewVersion, m_task.items.constFirst().version}};
        return result;
    }

private:
    // The task. Throws when it failed or was cancelled, and when the caller no longer waits.
    UpgradeTask task() const
    {
        failIf(m_tools.context.isCancelled(), QStringLiteral("the caller no longer waits for the result"));
        UpgradeTask task = m_tools.engine.taskOf(m_software.name);
        failIf(task.id != m_id, QStringLiteral("the task was replaced by another one"));
        failIf(task.state == state::Cancelled, QStringLiteral("it was cancelled"));
        failIf(task.state == state::DownloadFailed || task.state == state::InstallFailed, task.error);
        return task;
    }

    void awaitEndOf(int state)
    {
        while (task().state == state) {
            askState();
            QThread::msleep(PollMs);
        }
    }

    void download()
    {
        m_ownsTask = m_tools.engine.start(m_task);
        const UpgradeTask current = m_tools.engine.taskOf(m_software.name);
        failIf(!isSame(current, m_task), QStringLiteral("the product has another task: it is being upgraded"));
        m_id = current.id;
        awaitEndOf(state::Downloading);
        m_package = task().items.constFirst().file;
    }

    void makeWay(bool killRunning) const
    {
        const QString program = productProgram(m_software);
        if (killRunning)
            endProgram(program);
        else if (isProgramRunning(program))
            throw Failure(QStringLiteral("the product is running: %1").arg(m_software.exePath));
    }

    void show()
    {
        m_showError = whyNotShown(Operation, query()); // takes the state that an earlier installation has left
        if (!m_showError.isEmpty())
            return;
        const rpc::CallResult result = m_tools.present(
            Operation, {{{key::SoftwareName, m_software.name},
                         {key::SettingsPath, m_software.directory + QStringLiteral("/installation.ini")},
                         {key::LocalFile, m_package},
                         {key::InstallDir, m_software.directory},
                         {key::Restart, false}},
                        {}});
        m_showError = whyNotShown(Operation, result);
        m_shown = m_showError.isEmpty();
        if (!m_shown)
            return;
        keepState(result);
        awaitJudgement();
    }

    // Throws where the visualized service finds something wrong with the package. The window with the tasks may have
    // installed the package meanwhile and removed it, which is no failure.
    void awaitJudgement()
    {
        const QDeadlineTimer settled(SettleTime);
        while (!settled.hasExpired() && task().state == state::Downloaded) {
            failIf(m_state == silent::Failed,
                   QStringLiteral("the visualized service finds no such package: %1").arg(m_package));
            QThread::msleep(PollMs);
            askState();
        }
    }

    void install()
    {
        // An end that is not fetched would be the first answer during the next installation.
        const auto fetching = qScopeGuard([this] { askState(); });
        if (task().state == state::Downloaded) // else it has begun
            m_tools.engine.install(m_software.name);
        awaitEndOf(state::Installing);
        const int end = task().state;
        failIf(end != state::Installed, QStringLiteral("it was not installed: its task has state %1").arg(end));
    }

    // Stops the task, unless another caller has begun it or it is being installed, which ends by itself.
    void abandon()
    {
        const UpgradeTask task = m_tools.engine.taskOf(m_software.name);
        if (m_ownsTask && task.id == m_id && task.state != state::Installing)
            m_tools.engine.stop(m_software.name);
    }

    rpc::CallResult query() const
    {
        return m_tools.present(Operation, {{{key::SoftwareName, m_software.name}, {key::QueryOnly, true}}, {}});
    }

    // A query that fails changes nothing. It must not throw either: a scope guard calls this.
    void askState()
    {
        if (m_shown)
            errorOf([this] { keepState(query()); });
    }

    // The service reports an end once, so it is kept. It does not decide about a running installation: the installer
    // judges the package itself.
    void keepState(const rpc::CallResult &result)
    {
        if (result.arrived() && result.accepted && m_state != silent::Failed)
            m_state = result.output.values.value(key::SilentState).toInt();
    }

    const PatchTools &m_tools;
    const InstalledSoftware &m_software;
    const UpgradeTask &m_task;
    qint64 m_id = 0;         ///< of the task that is followed
    bool m_ownsTask = false; ///< begun here, not joined
    QString m_package;
    bool m_shown = false;
    QString m_showError;
    int m_state = 0; ///< 0: never asked
};

} // namespace

rpc::CallResult patchSilently(const PatchTools &tools, const InstalledSoftware &software, const UpgradeTask &task,
                              bool killRunning)
{
    return SilentPatch(tools, software, task).run(killRunning);
}

} // namespace tarn::services
