#include "services/cloud/LoopbackServer.h"
#include "services/Log.h"
#include "services/cloud/PeerUser.h"
#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <exception>
#include <microhttpd.h>
#include <netinet/in.h>
#include <unistd.h>

namespace tarn::services {

namespace {

constexpr int MaxBody = 4096;
constexpr unsigned MaxConnections = 64;
constexpr unsigned PauseSeconds = 5;
constexpr size_t ConnectionMemory = 32768; // request line and headers

// Between the calls that bring one request.
struct Pending
{
    PageRequest request;
};

struct Header
{
    const char *name;
    const char *value;
};

const Header CommonHeaders[] = {
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

PageReply error(int status, const char *text)
{
    PageReply reply;
    reply.status = status;
    reply.type = "text/plain; charset=utf-8";
    reply.body = text;
    return reply;
}

MHD_Result send(MHD_Connection *connection, const PageReply &reply)
{
    QByteArray body = reply.body;
    MHD_Response *response =
        MHD_create_response_from_buffer(static_cast<size_t>(body.size()), body.data(), MHD_RESPMEM_MUST_COPY);
    if (!response)
        return MHD_NO;
    for (const Header &each : CommonHeaders)
        MHD_add_response_header(response, each.name, each.value);
    MHD_add_response_header(response, MHD_HTTP_HEADER_CONTENT_TYPE, reply.type.constData());
    MHD_add_response_header(response, "Content-Security-Policy",
                            reply.policy.isEmpty() ? "default-src 'none'; frame-ancestors 'none'"
                                                   : reply.policy.constData());
    if (!reply.location.isEmpty())
        MHD_add_response_header(response, MHD_HTTP_HEADER_LOCATION, reply.location.constData());
    if (reply.status == MHD_HTTP_METHOD_NOT_ALLOWED)
        MHD_add_response_header(response, MHD_HTTP_HEADER_ALLOW, "GET, HEAD, POST");
    const MHD_Result result = MHD_queue_response(connection, static_cast<unsigned>(reply.status), response);
    MHD_destroy_response(response);
    return result;
}

} // namespace

// What the library calls, on the server's thread.
struct LoopbackCallbacks
{
    // A name that resolves to 127.0.0.1 by trickery shows in Host, a form of a foreign page in Origin.
    static int refusal(const LoopbackServer &server, MHD_Connection *connection, const QByteArray &method)
    {
        const QByteArray authority = "127.0.0.1:" + QByteArray::number(server.m_port);
        if (header(connection, MHD_HTTP_HEADER_HOST) != authority)
            return MHD_HTTP_MISDIRECTED_REQUEST;
        if (method == "GET" || method == "HEAD")
            return 0;
        if (method != "POST")
            return MHD_HTTP_METHOD_NOT_ALLOWED;
        if (header(connection, "Origin") != "http://" + authority)
            return MHD_HTTP_FORBIDDEN;
        if (header(connection, MHD_HTTP_HEADER_CONTENT_LENGTH).toLongLong() > MaxBody)
            return MHD_HTTP_CONTENT_TOO_LARGE;
        return 0;
    }

    // Asked before the connection takes one of the limited places.
    static MHD_Result accept(void *context, const sockaddr *peer, socklen_t size)
    {
        LoopbackServer &server = *static_cast<LoopbackServer *>(context);
        sockaddr_in from = {};
        if (size < sizeof from || peer->sa_family != AF_INET)
            return MHD_NO;
        std::memcpy(&from, peer, sizeof from);
        sockaddr_in to = {};
        to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        to.sin_port = htons(server.m_port);
        if (userOfPeer(from, to) == ::geteuid())
            return MHD_YES;
        server.logRefusal();
        return MHD_NO;
    }

