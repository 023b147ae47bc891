#include "rpc/LastError.h"
#include "rpc/Log.h"

namespace tarn::rpc {

static RpcError &slot()
{
    static thread_local RpcError error;
    return error;
}

RpcError getRpcLastError()
{
    return slot();
}

void setLastError(const RpcError &error)
{
    slot() = error;
}

bool fail(const RpcError &error)
{
    trace(QStringLiteral("error %1: %2").arg(error.code).arg(QString::fromStdString(error.message)));
    setLastError(error);
    return false;
}

bool fail(RpcError::Code code, const QString &message)
{
    return fail(makeError(code, message));
}

} // namespace tarn::rpc
