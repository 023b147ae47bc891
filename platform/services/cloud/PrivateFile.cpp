#include "services/cloud/PrivateFile.h"
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
#include <unistd.h>

namespace tarn::services {

namespace {

QString systemError()
{
    return QString::fromLocal8Bit(std::strerror(errno));
}

PrivateFile::State stateOf(int openError)
{
    if (openError == ENOENT)
        return PrivateFile::Absent;
    return openError == ELOOP || openError == ENXIO ? PrivateFile::Bad : PrivateFile::Unreadable; // a link, a socket
}

// What is wrong with the file itself; empty when nothing is.
QString faultOf(const struct stat &info, qint64 maxSize)
{
    if (!S_ISREG(info.st_mode))
        return QStringLiteral("it is no file");
    if (info.st_uid != ::geteuid())
        return QStringLiteral("it belongs to another user");
    if ((info.st_mode & 077) != 0)
        return QStringLiteral("it is open to other users");
    return info.st_size > maxSize ? QStringLiteral("it is too large") : QString();
}

bool syncDirectory(const QString &file)
{
    const QByteArray directory = QFile::encodeName(QFileInfo(file).absolutePath());
    const int descriptor = ::open(directory.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0)
        return false;
    const bool synced = ::fsync(descriptor) == 0;
    ::close(descriptor);
    return synced;
}

} // namespace

PrivateFile readPrivateFile(const QString &file, qint64 maxSize)
{
    const int descriptor = ::open(QFile::encodeName(file).constData(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
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
    QByteArray bytes(static_cast<int>(info.st_size), '\0');
    int size = 0;
    while (size < bytes.size()) {
        const ssize_t got = ::read(descriptor, bytes.data() + size, static_cast<size_t>(bytes.size() - size));
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            return {PrivateFile::Unreadable, {}, got < 0 ? systemError() : QStringLiteral("it shrinks")};
        size += static_cast<int>(got);
    }
    return {PrivateFile::Sound, std::move(bytes), {}};
}

QString moveAside(const QString &file, const QString &reason)
{
    const QString stamp = QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMdd-hhmmss-zzz"));
    const QString target = QStringLiteral("%1.broken-%2").arg(file, stamp);
    if (::rename(QFile::encodeName(file).constData(), QFile::encodeName(target).constData()) != 0)
        return systemError();
    qCWarning(servicesLog).noquote() << QStringLiteral("%1 is moved to %2: %3").arg(file, target, reason);
    return {};
}

QString writeNewPrivateFile(const QString &file, const char *bytes, int size)
{
    const QByteArray name = QFile::encodeName(file);
    QByteArray fresh = name + ".XXXXXX";
    const int descriptor = ::mkostemp(fresh.data(), O_CLOEXEC); // 0600
    if (descriptor < 0)
        return systemError();
    const bool written = ::write(descriptor, bytes, static_cast<size_t>(size)) == size && ::fsync(descriptor) == 0;
    QString error = written ? QString() : systemError();
    ::close(descriptor);
    if (error.isEmpty() && (::link(fresh.constData(), name.constData()) != 0 || !syncDirectory(file)))
        error = systemError();
    ::unlink(fresh.constData());
    return error;
}

} // namespace tarn::services
