#include "tarn/binding/LoginNotify.h"
#include "rpc/Log.h"
#include "tarn/rpc/Skeletons.h"

namespace tarn::binding {

using namespace rpc;

namespace {

const QString AfterLoginMethod = QStringLiteral("AfterLogin");
constexpr int NotifyTimeoutMs = 2000; // a thread of the host waits for it, and so does the end of the host

class LoginNotifySkeleton final : public IInvocable
{
public:
    explicit LoginNotifySkeleton(QSharedPointer<ICloudLoginNotify> notify)
        : m_notify(std::move(notify))
    {
    }
    CallResult invoke(const QString &method, const Bag &, const ICallContext &) override
    {
        CallResult result;
        if (method == AfterLoginMethod) {
            m_notify->AfterLogin();
            result.accepted = true;
        } else {
            result.error.code = RpcError::NotFound;
        }
        return result;
    }

private:
    const QSharedPointer<ICloudLoginNotify> m_notify;
};

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

QSharedPointer<IInvocable> skeleton(const std::any &object, const QString &interfaceName, QString *error)
{
    const auto notify = unwrap<ICloudLoginNotify>(object, interfaceName, error);
    return notify ? QSharedPointer<LoginNotifySkeleton>::create(notify) : QSharedPointer<LoginNotifySkeleton>();
}

const bool s_registered = registerSkeleton(LoginNotifyInterface, &skeleton);

} // namespace

QSharedPointer<ICloudLoginNotify> loginNotifyProxy(const QSharedPointer<RpcProxy> &proxy)
{
    return QSharedPointer<LoginNotifyProxy>::create(proxy);
}

} // namespace tarn::binding
