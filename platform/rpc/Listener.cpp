#include "rpc/Listener.h"
#include "rpc/Log.h"
#include <QFile>
#include <cerrno>
#include <cstring>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <system_error>
#include <unistd.h>

namespace tarn::rpc {

static constexpr std::chrono::milliseconds FailurePause(100);

Listener::~Listener()
{
    m_stop = true;
    ::shutdown(m_socket, SHUT_RDWR); // wakes the thread
    if (m_thread.joinable())
        m_thread.join();
    if (m_socket >= 0)
        ::close(m_socket);
    if (!m_path.isEmpty())
        ::unlink(m_path.constData());
}

bool Listener::open(const QString &path, QString *error)
{
    const QByteArray name = QFile::encodeName(path);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, name.constData(), sizeof address.sun_path - 1);
    const bool isOpen = open(reinterpret_cast<sockaddr *>(&address), sizeof address);
    if (!isOpen)
        *error = QStringLiteral("cannot serve on %1: %2").arg(path, qt_error_string(errno));
    return isOpen;
}

bool Listener::open(Address *address, QString *error)
{
    addrinfo *found = nullptr;
    addrinfo hints = {};
    hints.ai_flags = AI_PASSIVE | AI_NUMERICSERV;
    hints.ai_socktype = SOCK_STREAM;
    const QByteArray port = QByteArray::number(address->port);
    const int failure = ::getaddrinfo(address->ip.toUtf8().constData(), port.constData(), &hints, &found);
    bool isOpen = false;
    for (const addrinfo *each = found; each && !isOpen; each = each->ai_next)
        isOpen = open(each->ai_addr, each->ai_addrlen);
    if (!isOpen)
        *error = QStringLiteral("cannot serve on %1: %2")
                     .arg(address->text(),
                          failure ? QString::fromLocal8Bit(::gai_strerror(failure)) : qt_error_string(errno));
    if (failure == 0)
        ::freeaddrinfo(found);
    sockaddr_in6 bound = {}; // the port of an IPv4 address is at the same place
    socklen_t size = sizeof bound;
    if (isOpen && ::getsockname(m_socket, reinterpret_cast<sockaddr *>(&bound), &size) == 0)
        address->port = ntohs(bound.sin6_port);
    return isOpen;
}

/// @return false with errno
bool Listener::open(const sockaddr *address, socklen_t size)
{
    const int on = 1;
    if (m_socket >= 0)
        ::close(m_socket); // of an address that failed
    m_socket = ::socket(address->sa_family, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (m_socket < 0 || ::setsockopt(m_socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) != 0 ||
        ::bind(m_socket, address, size) != 0)
        return false;
    if (address->sa_family == AF_UNIX)
        m_path = reinterpret_cast<const sockaddr_un *>(address)->sun_path;
    if (::listen(m_socket, SOMAXCONN) != 0)
        return false;
    // Connections inherit it; a unix socket refuses it.
    ::setsockopt(m_socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    try {
        m_thread = std::thread([this] { run(); });
    } catch (const std::system_error &e) {
        errno = e.code().value();
    }
    return m_thread.joinable();
}

void Listener::run()
{
    bool wasFailing = false;
    while (!m_stop) {
        pollfd waiting = {m_socket, POLLIN, 0};
        if (::poll(&waiting, 1, -1) < 0 || m_stop) // accept4() would reserve its descriptor before it waits
            continue;
        const int connection = ::accept4(m_socket, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
        const int reason = errno;
        if (connection >= 0) {
            wasFailing = false;
            m_accepted(connection);
        } else if (!m_stop && reason != EINTR && reason != ECONNABORTED) {
            if (!std::exchange(wasFailing, true))
                warn(QStringLiteral("a connection waits: %1").arg(qt_error_string(reason)));
            std::this_thread::sleep_for(FailurePause);
        }
    }
}

} // namespace tarn::rpc
