#include "services/RunningProgram.h"
#include "services/Log.h"
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QScopeGuard>
#include <cerrno>
#include <csignal>
#include <functional>
#include <poll.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace tarn::services {
namespace {

bool isSameFile(const QByteArray &one, const QByteArray &other)
{
    struct stat first = {};
    struct stat second = {};
    return ::stat(one.constData(), &first) == 0 && ::stat(other.constData(), &second) == 0 &&
           first.st_dev == second.st_dev && first.st_ino == second.st_ino;
}

// Whether a process of this user runs the file, also one that was replaced or deleted since: the link "exe" says so
// then, unless a file is really called "... (deleted)".
bool runs(const QByteArray &proc, const QByteArray &file)
{
    const QByteArray exe = proc + "/exe";
    const QByteArray lost = file + " (deleted)";
    struct stat owner = {};
    if (::stat(proc.constData(), &owner) != 0 || owner.st_uid != ::geteuid())
        return false;
    QByteArray target(lost.size() + 1, '\0'); // a longer target fills it
    target.resize(int(qMax<ssize_t>(0, ::readlink(exe.constData(), target.data(), size_t(target.size())))));
    return isSameFile(exe, file) || (target == lost && !isSameFile(exe, lost));
}

// Calls act with a descriptor for each process that runs the file, until it returns false. The descriptor stays with the
// process when its number is given to another one.
void forEachProcess(const QByteArray &file, const std::function<bool(int)> &act)
{
    const QStringList entries = file.isEmpty() ? QStringList() : QDir(QStringLiteral("/proc")).entryList(QDir::Dirs);
    for (const QString &entry : entries) {
        const pid_t pid = entry.toInt();
        const int descriptor = pid > 0 && pid != ::getpid() ? int(::syscall(SYS_pidfd_open, pid, 0)) : -1;
        const auto closing = qScopeGuard([descriptor] { ::close(descriptor); });
        if (descriptor >= 0 && runs("/proc/" + entry.toLatin1(), file) && !act(descriptor))
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
    forEachProcess(m_file, [&](int) {
        found = true;
        return false;
    });
    return found;
}

QString RunningProgram::end(int timeoutMs) const
{
    const QString name = QFile::decodeName(m_file);
    const QDeadlineTimer deadline(timeoutMs);
    forEachProcess(m_file, [&](int process) {
        qCInfo(servicesLog).noquote() << QStringLiteral("ending a process of %1").arg(name);
        if (::syscall(SYS_pidfd_send_signal, process, SIGKILL, nullptr, 0) != 0)
            return errno == ESRCH; // it has ended
        pollfd waiting = {process, POLLIN, 0};
        return ::poll(&waiting, 1, int(deadline.remainingTime())) > 0;
    });
    return isRunning() ? QStringLiteral("%1 cannot be ended").arg(name) : QString();
}

} // namespace tarn::services
