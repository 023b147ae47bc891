#pragma once
#include "tarn/cloud/ICloudLoginNotify.h"
#include "tarn/rpc/RpcProxy.h"
#include <QSharedPointer>

namespace tarn::binding {

/// The notify object of another process.
QSharedPointer<ICloudLoginNotify> loginNotifyProxy(const QSharedPointer<rpc::RpcProxy> &proxy);

} // namespace tarn::binding
