#pragma once
#include "rpc/Settings.h"
#include <atomic>
#include <functional>
#include <sys/socket.h>
#include <thread>

namespace tarn::rpc {

/// Accepts connections on its own thread. gRPC's listener ends for good at a connection for which the process has no
/// descriptor left; this one continues as soon as there is one again.
class Listener
{
public:
    /// @param accepted takes the descriptor of a connection; called on the listener's thread
    explicit Listener(std::function<void(int)> accepted)
        : m_accepted(std::move(accepted))
    {
    }
    ~Listener(); ///< accepts no more and removes the socket
    Q_DISABLE_COPY(Listener)

    /// @param path of a socket that does not exist, at most 107 bytes
    bool open(const QString &path, QString *error);
    /// Serves on the first address of its name that the machine has.
    /// @param address its port is set where it is 0: the system chooses one
    bool open(Address *address, QString *error);

private:
    bool open(const sockaddr *address, socklen_t size);
    void run();

    const std::function<void(int)> m_accepted;
    QByteArray m_path; ///< empty unless bound
    int m_socket = -1;
    std::atomic_bool m_stop = false;
    std::thread m_thread;
};

} // namespace tarn::rpc
