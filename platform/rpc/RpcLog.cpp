#include "tarn/rpc/RpcLog.h"
#include "rpc/Log.h"
#include <QLoggingCategory>
#include <atomic>

Q_LOGGING_CATEGORY(lcRpc, "tarn.rpc")

namespace tarn::rpc {

static std::atomic_bool s_print = false;

void RpcLog::set_print(bool enabled)
{
    s_print = enabled;
}

bool RpcLog::print()
{
    return s_print;
}

void trace(const QString &line)
{
    if (s_print)
        qCDebug(lcRpc).noquote() << line;
}

void inform(const QString &line)
{
    qCInfo(lcRpc).noquote() << line;
}

void warn(const QString &line)
{
    qCWarning(lcRpc).noquote() << line;
}

} // namespace tarn::rpc
