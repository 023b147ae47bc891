#pragma once
#include "rpc/Settings.h"
#include "tarn/rpc/RpcError.h"
#include <QMutex>
#include <grpcpp/channel.h>
#include <grpcpp/security/server_credentials.h>
#include <map>
#include <memory>

/// Channels, credentials and the arguments that matter on both.
namespace tarn::rpc {

/// gRPC's text for an address: "unix:" with the percent-encoded path of the hub's socket for a local one.
/// @return empty (with the error) when the runtime directory is refused
QString hubTarget(const Address &hub, QString *error);
QString unixTarget(const QString &path);

/// A channel of its own, with no memory of failed attempts. Not connected yet.
/// @param watched true: pings also while nothing is asked, so that a frozen peer is noticed
/// @return null (with the error) for an address that would need TLS where no certificates are configured, or that is
///         no address of ours
std::shared_ptr<grpc::Channel> makeChannel(const QString &target, bool watched, QString *error);

/// Mutual TLS from TARN_TLS_CA, TARN_TLS_CERT and TARN_TLS_KEY (PEM files); null (with the error) without them.
std::shared_ptr<grpc::ServerCredentials> tlsServerCredentials(QString *error);

RpcError toError(const grpc::Status &status);

/// Channels to the processes that are being called, one for each endpoint; the last user closes it.
class ChannelCache
{
public:
    std::shared_ptr<grpc::Channel> get(const QString &target, QString *error);

private:
    QMutex m_mutex;
    std::map<QString, std::weak_ptr<grpc::Channel>> m_channels;
};

} // namespace tarn::rpc
