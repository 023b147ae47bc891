#include "RunningProgram.h"
#include "Log.h"
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <cerrno>
#include <csignal>
#include <functional>
#include <poll.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace tarn::services {
namespace {

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

    bool runs(const struct stat &file) const
    {
        const QByteArray proc = "/proc/" + QByteArray::number(m_pid);
        struct stat owner = {};
        struct stat exe = {};
        return ::stat(proc.constData(), &owner) == 0 && owner.st_uid == ::geteuid() &&
               ::stat((proc + "/exe").constData(), &exe) == 0 && exe.st_dev == file.st_dev && exe.st_ino == file.st_ino;
    }
    bool end(const QDeadlineTimer &deadline) const
    {
        if (m_descriptor < 0 || ::syscall(SYS_pidfd_send_signal, m_descriptor, SIGKILL, nullptr, 0) != 0)
            return errno == ESRCH; // it has gone by itself
        pollfd waiting = {m_descriptor, POLLIN, 0};
        return ::poll(&waiting, 1, int(deadline.remainingTime())) > 0;
    }
    pid_t id() const { return m_pid; }

private:
    const pid_t m_pid;
    const int m_descriptor;
};

// Until one says false.
void forEachProcess(const QByteArray &file, const std::function<bool(const Process &)> &act)
{
    struct stat info = {};
    if (file.isEmpty() || ::stat(file.constData(), &info) != 0)
        return;
    const QStringList entries = QDir(QStringLiteral("/proc")).entryList(QDir::Dirs);
    for (const QString &entry : entries) {
        const pid_t pid = entry.toInt();
        if (pid <= 0 || pid == ::getpid())
            continue;
        const Process process(pid);
        if (process.runs(info) && !act(process))
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
                       return process.end(deadline);
                   });
    return isRunning() ? QStringLiteral("%1 cannot be ended").arg(name) : QString();
}

} // namespace tarn::services
