#pragma once
#include "tarn/rpc/RpcError.h"
#include <QString>

namespace tarn::rpc {

inline RpcError makeError(RpcError::Code code, const QString &message)
{
    return {code, message.toStdString()};
}

/// Remembers the error for getRpcLastError() of this thread.
void setLastError(const RpcError &error);
inline void clearLastError()
{
    setLastError({});
}
/// Sets the error and returns false, for "return fail(...)".
bool fail(const RpcError &error);
bool fail(RpcError::Code code, const QString &message);
/// Sets or clears the error; true when there is none.
inline bool succeed(const RpcError &error)
{
    if (error.code != RpcError::None)
        return fail(error);
    clearLastError();
    return true;
}

} // namespace tarn::rpc
