#include "rpc/Channels.h"
#include "rpc/Log.h"
#include "tarn/rpc/RuntimeDir.h"
#include <QDir>
#include <QFile>
#include <QStringList>
#include <QUrl>
#include <absl/synchronization/mutex.h>
#include <algorithm>
#include <grpcpp/create_channel.h>
#include <grpcpp/security/auth_metadata_processor.h>
#include <grpcpp/support/channel_arguments.h>
#include <utility>

namespace tarn::rpc {
namespace {

constexpr int ConnectBackoffMs = 100;
constexpr std::chrono::milliseconds TrustedIdle(50);
constexpr std::chrono::minutes WatchTime(10); // armed again by the next look
constexpr qint64 MaxPemBytes = 1048576;
const QString UnixScheme = QStringLiteral("unix:");

bool readPem(const char *variable, std::string *to, QString *error)
{
    const QString path = qEnvironmentVariable(variable);
    QFile file(path);
    if (path.isEmpty() || !file.open(QIODevice::ReadOnly)) {
        *error = path.isEmpty() ? QStringLiteral("%1 is not set").arg(QLatin1String(variable))
                                : QStringLiteral("%1 cannot be read").arg(path);
        return false;
    }
    *to = file.read(MaxPemBytes).toStdString();
    return true;
}

struct Certificates
{
    std::string authority;
    std::string certificate;
    std::string key;

