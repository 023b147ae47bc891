#include "rpc/Endpoint.h"
#include "rpc/CallService.h"
#include "rpc/Channels.h"
#include "rpc/Log.h"
#include "tarn/rpc/RuntimeDir.h"
#include <QCoreApplication>
#include <QFile>
#include <QRandomGenerator>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <grpcpp/ext/proto_server_reflection_plugin.h>
#include <grpcpp/generic/async_generic_service.h>
#include <grpcpp/health_check_service_interface.h>
#include <grpcpp/resource_quota.h>
#include <grpcpp/server_builder.h>
#include <mutex>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <system_error>
#include <thread>
#include <unistd.h>

namespace tarn::rpc {
namespace {

constexpr std::chrono::milliseconds FailurePause(100);

void configure(grpc::ServerBuilder &builder)
{
    builder.SetMaxReceiveMessageSize(limits::MessageBytes);
    builder.SetMaxSendMessageSize(limits::MessageBytes);
    grpc::ResourceQuota quota("tarn-rpc");
    quota.Resize(limits::QuotaBytes);
    builder.SetResourceQuota(quota);
    // A compressed message would pass the limits small and grow behind them.
    builder.SetCompressionAlgorithmSupportStatus(GRPC_COMPRESS_DEFLATE, false);
    builder.SetCompressionAlgorithmSupportStatus(GRPC_COMPRESS_GZIP, false);
    builder.AddChannelArgument(GRPC_ARG_ENABLE_PER_MESSAGE_DECOMPRESSION, 0);
    builder.AddChannelArgument(GRPC_ARG_MAX_CONCURRENT_STREAMS, limits::StreamsPerConnection);
    builder.AddChannelArgument(GRPC_ARG_ALLOW_REUSEPORT, 0);
    builder.AddChannelArgument(GRPC_ARG_KEEPALIVE_TIME_MS, leaseMs());
    builder.AddChannelArgument(GRPC_ARG_KEEPALIVE_TIMEOUT_MS, leaseMs() / 2);
    builder.AddChannelArgument(GRPC_ARG_HTTP2_MIN_RECV_PING_INTERVAL_WITHOUT_DATA_MS, leaseMs() / 2);
    builder.AddChannelArgument(GRPC_ARG_HTTP2_MAX_PINGS_WITHOUT_DATA, 0);
    builder.AddChannelArgument(GRPC_ARG_SERVER_HANDSHAKE_TIMEOUT_MS, leaseMs() / 2);
}

void enablePlugins()
{
    static std::once_flag once;
    std::call_once(once, [] {
        // gRPC's threads for callbacks end with their last user. When that is a lease's stream, it is destroyed in one of
        // these very threads, and gRPC 1.51 then aborts. A server without a port, which is never destroyed, keeps the
        // threads. It needs no plug-ins and is started before them.
        static grpc::CallbackGenericService nothing;
        static const grpc::Server *const keeper =
            grpc::ServerBuilder().RegisterCallbackGenericService(&nothing).BuildAndStart().release();
        Q_UNUSED(keeper)
        grpc::EnableDefaultHealthCheckService(true);
        grpc::reflection::InitProtoReflectionServerBuilderPlugin();
    });
}

} // namespace

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
    ~Listener() ///< accepts no more and removes the socket
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
    Q_DISABLE_COPY(Listener)

    /// @param path of a socket that does not exist, at most 107 bytes
    bool open(const QString &path, QString *error)
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
    /// Serves on the first address of its name that the machine has.
    /// @param address its port is set where it is 0: the system chooses one
    bool open(Address *address, QString *error)
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

private:
    /// @return false with errno
    bool open(const sockaddr *address, socklen_t size)
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
    void run()
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

    const std::function<void(int)> m_accepted;
    QByteArray m_path; ///< empty unless bound
    int m_socket = -1;
    std::atomic_bool m_stop = false;
    std::thread m_thread;
};

Endpoint::Endpoint(const ServantTable &servants, const std::shared_ptr<ClientSide> &client, int threads)
    : m_epoch(QRandomGenerator::system()->generate64() | 1) // not 0
    , m_calls(std::make_unique<CallService>(servants, client, threads, m_epoch))
{
}

Endpoint::~Endpoint()
{
    m_listener.reset();
    if (m_server)
        m_server->Shutdown(std::chrono::system_clock::now());
}

bool Endpoint::open(const Address &address, QString *error)
{
    if (address.isLocal()) {
        const QString name = QStringLiteral("ep-%1-%2.sock")
                                 .arg(QCoreApplication::applicationPid())
                                 .arg(static_cast<quint32>(m_epoch), 8, 16, QLatin1Char('0'));
        return open(name, nullptr, error);
    }
    Address opened = address;
    const auto trust = tlsServerCredentials(error);
    if (!trust || !start(trust, nullptr, error) || !m_listener->open(&opened, error))
        return false;
    m_target = opened.text();
    return true;
}

bool Endpoint::open(const QString &socketName, grpc::Service *further, QString *error)
{
    const QString path = socketPath(socketName, error);
    if (path.isEmpty() || !start(grpc::InsecureServerCredentials(), further, error) || !m_listener->open(path, error))
        return false;
    m_target = unixTarget(path);
    return true;
}

/// Starts a server for the connections that the listener accepts.
bool Endpoint::start(const std::shared_ptr<grpc::ServerCredentials> &trust, grpc::Service *further, QString *error)
{
    using Acceptor = grpc::experimental::ExternalConnectionAcceptor;
    speedUpLocks();
    enablePlugins();
    grpc::ServerBuilder builder;
    const std::shared_ptr<Acceptor> acceptor = builder.experimental().AddExternalConnectionAcceptor(
        grpc::ServerBuilder::experimental_type::ExternalConnectionType::FROM_FD, trust);
    configure(builder);
    builder.RegisterService(m_calls.get());
    if (further)
        builder.RegisterService(further);
    m_server = builder.BuildAndStart();
    m_listener = std::make_unique<Listener>([acceptor](int connection) {
        Acceptor::NewConnectionParameters parameters;
        parameters.fd = connection;
        acceptor->HandleNewConnection(&parameters);
    });
    if (!m_server)
        *error = QStringLiteral("the server cannot start");
    return m_server != nullptr;
}

} // namespace tarn::rpc