    // Nothing may be thrown through the library.
    static MHD_Result access(void *context, MHD_Connection *connection, const char *url, const char *method,
                             const char *, const char *data, size_t *size, void **state)
    {
        try {
            return receive(*static_cast<LoopbackServer *>(context), connection, url, method, data, size, state);
        } catch (...) {
            qCWarning(servicesLog, "a request for a page failed");
            return MHD_NO; // the connection ends
        }
    }

    static MHD_Result receive(const LoopbackServer &server, MHD_Connection *connection, const char *url,
                              const char *method, const char *data, size_t *size, void **state)
    {
        if (!*state) {
            if (const int status = refusal(server, connection, method))
                return send(connection, error(status, "refused\n"));
            auto fresh = std::make_unique<Pending>();
            fresh->request.isPost = qstrcmp(method, "POST") == 0;
            fresh->request.isHead = qstrcmp(method, "HEAD") == 0;
            fresh->request.server = server.address();
            fresh->request.path = QString::fromUtf8(url);
            *state = fresh.release();
            return MHD_YES;
        }
        PageRequest &request = static_cast<Pending *>(*state)->request;
        if (*size > 0) {
            if (request.body.size() + static_cast<qint64>(*size) > MaxBody)
                return MHD_NO; // sent in chunks, without its length: the connection ends
            request.body.append(data, static_cast<int>(*size));
            *size = 0;
            return MHD_YES;
        }
        return send(connection, answer(server, request));
    }

    static PageReply answer(const LoopbackServer &server, const PageRequest &request)
    {
        try {
            return server.m_handler(request);
        } catch (const std::exception &e) {
            qCWarning(servicesLog, "a page failed: %s", e.what());
            return error(MHD_HTTP_INTERNAL_SERVER_ERROR, "failed\n");
        }
    }

    static void completed(void *, MHD_Connection *, void **state, MHD_RequestTerminationCode)
    {
        delete static_cast<Pending *>(*state);
        *state = nullptr;
    }
};

LoopbackServer::LoopbackServer(Handler handler)
    : m_handler(std::move(handler))
{
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    m_daemon = MHD_start_daemon(
        MHD_USE_AUTO_INTERNAL_THREAD, 0, &LoopbackCallbacks::accept, this, &LoopbackCallbacks::access, this,
        MHD_OPTION_SOCK_ADDR, reinterpret_cast<sockaddr *>(&address), MHD_OPTION_CONNECTION_LIMIT, MaxConnections,
        MHD_OPTION_CONNECTION_TIMEOUT, PauseSeconds, MHD_OPTION_CONNECTION_MEMORY_LIMIT, ConnectionMemory,
        MHD_OPTION_NOTIFY_COMPLETED, &LoopbackCallbacks::completed, nullptr, MHD_OPTION_END);
    if (!m_daemon) {
        qCWarning(servicesLog, "no pages can be served on this machine: %s", std::strerror(errno));
        return;
    }
    if (const MHD_DaemonInfo *info = MHD_get_daemon_info(m_daemon, MHD_DAEMON_INFO_BIND_PORT))
        m_port = info->port;
    if (m_port == 0) {
        qCWarning(servicesLog, "no pages can be served on this machine: the port is not known");
        MHD_stop_daemon(m_daemon);
        m_daemon = nullptr;
    }
}

LoopbackServer::~LoopbackServer()
{
    if (m_daemon)
        MHD_stop_daemon(m_daemon);
}

// One line a minute: another user could fill the log.
void LoopbackServer::logRefusal()
{
    constexpr int LogPauseMs = 60000;
    ++m_refusals;
    if (m_sinceLog.isValid() && !m_sinceLog.hasExpired(LogPauseMs))
        return;
    m_sinceLog.start();
    qCWarning(servicesLog, "connections to the sign-in pages that are not this user's were refused: %d", m_refusals);
    m_refusals = 0;
}

QString LoopbackServer::address() const
{
    return QStringLiteral("http://127.0.0.1:%1").arg(m_port.load());
}

} // namespace tarn::services
