#pragma once
#include <QByteArray>
#include <QElapsedTimer>
#include <QString>
#include <atomic>
#include <functional>

struct MHD_Connection;
struct MHD_Daemon;
struct sockaddr_in;

namespace tarn::services {

struct PageRequest
{
    bool isPost = false; ///< otherwise GET or HEAD
    QString server;      ///< "http://127.0.0.1:PORT"
    QString path;        ///< decoded, without query
    QByteArray body;     ///< POST
};

struct PageReply
{
    int status = 200;
    QByteArray body;     ///< HTML
    QByteArray policy;   ///< Content-Security-Policy; empty takes one that allows nothing
    QByteArray location; ///< of a redirection
};

/// HTTP for the browser on this machine: 127.0.0.1, a port that the system chooses. Refuses what a page elsewhere could
/// make a browser send: another Host, a POST of another Origin; and, already when they connect, programs of other
/// users, who can read an address out of the browser's command line. Bodies, connections and pauses are limited. The
/// handler runs on the server's one thread.
class LoopbackServer
{
public:
    using Handler = std::function<PageReply(const PageRequest &)>;

    /// Throws Failure when no pages can be served on this machine.
    explicit LoopbackServer(Handler handler);
    ~LoopbackServer(); ///< requests that run end first
    LoopbackServer(const LoopbackServer &) = delete;
    LoopbackServer &operator=(const LoopbackServer &) = delete;

    QString address() const; ///< "http://127.0.0.1:PORT"

private:
    bool isOwnUser(const sockaddr_in &peer);
    int refusal(MHD_Connection *connection, const QByteArray &method) const;
    bool receive(MHD_Connection *connection, const char *url, const QByteArray &method, const char *data, size_t *size,
                 void **state) const;

    const Handler m_handler;
    MHD_Daemon *m_daemon = nullptr;
    std::atomic<quint16> m_port{0}; ///< the server's thread runs before the port is known
    int m_refusals = 0;             ///< since the last log line; the server's thread, as the next
    QElapsedTimer m_sinceLog;
};

} // namespace tarn::services
