#include "services/cloud/LoopbackServer.h"
#include "services/Files.h"
#include <QScopeGuard>
#include <arpa/inet.h>
#include <exception>
#include <linux/inet_diag.h>
#include <linux/netlink.h>
#include <linux/sock_diag.h>
#include <microhttpd.h>
#include <netinet/in.h>
#include <optional>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

namespace tarn::services {

namespace {

constexpr int MaxBody = 4096;
constexpr unsigned MaxConnections = 64;
constexpr unsigned PauseSeconds = 5;
constexpr size_t ConnectionMemory = 32768; // request line and headers

constexpr __u8 Established = 1; // the kernel's TCP_ESTABLISHED

// The user whose program holds the other end of a TCP connection on this machine; none when it is not there (any
// longer). The kernel is asked for this one connection, whose costs do not depend on how many there are.
std::optional<uid_t> userOfPeer(const sockaddr_in &from, const sockaddr_in &to)
{
    const int descriptor = ::socket(AF_NETLINK, SOCK_DGRAM | SOCK_CLOEXEC, NETLINK_SOCK_DIAG);
    if (descriptor < 0)
        return std::nullopt;
    const auto closing = qScopeGuard([descriptor] { ::close(descriptor); });
    struct
    {
        nlmsghdr header;
        inet_diag_req_v2 query;
    } request = {};
    struct
    {
        nlmsghdr header;
        inet_diag_msg found;
        char attributes[512];
    } answer = {};
    request.header.nlmsg_len = sizeof request;
    request.header.nlmsg_type = SOCK_DIAG_BY_FAMILY;
    request.header.nlmsg_flags = NLM_F_REQUEST;
    request.query.sdiag_family = AF_INET;
    request.query.sdiag_protocol = IPPROTO_TCP;
    request.query.idiag_states = ~0U;
    request.query.id.idiag_sport = from.sin_port; // the peer's own end of the connection comes first
    request.query.id.idiag_dport = to.sin_port;
    request.query.id.idiag_src[0] = from.sin_addr.s_addr;
    request.query.id.idiag_dst[0] = to.sin_addr.s_addr;
    request.query.id.idiag_cookie[0] = INET_DIAG_NOCOOKIE;
    request.query.id.idiag_cookie[1] = INET_DIAG_NOCOOKIE;
    if (::send(descriptor, &request, sizeof request, 0) != ssize_t{sizeof request})
        return std::nullopt;
    const ssize_t size = ::recv(descriptor, &answer, sizeof answer, MSG_DONTWAIT); // it answers within send()
    const auto least = static_cast<ssize_t>(NLMSG_LENGTH(sizeof answer.found));
    // Where the connection is no more, the kernel may name a listening socket of the same address.
    if (size < least || answer.header.nlmsg_type != SOCK_DIAG_BY_FAMILY || answer.found.idiag_state != Established ||
        answer.found.id.idiag_dport != to.sin_port)
        return std::nullopt;
    return answer.found.idiag_uid;
}

const std::pair<const char *, const char *> CommonHeaders[] = {
    {MHD_HTTP_HEADER_CACHE_CONTROL, "no-store"},
    {"X-Content-Type-Options", "nosniff"},
    {"Referrer-Policy", "same-origin"},
    {"X-Frame-Options", "DENY"},
    {"Cross-Origin-Resource-Policy", "same-origin"},
};

QByteArray header(MHD_Connection *connection, const char *name)
{
    return MHD_lookup_connection_value(connection, MHD_HEADER_KIND, name);
}

bool send(MHD_Connection *connection, const PageReply &reply)
{
    QByteArray body = reply.body;
    MHD_Response *response =
        MHD_create_response_from_buffer(static_cast<size_t>(body.size()), body.data(), MHD_RESPMEM_MUST_COPY);
    if (!response)
        return false;
    for (const auto &[name, value] : CommonHeaders)
        MHD_add_response_header(response, name, value);
    MHD_add_response_header(response, MHD_HTTP_HEADER_CONTENT_TYPE, "text/html; charset=utf-8");
    MHD_add_response_header(response, "Content-Security-Policy",
                            reply.policy.isEmpty() ? "default-src 'none'; frame-ancestors 'none'"
                                                   : reply.policy.constData());
    if (!reply.location.isEmpty())
        MHD_add_response_header(response, MHD_HTTP_HEADER_LOCATION, reply.location.constData());
    if (reply.status == MHD_HTTP_METHOD_NOT_ALLOWED)
        MHD_add_response_header(response, MHD_HTTP_HEADER_ALLOW, "GET, HEAD, POST");
    const MHD_Result result = MHD_queue_response(connection, static_cast<unsigned>(reply.status), response);
    MHD_destroy_response(response);
    return result == MHD_YES;
}

} // namespace

// Asked before the connection takes one of the limited places. Logs one line a minute: another user could fill the log.
bool LoopbackServer::isOwnUser(const sockaddr_in &peer)
{
    constexpr int LogPauseMs = 60000;
    sockaddr_in own = {};
    own.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    own.sin_port = htons(m_port);
    if (userOfPeer(peer, own) == ::geteuid())
        return true;
    ++m_refusals;
    if (!m_sinceLog.isValid() || m_sinceLog.hasExpired(LogPauseMs)) {
        m_sinceLog.start();
        qCWarning(servicesLog, "connections to the sign-in pages that are not this user's were refused: %d",
                  std::exchange(m_refusals, 0));
    }
    return false;
}

// A name that resolves to 127.0.0.1 by trickery shows in Host, a form of a foreign page in Origin.
int LoopbackServer::refusal(MHD_Connection *connection, const QByteArray &method) const
{
    const QByteArray authority = "127.0.0.1:" + QByteArray::number(m_port);
    if (header(connection, MHD_HTTP_HEADER_HOST) != authority)
        return MHD_HTTP_MISDIRECTED_REQUEST;
    if (method == "GET" || method == "HEAD")
        return 0;
    if (method != "POST")
        return MHD_HTTP_METHOD_NOT_ALLOWED;
    if (header(connection, "Origin") != "http://" + authority)
        return MHD_HTTP_FORBIDDEN;
    return header(connection, MHD_HTTP_HEADER_CONTENT_LENGTH).toLongLong() > MaxBody ? MHD_HTTP_CONTENT_TOO_LARGE : 0;
}

// Called once for the headers, for each part of the body and at its end. False ends the connection.
bool LoopbackServer::receive(MHD_Connection *connection, const char *url, const QByteArray &method, const char *data,
                             size_t *size, void **state) const
{
    if (!*state) {
        if (const int status = refusal(connection, method))
            return send(connection, {status, "refused\n", {}, {}});
        *state = new PageRequest{method == "POST", address(), QString::fromUtf8(url), {}};
        return true;
    }
    PageRequest &request = *static_cast<PageRequest *>(*state);
    if (*size == 0)
        return send(connection, m_handler(request));
    if (request.body.size() + static_cast<qint64>(*size) > MaxBody)
        return false; // sent in chunks, without its length
    request.body.append(data, static_cast<int>(*size));
    *size = 0;
    return true;
}

LoopbackServer::LoopbackServer(Handler handler)
    : m_handler(std::move(handler))
{
    const auto accept = [](void *server, const sockaddr *peer, socklen_t) {
        const auto &from = *reinterpret_cast<const sockaddr_in *>(peer); // the server listens at an IPv4 address
        return static_cast<LoopbackServer *>(server)->isOwnUser(from) ? MHD_YES : MHD_NO;
    };
    const auto access = [](void *server, MHD_Connection *connection, const char *url, const char *method, const char *,
                           const char *data, size_t *size, void **state) {
        try { // nothing may be thrown through the library
            const auto *self = static_cast<LoopbackServer *>(server);
            return self->receive(connection, url, method, data, size, state) ? MHD_YES : MHD_NO;
        } catch (const std::exception &e) {
            qCWarning(servicesLog, "a request for a page failed: %s", e.what());
            return MHD_NO;
        }
    };
    const auto completed = [](void *, MHD_Connection *, void **state, MHD_RequestTerminationCode) {
        delete static_cast<PageRequest *>(*state);
        *state = nullptr;
    };
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    m_daemon = MHD_start_daemon(MHD_USE_AUTO_INTERNAL_THREAD, 0, +accept, this, +access, this, MHD_OPTION_SOCK_ADDR,
                                reinterpret_cast<sockaddr *>(&address), MHD_OPTION_CONNECTION_LIMIT, MaxConnections,
                                MHD_OPTION_CONNECTION_TIMEOUT, PauseSeconds, MHD_OPTION_CONNECTION_MEMORY_LIMIT,
                                ConnectionMemory, MHD_OPTION_NOTIFY_COMPLETED,
                                static_cast<MHD_RequestCompletedCallback>(completed), nullptr, MHD_OPTION_END);
    if (!m_daemon)
        throw Failure(QStringLiteral("no pages can be served on this machine: %1").arg(systemError()));
    m_port = MHD_get_daemon_info(m_daemon, MHD_DAEMON_INFO_BIND_PORT)->port;
}

LoopbackServer::~LoopbackServer()
{
    MHD_stop_daemon(m_daemon);
}

QString LoopbackServer::address() const
{
    return QStringLiteral("http://127.0.0.1:%1").arg(m_port.load());
}

} // namespace tarn::services
