#pragma once
#include "tarn/rpc/RpcError.h"
#include <QString>

namespace tarn::rpc {

/// Diagnostic line, only while RpcLog::print() is on.
void trace(const QString &line);
/// A fact that an administrator wants to know, no fault.
void inform(const QString &line);
/// Something that an administrator should see.
void warn(const QString &line);

inline RpcError makeError(RpcError::Code code, const QString &message)
{
    return {code, message.toStdString()};
}

/// Remembers the error, or that there is none, for getRpcLastError() of this thread.
/// @return whether there is none
bool succeed(const RpcError &error);
/// Remembers an error. @return false
bool fail(RpcError::Code code, const QString &message);

} // namespace tarn::rpc
