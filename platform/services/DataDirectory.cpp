#include "services/DataDirectory.h"
#include "services/Files.h"
#include <QDir>
#include <QFile>
#include <QStandardPaths>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tarn::services {

namespace {

struct flock wholeFile()
{
    struct flock lock = {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    return lock;
}

} // namespace

QString dataDirectory(QString *error)
{
    const QString base = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
    QString path = base + QStringLiteral("/tarn");
    const QByteArray name = QFile::encodeName(path);
    if (!QDir().mkpath(base) || (::mkdir(name.constData(), 0700) != 0 && errno != EEXIST)) {
        *error = QStringLiteral("%1 cannot be made: %2").arg(path, systemError());
        return {};
    }
    struct stat info = {};
    if (::lstat(name.constData(), &info) != 0 || !S_ISDIR(info.st_mode) || info.st_uid != ::geteuid()) {
        *error = QStringLiteral("%1 is not a directory of this user's own").arg(path);
        return {};
    }
    if ((info.st_mode & 077) != 0 && ::chmod(name.constData(), 0700) != 0) {
        *error = QStringLiteral("%1 is open to other users: %2").arg(path, systemError());
        return {};
    }
    return path;
}

DataLock::DataLock(const QString &directory)
{
    const QByteArray name = QFile::encodeName(directory + QStringLiteral("/services.lock"));
    m_file = ::open(name.constData(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (m_file < 0)
        m_openError = QStringLiteral("%1: %2").arg(QFile::decodeName(name), systemError());
}

DataLock::~DataLock()
{
    if (m_file >= 0)
        ::close(m_file);
}

bool DataLock::tryLock(QString *error)
{
    error->clear();
    if (m_file < 0) {
        *error = m_openError;
        return false;
    }
    struct flock lock = wholeFile();
    if (::fcntl(m_file, F_SETLK, &lock) == 0)
        return true;
    if (errno != EACCES && errno != EAGAIN)
        *error = systemError();
    return false;
}

qint64 DataLock::holder() const
{
    struct flock lock = wholeFile();
    if (m_file < 0 || ::fcntl(m_file, F_GETLK, &lock) != 0 || lock.l_type == F_UNLCK)
        return 0;
    return lock.l_pid;
}

} // namespace tarn::services
