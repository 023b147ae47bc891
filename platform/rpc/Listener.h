#pragma once
#include <QString>
#include <atomic>
#include <functional>
#include <thread>

namespace tarn::rpc {

/// Accepts the connections of a unix socket on its own thread. gRPC's listener ends for good at a connection for which the
/// process has no descriptor left; this one continues as soon as there is one again.
class Listener
{
public:
    Listener() = default;
    ~Listener(); ///< accepts no more and removes the socket
    Q_DISABLE_COPY(Listener)

    /// @param path of a socket that does not exist, at most 107 bytes
    /// @param accepted takes the descriptor of a connection; called on the listener's thread
    bool open(const QString &path, std::function<void(int)> accepted, QString *error);

private:
    void run();

    QByteArray m_path; ///< empty unless bound
    int m_socket = -1;
    std::function<void(int)> m_accepted;
    std::atomic_bool m_stop = false;
    std::thread m_thread;
};

} // namespace tarn::rpc
