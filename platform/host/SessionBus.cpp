#include "host/SessionBus.h"
#include "tarn/rpc/RuntimeDir.h"
#include <QByteArray>
#include <QList>
#include <cerrno>
#include <poll.h>
#include <sys/socket.h>
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
        return '\0' + abstract;
    if (qEnvironmentVariableIsSet("DBUS_SESSION_BUS_ADDRESS"))
        return addressPart("path");
    return qgetenv("XDG_RUNTIME_DIR") + "/bus";
}

} // namespace

bool sessionBusHangs(int limitMs)
{
    const QByteArray name = socketName();
    const int fd = name.isEmpty() ? -1 : tarn::rpc::connectTo(name);
    if (fd < 0)
        return !name.isEmpty() && errno == EAGAIN; // as many wait as it lets wait
    const QByteArray hello = QByteArray(1, '\0') + "AUTH EXTERNAL " + QByteArray::number(::getuid()).toHex() + "\r\n";
    pollfd answer = {fd, POLLIN, 0};
    const bool hangs = ::send(fd, hello.constData(), size_t(hello.size()), MSG_NOSIGNAL) == hello.size() &&
                       ::poll(&answer, 1, limitMs) == 0;
    ::close(fd);
    return hangs;
}
