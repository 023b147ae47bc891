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
        qCDebug(lcRpc, "%s", qUtf8Printable(line));
}

void inform(const QString &line)
{
    qCInfo(lcRpc, "%s", qUtf8Printable(line));
}

void warn(const QString &line)
{
    qCWarning(lcRpc, "%s", qUtf8Printable(line));
}

} // namespace tarn::rpc
