#include "hub/PortReservation.h"
#include "tarn/rpc/RuntimeDir.h"
#include <QFile>
#include <cerrno>
#include <cstring>
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
    if (m_lock >= 0)
        ::close(m_lock);
}

bool PortReservation::reserve(QString *error)
{
    if (!lock(error))
        return false;
    const quint16 last = rememberedPort();
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
    const QString path = m_lockFile;
    m_lock = ::open(QFile::encodeName(path).constData(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (m_lock < 0) {
        *error = QStringLiteral("%1 cannot be opened: %2").arg(path, qt_error_string(errno));
        return false;
    }
    if (::flock(m_lock, LOCK_EX | LOCK_NB) != 0) {
        *error = errno == EWOULDBLOCK ? QStringLiteral("another hub runs in %1").arg(dir)
                                      : QStringLiteral("%1 cannot be locked: %2").arg(path, qt_error_string(errno));
        return false;
    }
    return true;
}

quint16 PortReservation::rememberedPort() const
{
    char text[16] = {};
    const ssize_t size = ::pread(m_lock, text, sizeof(text) - 1, 0);
    return size > 0 ? QByteArray(text).trimmed().toUShort() : 0;
}

void PortReservation::remember() const
{
    const QByteArray text = QByteArray::number(m_port) + '\n';
    if (::ftruncate(m_lock, 0) != 0 || ::pwrite(m_lock, text.constData(), static_cast<size_t>(text.size()), 0) < 0)
        qWarning("the port cannot be remembered: %s", std::strerror(errno));
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
    return ::fstat(m_lock, &held) == 0 && ::lstat(QFile::encodeName(m_lockFile).constData(), &found) == 0 &&
           held.st_ino == found.st_ino && held.st_dev == found.st_dev;
}
