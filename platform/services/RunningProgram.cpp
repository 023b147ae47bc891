#include "services/RunningProgram.h"
#include "services/Log.h"
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QThread>
#include <cerrno>
#include <csignal>
#include <functional>
#include <poll.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace tarn::services {
namespace {

constexpr int PollMs = 20;

bool isSameFile(const QByteArray &one, const QByteArray &other)
{
    struct stat first = {};
    struct stat second = {};
    return ::stat(one.constData(), &first) == 0 && ::stat(other.constData(), &second) == 0 &&
           first.st_dev == second.st_dev && first.st_ino == second.st_ino;
}

// Whether a process's link "exe" says that it runs what the file was, and not one that is really called so.
bool hasLost(const QByteArray &exe, const QByteArray &file)
{
    const QByteArray said = file + " (deleted)";
    QByteArray target(said.size() + 1, '\0'); // longer ones show by filling it
    target.resize(int(qMax<ssize_t>(0, ::readlink(exe.constData(), target.data(), size_t(target.size())))));
    return target == said && !isSameFile(exe, said);
}

// Through a descriptor, which stays the process's own when its number is given to another one.
class Process
{
public:
    explicit Process(pid_t pid)
        : m_pid(pid)
        , m_descriptor(int(::syscall(SYS_pidfd_open, pid, 0)))
    {
    }
    ~Process()
    {
        if (m_descriptor >= 0)
            ::close(m_descriptor);
    }
    Q_DISABLE_COPY(Process)

    // Also one whose file was replaced or deleted since it began.
    bool runs(const QByteArray &file) const
    {
        const QByteArray proc = "/proc/" + QByteArray::number(m_pid);
        const QByteArray exe = proc + "/exe";
        struct stat owner = {};
        if (::stat(proc.constData(), &owner) != 0 || owner.st_uid != ::geteuid())
            return false;
        return isSameFile(exe, file) || hasLost(exe, file);
    }
    bool end(const QByteArray &file, const QDeadlineTimer &deadline) const
    {
        const long failed = m_descriptor >= 0 ? ::syscall(SYS_pidfd_send_signal, m_descriptor, SIGKILL, nullptr, 0)
                                              : ::kill(m_pid, SIGKILL); // where there are no such descriptors
        if (failed != 0)
            return errno == ESRCH; // it has gone by itself
        if (m_descriptor >= 0) {
            pollfd waiting = {m_descriptor, POLLIN, 0};
            return ::poll(&waiting, 1, int(deadline.remainingTime())) > 0;
        }
        while (runs(file) && !deadline.hasExpired())
            QThread::msleep(PollMs);
        return !runs(file);
    }
    pid_t id() const { return m_pid; }

private:
    const pid_t m_pid;
    const int m_descriptor;
};

// Until one says false.
void forEachProcess(const QByteArray &file, const std::function<bool(const Process &)> &act)
{
    if (file.isEmpty())
        return;
    const QStringList entries = QDir(QStringLiteral("/proc")).entryList(QDir::Dirs);
    for (const QString &entry : entries) {
        const pid_t pid = entry.toInt();
        if (pid <= 0 || pid == ::getpid())
            continue;
        const Process process(pid);
        if (process.runs(file) && !act(process))
            return;
    }
}

} // namespace

RunningProgram::RunningProgram(const QString &file)
    : m_file(QFile::encodeName(file))
{
}

bool RunningProgram::isRunning() const
{
    bool found = false;
    forEachProcess(m_file, [&](const Process &) {
        found = true;
        return false;
    });
    return found;
}

QString RunningProgram::end(int timeoutMs) const
{
    const QString name = QFile::decodeName(m_file);
    const QDeadlineTimer deadline(timeoutMs);
    forEachProcess(m_file,
                   [&](const Process &process) {
                       qCInfo(servicesLog).noquote()
                           << QStringLiteral("ending process %1: %2").arg(QString::number(process.id()), name);
                       return process.end(m_file, deadline);
                   });
    return isRunning() ? QStringLiteral("%1 cannot be ended").arg(name) : QString();
}

} // namespace tarn::services
