#include "rpc/LastError.h"
#include "rpc/Log.h"

namespace tarn::rpc {

static thread_local RpcError t_error;

RpcError getRpcLastError()
{
    return t_error;
}

bool succeed(const RpcError &error)
{
    t_error = error;
    if (error.code != RpcError::None)
        trace(QStringLiteral("error %1: %2").arg(error.code).arg(QString::fromStdString(error.message)));
    return error.code == RpcError::None;
}

bool fail(RpcError::Code code, const QString &message)
{
    return succeed(makeError(code, message));
}

} // namespace tarn::rpc
