#pragma once
#include <QString>

namespace tarn::rpc {

/// Diagnostic line, only while RpcLog::print() is on.
void trace(const QString &line);
/// A fact that an administrator wants to know, no fault.
void inform(const QString &line);
/// Something that an administrator should see.
void warn(const QString &line);

} // namespace tarn::rpc
