#include "upgrade/ForcedQuit.h"
#include "base/Log.h"
#include "widgets/MessageText.h"
#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QDir>
#include <QEventLoop>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTimer>
#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <memory>
#include <poll.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <vector>

namespace forcedquit {
namespace {

constexpr int PollMs = 20;

bool isPlainName(const QString &name)
{
    const bool hasForeign = std::any_of(name.cbegin(), name.cend(),
                                        [](QChar c) { return c.isNull() || QStringLiteral("/\\*?").contains(c); });
    return !name.isEmpty() && name.toUtf8().size() <= NAME_MAX && !hasForeign && name != QLatin1String(".") &&
           name != QLatin1String("..");
}

QByteArray procPath(pid_t pid, const char *entry = "")
{
    return "/proc/" + QByteArray::number(pid) + entry;
}

bool isSameFile(const QByteArray &one, const QByteArray &other)
{
    struct stat first = {};
    struct stat second = {};
    return ::stat(one.constData(), &first) == 0 && ::stat(other.constData(), &second) == 0 &&
           first.st_dev == second.st_dev && first.st_ino == second.st_ino;
}

// Of the file that a process runs, also of one that was deleted or replaced since; empty when it cannot be told. The
// name in "comm" is no substitute: it is cut to 15 bytes, and every process may call itself what it likes.
QByteArray executableName(pid_t pid)
{
    const QByteArray link = procPath(pid, "/exe");
    char target[PATH_MAX];
    const ssize_t size = ::readlink(link.constData(), target, sizeof target);
    QByteArray file(target, size > 0 ? int(size) : 0);
    const QByteArray deleted = " (deleted)"; // said by the kernel, unless there is such a file
    if (file.endsWith(deleted) && !isSameFile(link, file))
        file.chop(deleted.size());
    return file.mid(file.lastIndexOf('/') + 1);
}

// Stays the same process when its number is given to another one, where the kernel has descriptors for processes.
class Process
{
public:
    explicit Process(pid_t pid)
        : m_pid(pid)
        , m_file(int(::syscall(SYS_pidfd_open, pid, 0)))
        , m_name(executableName(pid))
    {
    }
    ~Process()
    {
        if (m_file >= 0)
            ::close(m_file);
    }
    Q_DISABLE_COPY(Process)

    const QByteArray &name() const { return m_name; }

    void kill() const
    {
        const long failed =
            m_file >= 0 ? ::syscall(SYS_pidfd_send_signal, m_file, SIGKILL, nullptr, 0) : ::kill(m_pid, SIGKILL);
        if (failed != 0)
            VT_LOG(warning)
                << QStringLiteral("强制退出进程%1失败：%2").arg(QString::number(m_pid), qt_error_string(errno));
    }
    bool hasEnded() const
    {
        if (m_file < 0)
            return executableName(m_pid) != m_name;
        pollfd waiting = {m_file, POLLIN, 0};
        return ::poll(&waiting, 1, 0) > 0;
    }

private:
    const pid_t m_pid;
    const int m_file; ///< opened before the name is read, so that the name is this process's
    const QByteArray m_name;
};
using Processes = std::vector<std::unique_ptr<Process>>;

bool isOwn(pid_t pid)
{
    struct stat info = {};
    return ::stat(procPath(pid).constData(), &info) == 0 && info.st_uid == ::geteuid();
}

Processes findProcesses(const QString &exeName)
{
    Processes found;
    const QStringList entries = QDir(QStringLiteral("/proc")).entryList(QDir::Dirs);
    for (const QString &entry : entries) {
        const pid_t pid = entry.toInt();
        if (pid <= 0 || !isOwn(pid))
            continue;
        auto process = std::make_unique<Process>(pid);
        if (process->name() != exeName.toUtf8())
            continue;
        if (pid != ::getpid())
            found.push_back(std::move(process));
        else
            VT_LOG(warning) << QStringLiteral("不强制退出本进程：%1").arg(exeName);
    }
    return found;
}

bool haveEnded(const Processes &processes)
{
    return std::all_of(processes.cbegin(), processes.cend(), [](const auto &process) { return process->hasEnded(); });
}

void killAll(const QString &exeName, int timeoutMs)
{
    const Processes processes = findProcesses(exeName);
    for (const auto &process : processes)
        process->kill();
    VT_LOG(info) << QStringLiteral("强制退出软件进程：%1，数量：%2").arg(exeName, QString::number(processes.size()));
    const QDeadlineTimer deadline(timeoutMs);
    QEventLoop loop;
    QTimer poll;
    QObject::connect(&poll, &QTimer::timeout, &loop, [&] {
        if (haveEnded(processes) || deadline.hasExpired())
            loop.quit();
    });
    poll.start(PollMs);
    if (!haveEnded(processes))
        loop.exec();
    if (!haveEnded(processes) && deadline.hasExpired()) // else the host quits
        VT_LOG(warning) << QStringLiteral("等待软件进程退出超时：%1").arg(exeName);
}

void runTaskkill(const QString &program, const QString &exeName, int timeoutMs)
{
    VT_LOG(info) << QStringLiteral("执行taskkill强制退出软件进程：%1").arg(exeName);
    QEventLoop loop;
    auto *taskkill = new QProcess(QCoreApplication::instance()); // goes on by itself when it takes too long
    QObject::connect(taskkill, &QProcess::stateChanged, &loop, [&](QProcess::ProcessState state) {
        if (state == QProcess::NotRunning)
            loop.quit();
    });
    taskkill->setStandardInputFile(QProcess::nullDevice());
    taskkill->setStandardOutputFile(QProcess::nullDevice());
    taskkill->setStandardErrorFile(QProcess::nullDevice());
    taskkill->start(program, {QStringLiteral("/f"), QStringLiteral("/im"), exeName});
    const QDeadlineTimer deadline(timeoutMs);
    QTimer::singleShot(timeoutMs, Qt::PreciseTimer, &loop, &QEventLoop::quit);
    if (taskkill->state() != QProcess::NotRunning)
        loop.exec();
    if (taskkill->error() == QProcess::FailedToStart)
        VT_LOG(warning) << QStringLiteral("taskkill无法启动：%1").arg(taskkill->errorString());
    else if (taskkill->state() != QProcess::NotRunning && deadline.hasExpired())
        VT_LOG(warning) << QStringLiteral("等待taskkill结束超时：%1").arg(exeName);
    QObject::connect(taskkill, QOverload<int, QProcess::ExitStatus>::of(&QProcess::finished), taskkill,
                     &QObject::deleteLater);
    if (taskkill->state() == QProcess::NotRunning)
        taskkill->deleteLater();
}

} // namespace

void endProgram(const QString &exeName, int timeoutMs)
{
    if (!isPlainName(exeName)) {
        VT_LOG(warning) << QStringLiteral("不强制退出软件进程，程序名称无效：“%1”").arg(messagetext::brief(exeName));
        return;
    }
    const QString program = QStandardPaths::findExecutable(QStringLiteral("taskkill"));
    if (program.isEmpty())
        killAll(exeName, timeoutMs);
    else
        runTaskkill(program, exeName, timeoutMs);
}

} // namespace forcedquit
