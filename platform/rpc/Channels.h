#pragma once
#include "rpc/Settings.h"
#include "tarn/rpc/RpcError.h"
#include <QMutex>
#include <chrono>
#include <grpcpp/channel.h>
#include <grpcpp/completion_queue.h>
#include <grpcpp/security/server_credentials.h>
#include <map>
#include <memory>

/// Channels, credentials and the arguments that matter on both.
namespace tarn::rpc {

/// Switches off the search for deadlocks in the locks of gRPC, for this process. Debian builds it in as a help for debugging,
/// and it takes a twentieth of a call's processor time.
void speedUpLocks();

/// gRPC's text for a socket: "unix:" with the percent-encoded path.
QString unixTarget(const QString &path);

/// A new channel, which shares no memory of failed attempts with another. Not connected yet.
/// @param watched true: pings also while nothing is asked, so that a frozen peer is noticed
/// @return null (with the error) for an address that would need TLS where no certificates are configured, or that is
///         no address of ours
std::shared_ptr<grpc::Channel> makeChannel(const QString &target, bool watched, QString *error);
/// The same to the hub, through its socket where the address is a local one.
std::shared_ptr<grpc::Channel> makeChannel(const Address &hub, bool watched, QString *error);

/// Mutual TLS from TARN_TLS_CA, TARN_TLS_CERT and TARN_TLS_KEY (PEM files), for callers whose certificate has one of the
/// names in TARN_TLS_NAMES (separated by commas); null (with the error) without one of the four.
std::shared_ptr<grpc::ServerCredentials> tlsServerCredentials(QString *error);

RpcError toError(const grpc::Status &status);

/// A channel whose state can be asked without waiting. Thread-safe.
class Connection
{
public:
    explicit Connection(std::shared_ptr<grpc::Channel> channel);
    ~Connection(); ///< no copy of the channel exists any more

    std::shared_ptr<grpc::Channel> share() const { return m_channel; }
    /// Connects. @return false when the peer cannot be reached or the deadline passes
    bool open(std::chrono::system_clock::time_point deadline);
    /// Whether the peer still holds its end, also when it was killed a moment ago.
    bool isOpen();

private:
    std::shared_ptr<grpc::Channel> m_channel;
    QMutex m_mutex; ///< guards the members below
    grpc::CompletionQueue m_changes;
    bool m_watched = false; ///< m_changes gets an event when the state leaves READY
    std::chrono::steady_clock::time_point m_lastUse;
};

/// Connections to the processes that are being called, one for each endpoint; the last user closes it.
class ConnectionCache
{
public:
    std::shared_ptr<Connection> get(const QString &target, QString *error);

private:
    QMutex m_mutex;
    std::map<QString, std::weak_ptr<Connection>> m_connections;
};

} // namespace tarn::rpc
