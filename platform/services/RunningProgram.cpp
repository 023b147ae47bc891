#include "services/RunningProgram.h"
#include "services/Failure.h"
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
void forEachProcess(const QString &file, const std::function<bool(int)> &act)
{
    const QStringList entries = file.isEmpty() ? QStringList() : QDir(QStringLiteral("/proc")).entryList(QDir::Dirs);
    for (const QString &entry : entries) {
        const pid_t pid = entry.toInt();
        const int descriptor = pid > 0 && pid != ::getpid() ? int(::syscall(SYS_pidfd_open, pid, 0)) : -1;
        const auto closing = qScopeGuard([descriptor] { ::close(descriptor); });
        if (descriptor >= 0 && runs("/proc/" + entry.toLatin1(), QFile::encodeName(file)) && !act(descriptor))
            return;
    }
}

} // namespace

bool isProgramRunning(const QString &file)
{
    bool found = false;
    forEachProcess(file, [&found](int) {
        found = true;
        return false;
    });
    return found;
}

void endProgram(const QString &file, int timeoutMs)
{
    const QDeadlineTimer deadline(timeoutMs);
    forEachProcess(file, [&](int process) {
        qCInfo(servicesLog).noquote() << QStringLiteral("ending a process of %1").arg(file);
        if (::syscall(SYS_pidfd_send_signal, process, SIGKILL, nullptr, 0) != 0)
            return errno == ESRCH; // it has ended
        pollfd waiting = {process, POLLIN, 0};
        return ::poll(&waiting, 1, int(deadline.remainingTime())) > 0;
    });
    if (isProgramRunning(file))
        throw Failure(QStringLiteral("%1 cannot be ended").arg(file));
}

} // namespace tarn::services
