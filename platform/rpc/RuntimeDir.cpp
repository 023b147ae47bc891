#include "tarn/rpc/RuntimeDir.h"
#include "tarn/rpc/HubPort.h"
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace tarn::rpc {
namespace {

constexpr int MaxSocketPath = 106; // sun_path without its NUL
constexpr qint64 SweepAgeMs = 10000;

QString wantedDir()
{
    const QString base = qEnvironmentVariable("XDG_RUNTIME_DIR");
    if (!base.isEmpty())
        return base + QStringLiteral("/tarn");
    return QStringLiteral("%1/tarn-%2").arg(QDir::tempPath()).arg(::getuid());
}

/// Why the directory cannot be trusted; empty when it can.
QString objection(const QByteArray &path)
{
    struct stat info = {};
    if (::lstat(path.constData(), &info) != 0)
        return qt_error_string(errno);
    if (S_ISLNK(info.st_mode))
        return QStringLiteral("it is a symbolic link");
    if (!S_ISDIR(info.st_mode))
        return QStringLiteral("it is no directory");
    if (info.st_uid != ::getuid())
        return QStringLiteral("it belongs to user %1").arg(info.st_uid);
    if ((info.st_mode & 0777) != 0700)
        return QStringLiteral("its mode is %1, not 700").arg(info.st_mode & 0777, 3, 8, QLatin1Char('0'));
    return QString();
}

/// A socket without a listener answers ECONNREFUSED, also when its process lived in another pid namespace.
bool isDeserted(const QString &path)
{
    const int fd = connectTo(QFile::encodeName(path));
    const bool refused = fd < 0 && (errno == ECONNREFUSED || errno == ENOENT);
    ::close(fd);
    return refused;
}

} // namespace

QString runtimeDir(QString *error)
{
    QString dir = wantedDir();
    const QByteArray path = QFile::encodeName(dir);
    const bool isAbsolute = QDir::isAbsolutePath(dir);
    if (isAbsolute && ::mkdir(path.constData(), 0700) != 0 && errno != EEXIST) {
        *error = QStringLiteral("runtime directory %1 cannot be made: %2").arg(dir, qt_error_string(errno));
        return QString();
    }
    const QString reason = isAbsolute ? objection(path) : QStringLiteral("the path is not absolute");
    if (!reason.isEmpty()) {
        *error = QStringLiteral("runtime directory %1 refused: %2").arg(dir, reason);
        return QString();
    }
    return dir;
}

QString socketPath(const QString &name, QString *error)
{
    const QString dir = runtimeDir(error);
    if (dir.isEmpty())
        return QString();
    QString path = dir + QLatin1Char('/') + name;
    const int length = QFile::encodeName(path).size();
    if (length > MaxSocketPath) {
        *error = QStringLiteral("socket path %1 has %2 bytes, at most %3 are possible")
                     .arg(path)
                     .arg(length)
                     .arg(MaxSocketPath);
        return QString();
    }
    return path;
}

bool linkHubSocket(quint16 port, QString *error)
{
    const QString path = socketPath(HubSocketLink, error);
    if (path.isEmpty())
        return false;
    const QByteArray link = QFile::encodeName(path);
    const QByteArray next = link + ".new"; // renamed: the link never lacks
    ::unlink(next.constData());
    if (::symlink(hubSocketName(port).toLatin1().constData(), next.constData()) == 0 &&
        ::rename(next.constData(), link.constData()) == 0)
        return true;
    *error = QStringLiteral("%1 cannot be made: %2").arg(path, qt_error_string(errno));
    return false;
}

/// The port in the link's target; 0 without one.
static quint16 linkedPort(const QByteArray &link)
{
    char target[64] = "";
    unsigned number = 0;
    const ssize_t size = ::readlink(link.constData(), target, sizeof target - 1);
    const bool found = size > 0 && std::sscanf(target, "hub-%u.sock", &number) == 1 && number <= 65535;
    return found ? static_cast<quint16>(number) : quint16(0);
}

void unlinkHubSocket(quint16 port)
{
    QString error;
    const QByteArray link = QFile::encodeName(socketPath(HubSocketLink, &error));
    if (linkedPort(link) == port)
        ::unlink(link.constData());
}

int connectTo(const QByteArray &path)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (path.size() > MaxSocketPath) {
        errno = ENAMETOOLONG;
        return -1;
    }
    memcpy(address.sun_path, path.constData(), static_cast<size_t>(path.size()));
    const size_t nameSize = static_cast<size_t>(path.size()) + (path.startsWith('\0') ? 0 : 1);
    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (fd >= 0 && ::connect(fd, reinterpret_cast<sockaddr *>(&address),
                             static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + nameSize)) != 0) {
        const int reason = errno;
        ::close(fd);
        errno = reason;
        return -1;
    }
    return fd;
}

quint16 hubPort(QString *error)
{
    QString reason;
    const QString link = socketPath(HubSocketLink, &reason);
    quint16 port = linkedPort(QFile::encodeName(link));
    if (port != 0 && isDeserted(link))
        port = 0;
    if (port == 0 && !link.isEmpty())
        reason = QStringLiteral("no hub runs");
    if (port == 0 && error)
        *error = reason;
    return port;
}

void sweepSockets()
{
    QString error;
    const QString dir = runtimeDir(&error);
    if (dir.isEmpty())
        return;
    const auto entries = QDir(dir).entryInfoList({QStringLiteral("*.sock")}, QDir::System | QDir::Files);
    const QDateTime now = QDateTime::currentDateTime();
    for (const QFileInfo &entry : entries) {
        // A young one may be bound and not yet listening.
        if (entry.lastModified().msecsTo(now) > SweepAgeMs && isDeserted(entry.filePath()))
            QFile::remove(entry.filePath());
    }
}

} // namespace tarn::rpc
