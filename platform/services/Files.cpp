#include "services/Files.h"
#include "services/Log.h"
#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QScopeGuard>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

namespace tarn::services {

namespace {

bool syncWith(int (*sync)(int), const QString &path)
{
    const int descriptor = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0)
        return false;
    const bool synced = sync(descriptor) == 0;
    const int error = errno;
    ::close(descriptor);
    errno = error;
    return synced;
}

bool writeAll(int descriptor, const QByteArray &content)
{
    for (int done = 0; done < content.size();) {
        const ssize_t written =
            ::write(descriptor, content.constData() + done, static_cast<size_t>(content.size() - done));
        if (written < 0 && errno != EINTR)
            return false;
        done += written < 0 ? 0 : static_cast<int>(written);
    }
    return true;
}

// What is wrong with the file itself; empty when nothing is.
QString faultOf(const struct stat &info, qint64 maxSize)
{
    if (info.st_uid != ::geteuid())
        return QStringLiteral("it belongs to another user");
    if ((info.st_mode & 077) != 0)
        return QStringLiteral("it is open to other users");
    return info.st_size > maxSize ? QStringLiteral("it is too large") : QString();
}

PrivateFile::State stateOf(int openError)
{
    if (openError == ENOENT)
        return PrivateFile::Absent;
    const bool isOther = openError == ELOOP || openError == ENXIO || openError == EINVAL; // a link, a socket, a folder
    return isOther ? PrivateFile::Bad : PrivateFile::Unreadable;
}

} // namespace

QString systemError()
{
    return QString::fromLocal8Bit(std::strerror(errno));
}

// Asks the file system: QStorageInfo reads the mount table, which does not name the root of a chroot.
QString lackOfSpace(const QString &directory, qint64 bytes)
{
    struct statvfs info = {};
    if (::statvfs(QFile::encodeName(directory).constData(), &info) != 0)
        return {}; // the writing itself will fail
    const auto available = static_cast<qint64>(info.f_bavail) * static_cast<qint64>(info.f_frsize);
    if (bytes <= available - SpaceReserve)
        return {};
    return QStringLiteral("no space left in %1: %2 bytes are needed and %3 are free, of which %4 stay free")
        .arg(directory, QString::number(bytes), QString::number(available), QString::number(SpaceReserve));
}

bool syncToDisk(const QString &path)
{
    return syncWith(::fsync, path);
}

bool syncFileSystem(const QString &directory)
{
    return syncWith(::syncfs, directory);
}

QString writeDurably(const QString &file, const QByteArray &content)
{
    const QByteArray name = QFile::encodeName(file);
    QByteArray fresh = name + ".XXXXXX";
    const int descriptor = ::mkostemp(fresh.data(), O_CLOEXEC); // mode 0600
    if (descriptor < 0)
        return QStringLiteral("%1: %2").arg(file, systemError());
    bool written = writeAll(descriptor, content) && ::fsync(descriptor) == 0;
    QString reason = systemError();
    written = ::close(descriptor) == 0 && written;
    if (written && ::rename(fresh.constData(), name.constData()) == 0 && syncToDisk(QFileInfo(file).absolutePath()))
        return {};
    if (written)
        reason = systemError();
    ::unlink(fresh.constData());
    return QStringLiteral("%1: %2").arg(file, reason);
}

QString moveAside(const QString &file, const QString &reason, QString *target)
{
    const QString stamp = QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMdd-hhmmss-zzz"));
    const QString moved = QStringLiteral("%1.broken-%2").arg(file, stamp);
    if (::rename(QFile::encodeName(file).constData(), QFile::encodeName(moved).constData()) != 0)
        return systemError();
    qCCritical(servicesLog).noquote() << QStringLiteral("%1 is moved to %2: %3").arg(file, moved, reason);
    if (target)
        *target = moved;
    return {};
}

int openRegular(const QString &file)
{
    const int descriptor = ::open(QFile::encodeName(file).constData(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    struct stat info = {};
    if (descriptor < 0 || (::fstat(descriptor, &info) == 0 && S_ISREG(info.st_mode)))
        return descriptor;
    ::close(descriptor);
    errno = EINVAL;
    return -1;
}

QString settingsFile(const QString &directory)
{
    const QFileInfo file(directory + QStringLiteral("/cfg.ini"));
    return file.isFile() ? file.filePath() : QStringLiteral(":/none");
}

PrivateFile readPrivateFile(const QString &file, qint64 maxSize)
{
    const int descriptor = openRegular(file);
    if (descriptor < 0) {
        const PrivateFile::State state = stateOf(errno);
        return {state, {}, state == PrivateFile::Absent ? QString() : systemError()};
    }
    const auto closing = qScopeGuard([descriptor] { ::close(descriptor); });
    struct stat info = {};
    if (::fstat(descriptor, &info) != 0)
        return {PrivateFile::Unreadable, {}, systemError()};
    const QString fault = faultOf(info, maxSize);
    if (!fault.isEmpty())
        return {PrivateFile::Bad, {}, fault};
    QFile in;
    if (!in.open(descriptor, QIODevice::ReadOnly))
        return {PrivateFile::Unreadable, {}, in.errorString()};
    QByteArray bytes = in.read(maxSize + 1);
    if (in.error() != QFileDevice::NoError || bytes.size() != info.st_size)
        return {PrivateFile::Unreadable, {}, QStringLiteral("it cannot be read completely: %1").arg(in.errorString())};
    return {PrivateFile::Sound, std::move(bytes), {}};
}

} // namespace tarn::services