    bool read(QString *error)
    {
        QString reason;
        if (readPem("TARN_TLS_CA", &authority, &reason) && readPem("TARN_TLS_CERT", &certificate, &reason) &&
            readPem("TARN_TLS_KEY", &key, &reason))
            return true;
        *error = QStringLiteral("an address that is not local needs certificates: %1").arg(reason);
        return false;
    }
};

/// Lets in the callers whose certificate has one of the names in TARN_TLS_NAMES: the authority may have signed others.
class CallerNames final : public grpc::AuthMetadataProcessor
{
public:
    explicit CallerNames(const QStringList &names)
    {
        for (const QString &name : names)
            m_names.push_back(name.trimmed().toStdString());
    }
    bool IsBlocking() const override { return false; }
    grpc::Status Process(const InputMetadata &, grpc::AuthContext *caller, OutputMetadata *, OutputMetadata *) override
    {
        const auto identities = caller->GetPeerIdentity();
        const auto isAllowed = [this](const grpc::string_ref &name) {
            return std::find(m_names.cbegin(), m_names.cend(), std::string(name.data(), name.size())) != m_names.cend();
        };
        if (std::any_of(identities.cbegin(), identities.cend(), isAllowed))
            return grpc::Status::OK;
        return {grpc::StatusCode::PERMISSION_DENIED, "the certificate has no name in TARN_TLS_NAMES"};
    }

private:
    std::vector<std::string> m_names;
};

std::shared_ptr<grpc::ChannelCredentials> credentials(const QString &target, QString *error)
{
    if (target.startsWith(UnixScheme + QLatin1Char('/')))
        return grpc::InsecureChannelCredentials();
    if (target.startsWith(UnixScheme) || target.contains(QLatin1Char('/'))) {
        *error = QStringLiteral("\"%1\" is no address of the platform").arg(target.left(200));
        return nullptr;
    }
    Certificates pem;
    if (!pem.read(error))
        return nullptr;
    return grpc::SslCredentials({pem.authority, pem.key, pem.certificate});
}

grpc::ChannelArguments channelArguments(bool watched)
{
    grpc::ChannelArguments args;
    args.SetMaxReceiveMessageSize(limits::MessageBytes);
    args.SetMaxSendMessageSize(limits::MessageBytes);
    args.SetInt(GRPC_ARG_ENABLE_HTTP_PROXY, 0);
    args.SetInt(GRPC_ARG_USE_LOCAL_SUBCHANNEL_POOL, 1); // a shared one remembers the back-off of failed attempts
    args.SetInt(GRPC_ARG_ENABLE_RETRIES, 0);
    args.SetInt(GRPC_ARG_ENABLE_PER_MESSAGE_DECOMPRESSION, 0);
    args.SetInt(GRPC_ARG_INITIAL_RECONNECT_BACKOFF_MS, ConnectBackoffMs);
    args.SetInt(GRPC_ARG_MIN_RECONNECT_BACKOFF_MS, limits::HubTimeoutMs);
    args.SetInt(GRPC_ARG_MAX_RECONNECT_BACKOFF_MS, ConnectBackoffMs);
    if (watched) {
        args.SetInt(GRPC_ARG_KEEPALIVE_TIME_MS, leaseMs());
        args.SetInt(GRPC_ARG_KEEPALIVE_TIMEOUT_MS, leaseMs() / 2);
        args.SetInt(GRPC_ARG_HTTP2_MAX_PINGS_WITHOUT_DATA, 0);
    }
    return args;
}

} // namespace

void speedUpLocks()
{
    absl::SetMutexDeadlockDetectionMode(absl::OnDeadlockCycle::kIgnore);
}

QString unixTarget(const QString &path)
{
    return UnixScheme + QString::fromLatin1(QUrl::toPercentEncoding(path, "/"));
}

std::shared_ptr<grpc::Channel> makeChannel(const QString &target, bool watched, QString *error)
{
    const auto trust = credentials(target, error);
    if (!trust)
        return nullptr;
    speedUpLocks();
    return grpc::CreateCustomChannel(target.toStdString(), trust, channelArguments(watched));
}

std::shared_ptr<grpc::Channel> makeChannel(const Address &hub, bool watched, QString *error)
{
    if (!hub.isLocal())
        return makeChannel(hub.text(), watched, error);
    const QString path = socketPath(hubSocketName(hub.port), error);
    return path.isEmpty() ? nullptr : makeChannel(unixTarget(path), watched, error);
}

std::shared_ptr<grpc::ServerCredentials> tlsServerCredentials(QString *error)
{
    Certificates pem;
    if (!pem.read(error))
        return nullptr;
    const QStringList names = qEnvironmentVariable("TARN_TLS_NAMES").split(QLatin1Char(','), Qt::SkipEmptyParts);
    if (names.isEmpty()) {
        *error = QStringLiteral("an address that is not local needs its callers' names: TARN_TLS_NAMES is not set");
        return nullptr;
    }
    grpc::SslServerCredentialsOptions options(GRPC_SSL_REQUEST_AND_REQUIRE_CLIENT_CERTIFICATE_AND_VERIFY);
    options.pem_root_certs = pem.authority;
    options.pem_key_cert_pairs.push_back({pem.key, pem.certificate});
    auto trust = grpc::SslServerCredentials(options);
    trust->SetAuthMetadataProcessor(std::make_shared<CallerNames>(names));
    return trust;
}

RpcError toError(const grpc::Status &status)
{
    const QString text = QString::fromStdString(status.error_message());
    switch (status.error_code()) {
    case grpc::StatusCode::OK:
        return {};
    case grpc::StatusCode::NOT_FOUND:
    case grpc::StatusCode::UNIMPLEMENTED:
        return makeError(RpcError::NotFound, text);
    case grpc::StatusCode::UNAVAILABLE:
    case grpc::StatusCode::FAILED_PRECONDITION:
        return makeError(RpcError::NoConnection, text);
    case grpc::StatusCode::DEADLINE_EXCEEDED:
        return makeError(RpcError::Timeout, text);
    case grpc::StatusCode::INVALID_ARGUMENT:
    case grpc::StatusCode::ALREADY_EXISTS:
        return makeError(RpcError::InvalidArgument, text);
    default:
        return makeError(RpcError::Failed, text);
    }
}

Connection::Connection(std::shared_ptr<grpc::Channel> channel)
    : m_channel(std::move(channel))
{
}

Connection::~Connection()
{
    m_channel.reset(); // ends the watch
    m_changes.Shutdown();
    void *tag = nullptr;
    bool changed = false;
    while (m_changes.Next(&tag, &changed)) {
    }
}

bool Connection::open(std::chrono::system_clock::time_point deadline)
{
    for (;;) {
        const grpc_connectivity_state state = m_channel->GetState(true);
        if (state == GRPC_CHANNEL_READY)
            return true;
        if (state == GRPC_CHANNEL_TRANSIENT_FAILURE || state == GRPC_CHANNEL_SHUTDOWN)
            return false;
        if (!m_channel->WaitForStateChange(state, deadline))
            return false;
    }
}

/// gRPC reads a connection only while a call or a watch polls it, so GetState() alone knows nothing of a peer that went
/// between two calls. Polling the watch costs 30 us; a call of a moment ago has read the connection for less.
bool Connection::isOpen()
{
    if (m_channel->GetState(false) != GRPC_CHANNEL_READY)
        return false;
    const QMutexLocker lock(&m_mutex);
    const auto now = std::chrono::steady_clock::now();
    if (now - std::exchange(m_lastUse, now) < TrustedIdle)
        return true;
    for (;;) {
        if (!m_watched)
            m_channel->NotifyOnStateChange(GRPC_CHANNEL_READY, std::chrono::system_clock::now() + WatchTime, &m_changes,
                                           this);
        void *tag = nullptr;
        bool changed = false;
        m_watched =
            m_changes.AsyncNext(&tag, &changed, gpr_inf_past(GPR_CLOCK_MONOTONIC)) == grpc::CompletionQueue::TIMEOUT;
        if (m_watched)
            return true;
        if (changed)
            return false;
    }
}

std::shared_ptr<Connection> ConnectionCache::get(const QString &target, QString *error)
{
    const QMutexLocker lock(&m_mutex);
    std::weak_ptr<Connection> &slot = m_connections[target];
    std::shared_ptr<Connection> connection = slot.lock();
    if (!connection) {
        if (const auto channel = makeChannel(target, false, error))
            slot = connection = std::make_shared<Connection>(channel);
    }
    for (auto it = m_connections.begin(); it != m_connections.end();)
        it = it->second.expired() ? m_connections.erase(it) : std::next(it);
    return connection;
}

} // namespace tarn::rpc
