#pragma once

#include "tarn/rpc/Rpc.h"
#include <QStringList>
#include <any>
#include <functional>

// An RPC core without a network, with the symbols of the real one: link tarn_fake_rpc instead of tarn-rpc. A test
// sets the answers of this core in Behaviour and reads in Record which requests the core received. GUI thread.
namespace fakerpc {

struct Behaviour
{
    std::function<void(const QString &)> onCall; // with the entry of Record::calls
    quint16 hubPort = 0;                         // in the runtime directory; 0: none
    QStringList failing;  // names of calls, e.g. "active"; "add" refuses an empty tag and one that is bound anyway
    QStringList throwing; // names of calls that throw
    tarn::rpc::RpcError error{tarn::rpc::RpcError::NoHub, "没有注册中心"}; // of whatever fails
    // By tag; no other object is found.
    QHash<QString, QSharedPointer<tarn::rpc::RpcProxy>> proxies;
};

struct Record
{
    QStringList calls; // "init", "createAdapter CVisualizedService", "add tag", "active", "unactive", "remove tag", ...
    QHash<QString, QString> settings; // of the last init()
    std::any object;                  // last added
    QString interfaceName;
};

inline Behaviour behaviour;
inline Record record;

void reset();
void loseHub(); // calls the callback of the last setHubLost(), on another thread

} // namespace fakerpc
