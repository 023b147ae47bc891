#include "services/DataDirectory.h"
#include "services/Files.h"
#include <QDir>
#include <QStandardPaths>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tarn::services {

QString dataDirectory()
{
    const QString base = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
    QString path = base + QStringLiteral("/tarn");
    const QByteArray name = QFile::encodeName(path);
    if (!QDir().mkpath(base) || (::mkdir(name.constData(), 0700) != 0 && errno != EEXIST))
        throw Failure(QStringLiteral("%1 cannot be made: %2").arg(path, systemError()));
    struct stat info = {};
    if (::lstat(name.constData(), &info) != 0 || !S_ISDIR(info.st_mode) || info.st_uid != ::geteuid())
        throw Failure(QStringLiteral("%1 is not a directory of this user's own").arg(path));
    if ((info.st_mode & 077) != 0 && ::chmod(name.constData(), 0700) != 0)
        throw Failure(QStringLiteral("%1 is open to other users: %2").arg(path, systemError()));
    return path;
}

DataLock::DataLock(const QString &directory)
    : m_name(directory + QStringLiteral("/services.lock"))
{
}

DataLock::~DataLock()
{
    if (m_file >= 0)
        ::close(m_file);
}

bool DataLock::tryLock()
{
    struct flock lock = {};
    lock.l_type = F_WRLCK;
    if (m_file < 0)
        m_file = ::open(QFile::encodeName(m_name).constData(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (m_file >= 0 && ::fcntl(m_file, F_SETLK, &lock) == 0)
        return true;
    if (m_file < 0 || (errno != EACCES && errno != EAGAIN))
        throw systemFailure(m_name);
    return false;
}

qint64 DataLock::holder() const
{
    struct flock lock = {};
    lock.l_type = F_WRLCK;
    return ::fcntl(m_file, F_GETLK, &lock) == 0 && lock.l_type != F_UNLCK ? lock.l_pid : 0;
}

} // namespace tarn::services
