#include "tarn/binding/LoginNotify.h"
#include "rpc/Log.h"
#include "tarn/rpc/Skeletons.h"

namespace tarn::binding {

using namespace rpc;

namespace {

const QString AfterLoginMethod = QStringLiteral("AfterLogin");
constexpr int NotifyTimeoutMs = 2000; // a thread of the host waits for it, and so does the end of the host

CallResult invoke(ICloudLoginNotify &notify, const QString &method, const Bag &, const ICallContext &)
{
    CallResult result;
    result.accepted = method == AfterLoginMethod;
    if (result.accepted)
        notify.AfterLogin();
    else
        result.error.code = RpcError::NotFound;
    return result;
}

class LoginNotifyProxy final : public ICloudLoginNotify
{
public:
    explicit LoginNotifyProxy(QSharedPointer<RpcProxy> proxy)
        : m_proxy(std::move(proxy))
    {
    }
    void AfterLogin() override
    {
        const CallResult result = m_proxy->call(AfterLoginMethod, {}, NotifyTimeoutMs);
        if (!result.arrived())
            warn(QStringLiteral("the caller of the sign-in cannot be told: %1")
                     .arg(QString::fromStdString(result.error.message)));
    }

private:
    const QSharedPointer<RpcProxy> m_proxy;
};

const bool s_registered = registerSkeleton(LoginNotifyInterface, &invoke);

} // namespace

QSharedPointer<ICloudLoginNotify> loginNotifyProxy(const QSharedPointer<RpcProxy> &proxy)
{
    return QSharedPointer<LoginNotifyProxy>::create(proxy);
}

} // namespace tarn::binding
