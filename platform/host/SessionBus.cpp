#include "host/SessionBus.h"
#include <QByteArray>
#include <QList>
#include <cstddef>
#include <cstring>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

/// The value of a key in the first unix address of the environment, e.g. "unix:path=/run/user/1000/bus,guid=...".
QByteArray addressPart(const char *key)
{
    const QByteArray address = qgetenv("DBUS_SESSION_BUS_ADDRESS").split(';').constFirst();
    if (!address.startsWith("unix:"))
        return QByteArray();
    for (const QByteArray &part : address.mid(5).split(',')) {
        if (part.startsWith(QByteArray(key) + '='))
            return QByteArray::fromPercentEncoding(part.mid(part.indexOf('=') + 1));
    }
    return QByteArray();
}

/// A file's path, or with a leading NUL an abstract name; empty when there is none.
QByteArray socketName()
{
    const QByteArray abstract = addressPart("abstract");
    if (!abstract.isEmpty())
        return QByteArray(1, '\0') + abstract;
    if (qEnvironmentVariableIsSet("DBUS_SESSION_BUS_ADDRESS"))
        return addressPart("path");
    return qgetenv("XDG_RUNTIME_DIR") + "/bus";
}

} // namespace

bool sessionBusHangs(int limitMs)
{
    const QByteArray name = socketName();
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (name.isEmpty() || name.size() >= static_cast<int>(sizeof address.sun_path))
        return false;
    std::memcpy(address.sun_path, name.constData(), static_cast<size_t>(name.size()));
    const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + static_cast<size_t>(name.size()) +
                                             (name.startsWith('\0') ? 0 : 1));
    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (fd < 0)
        return false;
    bool hangs = false;
    if (::connect(fd, reinterpret_cast<sockaddr *>(&address), size) == 0) {
        const QByteArray hello =
            QByteArray(1, '\0') + "AUTH EXTERNAL " + QByteArray::number(::getuid()).toHex() + "\r\n";
        pollfd answer = {fd, POLLIN, 0};
        hangs = ::write(fd, hello.constData(), static_cast<size_t>(hello.size())) == hello.size() &&
                ::poll(&answer, 1, limitMs) == 0;
    } else {
        hangs = errno == EAGAIN; // as many wait as it lets wait
    }
    ::close(fd);
    return hangs;
}
