#pragma once
#include "rpc/Limits.h"
#include <QHash>
#include <QString>

namespace tarn::rpc {

/// Where a hub or an endpoint is. Loopback means a unix socket of this user, whatever the port.
struct Address
{
    QString ip;
    int port = 0;

    bool isLocal() const;
    QString text() const; ///< "ip:port", an IPv6 address in brackets
};

/// The checked form of the table that Rpc::init() takes (RpcKeys.h).
struct Settings
{
    Address hub;           ///< where objects are looked up
    Address hubForServers; ///< where own objects are registered
    Address endpoint;      ///< where this process serves; port 0: chosen
    int timeoutMs = limits::DefaultTimeoutMs;
    int threads = limits::DefaultThreads;

    /// Throws RpcError, with the offending key named, when a value is no number or out of range.
    static Settings parse(const QHash<QString, QString> &table);
};

/// Time in ms after which a silent peer is pinged: environment TARN_LEASE_MS, 200 to 60000, otherwise 10000. It has half of
/// that time to answer, and a new connection as long to finish its handshake.
int leaseMs();

} // namespace tarn::rpc
