#include "rpc/Endpoint.h"
#include "rpc/CallService.h"
#include "rpc/Channels.h"
#include "tarn/rpc/RuntimeDir.h"
#include <QCoreApplication>
#include <QRandomGenerator>
#include <chrono>
#include <grpcpp/ext/proto_server_reflection_plugin.h>
#include <grpcpp/generic/async_generic_service.h>
#include <grpcpp/health_check_service_interface.h>
#include <grpcpp/resource_quota.h>
#include <grpcpp/server_builder.h>
#include <mutex>

namespace tarn::rpc {
namespace {

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
