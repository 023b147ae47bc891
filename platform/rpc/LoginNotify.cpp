#include "rpc/Log.h"
#include "rpc/Skeletons.h"
#include "tarn/cloud/ICloudLoginNotify.h"
#include "tarn/rpc/CallbackObject.h"

namespace tarn::rpc {
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
    LoginNotifyProxy(const ObjectRef &ref, std::shared_ptr<ClientSide> side)
        : m_proxy(std::move(side), ref, false)
    {
    }
    void AfterLogin() override
    {
        const CallResult result = m_proxy.call(AfterLoginMethod, {}, NotifyTimeoutMs);
        if (!result.arrived())
            warn(QStringLiteral("the caller of the sign-in cannot be told: %1")
                     .arg(QString::fromStdString(result.error.message)));
    }

private:
    Proxy m_proxy;
};

} // namespace

QSharedPointer<IInvocable> loginNotifySkeleton(QSharedPointer<ICloudLoginNotify> notify)
{
    return QSharedPointer<LoginNotifySkeleton>::create(std::move(notify));
}

QSharedPointer<ICloudLoginNotify> loginNotifyProxy(const ObjectRef &ref, std::shared_ptr<ClientSide> side)
{
    return QSharedPointer<LoginNotifyProxy>::create(ref, std::move(side));
}

} // namespace tarn::rpc
