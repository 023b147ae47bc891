#include "rpc/Listener.h"
#include "rpc/Log.h"
#include <QFile>
#include <cerrno>
#include <cstring>
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

bool Listener::open(const QString &path, std::function<void(int)> accepted, QString *error)
{
    const QByteArray name = QFile::encodeName(path);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, name.constData(), sizeof address.sun_path - 1);
    m_socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (m_socket < 0 || ::bind(m_socket, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0) {
        *error = QStringLiteral("cannot serve on %1: %2").arg(path, qt_error_string(errno));
        return false;
    }
    m_path = name;
    m_accepted = std::move(accepted);
    if (::listen(m_socket, SOMAXCONN) != 0) {
        *error = QStringLiteral("cannot serve on %1: %2").arg(path, qt_error_string(errno));
        return false;
    }
    try {
        m_thread = std::thread([this] { run(); });
    } catch (const std::system_error &e) {
        *error = QStringLiteral("no thread can be started: %1").arg(QString::fromLocal8Bit(e.what()));
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
