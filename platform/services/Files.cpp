#include "services/Files.h"
#include <QCryptographicHash>
#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QSettings>
#include <QStandardPaths>
#include <QTemporaryFile>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

namespace tarn::services {

Q_LOGGING_CATEGORY(servicesLog, "tarn.services")

namespace {

void syncWith(int (*sync)(int), const QString &path)
{
    const int descriptor = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0)
        throw systemFailure(path);
    const bool synced = sync(descriptor) == 0;
    const Failure failure = systemFailure(path);
    ::close(descriptor);
    if (!synced)
        throw failure;
}

// The mistake of the file itself; empty when there is none.
QString faultOf(const struct stat &info, qint64 maxSize)
{
    if (info.st_uid != ::geteuid())
        return QStringLiteral("it belongs to another user");
    if ((info.st_mode & 077) != 0)
        return QStringLiteral("it is open to other users");
    return info.st_size > maxSize ? QStringLiteral("it is too large") : QString();
}

} // namespace

QString systemError()
{
    return QString::fromLocal8Bit(std::strerror(errno));
}

Failure systemFailure(const QString &file)
{
    return Failure(QStringLiteral("%1: %2").arg(file, systemError()));
}

// Asks the file system: QStorageInfo reads the mount table, which does not name the root of a chroot.
void requireSpace(const QString &directory, qint64 bytes)
{
    struct statvfs info = {};
    if (::statvfs(QFile::encodeName(directory).constData(), &info) != 0)
        return; // the writing itself will fail
    const auto available = static_cast<qint64>(info.f_bavail) * static_cast<qint64>(info.f_frsize);
    if (bytes > available - SpaceReserve)
        throw Failure(
            QStringLiteral("no space left in %1: %2 bytes are needed and %3 are free, of which %4 stay free")
                .arg(directory, QString::number(bytes), QString::number(available), QString::number(SpaceReserve)));
}

void syncToDisk(const QString &path)
{
    syncWith(::fsync, path);
}

void syncFileSystem(const QString &directory)
{
    syncWith(::syncfs, directory);
}

void writeDurably(const QString &file, const QByteArray &content)
{
    QTemporaryFile fresh(file + QStringLiteral(".XXXXXX")); // mode 0600
    if (!fresh.open() || fresh.write(content) != content.size() || !fresh.flush())
        throw Failure(QStringLiteral("%1: %2").arg(file, fresh.errorString()));
    if (::fsync(fresh.handle()) != 0 ||
        ::rename(QFile::encodeName(fresh.fileName()).constData(), QFile::encodeName(file).constData()) != 0)
        throw systemFailure(file);
    fresh.setAutoRemove(false);
    syncToDisk(QFileInfo(file).absolutePath());
}

QString moveAside(const QString &file, const QString &reason)
{
    const QString stamp = QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMdd-hhmmss-zzz"));
    QString moved = QStringLiteral("%1.broken-%2").arg(file, stamp);
    if (::rename(QFile::encodeName(file).constData(), QFile::encodeName(moved).constData()) != 0)
        return {};
    qCCritical(servicesLog).noquote() << QStringLiteral("%1 is moved to %2: %3").arg(file, moved, reason);
    return moved;
}

bool openRegular(const QString &name, QFile *file)
{
    const int descriptor = ::open(QFile::encodeName(name).constData(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    struct stat info = {};
    if (descriptor < 0)
        return false;
    if (::fstat(descriptor, &info) == 0 && S_ISREG(info.st_mode))
        return file->open(descriptor, QIODevice::ReadOnly | QIODevice::Unbuffered, QFileDevice::AutoCloseHandle);
    ::close(descriptor);
    errno = EINVAL;
    return false;
}

void requireChecksum(QFile *file, const QString &sha256, const std::atomic<bool> &stopping)
{
    constexpr qint64 BlockSize = 256 * 1024;
    QCryptographicHash hash(QCryptographicHash::Sha256);
    failIf(!file->seek(0), QStringLiteral("the package cannot be read: %1").arg(file->errorString()));
    for (QByteArray block = file->read(BlockSize); !block.isEmpty(); block = file->read(BlockSize)) {
        failIf(stopping, QStringLiteral("cancelled"));
        hash.addData(block);
    }
    failIf(file->error() != QFileDevice::NoError,
           QStringLiteral("the package cannot be read: %1").arg(file->errorString()));
    const QString sum = QString::fromLatin1(hash.result().toHex());
    if (sum != sha256.toLower())
        throw WrongChecksum(QStringLiteral("the checksum is wrong: %1 instead of %2").arg(sum, sha256));
}

QString dataDirectory()
{
    const QString base = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
    QString path = base + QStringLiteral("/tarn");
    const QByteArray name = QFile::encodeName(path);
    if (!QDir().mkpath(base) || (::mkdir(name.constData(), 0700) != 0 && errno != EEXIST))
        throw Failure(QStringLiteral("%1 cannot be made: %2").arg(path, systemError()));
    struct stat info = {};
    failIf(::lstat(name.constData(), &info) != 0 || !S_ISDIR(info.st_mode) || info.st_uid != ::geteuid(),
           QStringLiteral("%1 is not a directory of this user's own").arg(path));
    if ((info.st_mode & 077) != 0 && ::chmod(name.constData(), 0700) != 0)
        throw Failure(QStringLiteral("%1 is open to other users: %2").arg(path, systemError()));
    return path;
}

QString settingsFile(const QString &directory)
{
    const QFileInfo file(directory + QStringLiteral("/cfg.ini"));
    return file.isFile() ? file.filePath() : QStringLiteral(":/none");
}

QString iniText(const QSettings &settings, const QString &key)
{
    return settings.value(key).toStringList().join(QLatin1Char(',')).trimmed();
}

QByteArray readPrivateFile(const QString &file, qint64 maxSize)
{
    QFile in;
    struct stat info = {};
    if (!openRegular(file, &in) && errno == ENOENT)
        return {};
    if (!in.isOpen() && (errno == ELOOP || errno == ENXIO || errno == EINVAL)) // a link, a socket, a folder
        throw BadFile(systemError());
    if (!in.isOpen() || ::fstat(in.handle(), &info) != 0)
        throw Failure(systemError());
    const QString fault = faultOf(info, maxSize);
    if (!fault.isEmpty())
        throw BadFile(fault);
    QByteArray bytes = in.read(maxSize + 1);
    if (in.error() != QFileDevice::NoError || bytes.size() != info.st_size)
        throw Failure(QStringLiteral("it cannot be read completely: %1").arg(in.errorString()));
    return bytes.isNull() ? QByteArray("") : bytes; // of an empty file
}

} // namespace tarn::services
