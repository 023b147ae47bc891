#include "hub/PortReservation.h"
#include "tarn/rpc/RuntimeDir.h"
#include <cerrno>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

PortReservation::~PortReservation()
{
    if (m_socket >= 0)
        ::close(m_socket);
}

bool PortReservation::reserve(QString *error)
{
    if (!lock(error))
        return false;
    const quint16 last = m_lock.read(16).trimmed().toUShort(); // 0 where none is remembered
    if ((last == 0 || !bindPort(last)) && !bindPort(0)) {
        *error = QStringLiteral("no port can be reserved: %1").arg(qt_error_string(errno));
        return false;
    }
    remember();
    return true;
}

bool PortReservation::lock(QString *error)
{
    const QString dir = tarn::rpc::runtimeDir(error);
    if (dir.isEmpty())
        return false;
    m_lockFile = dir + QStringLiteral("/hub.lock");
    // By the system call: QFile would follow a link and let others read the file.
    const int fd = ::open(QFile::encodeName(lockFile()).constData(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (fd < 0 || !m_lock.open(fd, QIODevice::ReadWrite, QFileDevice::AutoCloseHandle)) {
        *error = QStringLiteral("%1 cannot be opened: %2").arg(lockFile(), qt_error_string(errno));
        return false;
    }
    if (::flock(m_lock.handle(), LOCK_EX | LOCK_NB) != 0) {
        *error = errno == EWOULDBLOCK
                     ? QStringLiteral("another hub runs in %1").arg(dir)
                     : QStringLiteral("%1 cannot be locked: %2").arg(lockFile(), qt_error_string(errno));
        return false;
    }
    return true;
}

void PortReservation::remember()
{
    const QByteArray text = QByteArray::number(m_port) + '\n';
    if (!m_lock.seek(0) || !m_lock.resize(0) || m_lock.write(text) < 0 || !m_lock.flush())
        qWarning("the port cannot be remembered: %s", qUtf8Printable(m_lock.errorString()));
}

/// Binds without listening: no program can connect, and no other gets the number.
bool PortReservation::bindPort(quint16 wanted)
{
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(wanted);
    socklen_t size = sizeof(address);
    auto *generic = reinterpret_cast<sockaddr *>(&address);
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return false;
    if (::bind(fd, generic, size) != 0 || ::getsockname(fd, generic, &size) != 0) {
        ::close(fd);
        return false;
    }
    m_socket = fd;
    m_port = ntohs(address.sin_port);
    return true;
}

bool PortReservation::isInPlace() const
{
    struct stat held = {};
    struct stat found = {};
    return ::fstat(m_lock.handle(), &held) == 0 && ::lstat(QFile::encodeName(lockFile()).constData(), &found) == 0 &&
           held.st_ino == found.st_ino && held.st_dev == found.st_dev;
}
