#include "FakeServer.h"

#include <cstddef>
#include <cstring>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

constexpr char GetWindowAttributes = 3; // its request code

const sockaddr *plain(const sockaddr_un &name)
{
    return reinterpret_cast<const sockaddr *>(&name);
}

} // namespace

FakeServer::FakeServer()
    : m_real("/tmp/.X11-unix/X" + qgetenv("DISPLAY").mid(1).split('.').first())
{
    for (m_number = 10000 + getpid() % 10000; m_number < 30000; m_number++) {
        if (listenAs(m_number)) {
            m_thread = std::thread(&FakeServer::run, this);
            return;
        }
    }
}

// On the abstract address, which clients try first and which leaves no file behind.
bool FakeServer::listenAs(int number)
{
    const QByteArray path = "/tmp/.X11-unix/X" + QByteArray::number(number);
    sockaddr_un name = {};
    name.sun_family = AF_UNIX;
    std::memcpy(name.sun_path + 1, path.constData(), size_t(path.size()));
    const auto length = socklen_t(offsetof(sockaddr_un, sun_path) + 1 + size_t(path.size()));
    const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (bind(listener, plain(name), length) == 0 && listen(listener, 4) == 0) {
        m_listener = listener;
        return true;
    }
    close(listener);
    return false;
}

FakeServer::~FakeServer()
{
    if (m_listener < 0)
        return;
    shutdown(m_listener, SHUT_RDWR); // ends accept()
    m_thread.join();
    close(m_listener);
}

QByteArray FakeServer::display() const
{
    return ':' + QByteArray::number(m_number);
}

int FakeServer::connectTo(const QByteArray &path)
{
    sockaddr_un name = {};
    name.sun_family = AF_UNIX;
    std::strncpy(name.sun_path, path.constData(), sizeof name.sun_path - 1);
    const int server = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (connect(server, plain(name), sizeof name) == 0)
        return server;
    close(server);
    return -1;
}

void FakeServer::run()
{
    for (int client = accept(m_listener, nullptr, nullptr); client >= 0;
         client = accept(m_listener, nullptr, nullptr)) {
        serve(client);
        close(client);
    }
}

void FakeServer::serve(int client)
{
    const int server = connectTo(m_real);
    char buffer[65536];
    while (server >= 0) {
        pollfd ends[] = {{client, POLLIN, 0}, {server, POLLIN, 0}};
        if (poll(ends, 2, -1) < 0)
            break;
        const bool fromClient = ends[0].revents != 0;
        const ssize_t size = read(fromClient ? client : server, buffer, sizeof buffer);
        if (size <= 0)
            break;
        if (fromClient && buffer[0] == GetWindowAttributes) {
            ++m_cuts;
            break;
        }
        if (write(fromClient ? server : client, buffer, size_t(size)) != size)
            break;
    }
    close(server);
}
