#include "rpc/Log.h"
#include "tarn/binding/LoginNotify.h"
#include "tarn/cloud/ICloudLoginNotify.h"
#include "tarn/cloud/ICloudServiceArgs.h"
#include "tarn/core/BagArgs.h"
#include "tarn/license/ILicenseServiceArgs.h"
#include "tarn/message/IMessageServiceArgs.h"
#include "tarn/rpc/Skeletons.h"
#include "tarn/upgrade/IUpgradeServiceArgs.h"
#include "tarn/visualized/IVisualizedService.h"
#include "tarn/visualized/IVisulizedOperateManager.h"
#include <QHash>

namespace tarn::binding {

using namespace rpc;

namespace {

using Manager = IVisulizedOperateManager;
using Notify = QSharedPointer<ICloudLoginNotify>;
using Handler = CallResult (*)(Manager &, const Bag &, const Notify &);

template <class In>
using InputArgs = std::conditional_t<std::is_same_v<In, IUpgaredSoftInfoService_InputParam>, core::InputListArgs<In>,
                                     core::InputArgs<In>>;

template <auto Operation>
struct Call;
/// An operation with arguments, or with arguments and the caller's notify object.
template <class In, class Out, class... Notified,
          bool (Manager::*Operation)(QSharedPointer<In>, QSharedPointer<Out>, Notified...)>
struct Call<Operation>
{
    static CallResult run(Manager &manager, const Bag &bag, const Notify &notify)
    {
        Q_UNUSED(notify) // by most operations
        const auto input = QSharedPointer<InputArgs<In>>::create(bag);
        const auto output = QSharedPointer<core::OutputArgs<Out>>::create();
        CallResult result;
        result.accepted = (manager.*Operation)(input, output, Notified(notify)...);
        result.retCode = output->GetRetCode();
        result.errorText = output->GetError();
        result.output = output->bag();
        return result;
    }
};

const QHash<QString, Handler> &handlers()
{
#define TARN_OPERATION(name)                                                                                           \
    {                                                                                                                  \
        QStringLiteral(#name), &Call<&Manager::name>::run                                                              \
    }
    static const QHash<QString, Handler> table{
        TARN_OPERATION(QueryYunLoginDialogState),
        TARN_OPERATION(ShowCloudLogin),
        TARN_OPERATION(NotifyCloudParentFinish),
        TARN_OPERATION(showAutoCheckUpdateDialog),
        TARN_OPERATION(showUpgradeExplainDialog),
        TARN_OPERATION(showUpgradeDownloadDialog),
        TARN_OPERATION(showSilentPatchInstallDialog),
        TARN_OPERATION(ShowMessageCenter),
        TARN_OPERATION(ShowNotifyMessage),
        TARN_OPERATION(ShowNetLockLogin),
        TARN_OPERATION(NotifyLicParentFinish),
    };
#undef TARN_OPERATION
    return table;
}

const QString AfterLoginMethod = QStringLiteral("AfterLogin");
constexpr int NotifyTimeoutMs = 2000; // a thread of the host waits for it, and so does the end of the host

CallResult notify(ICloudLoginNotify &object, const QString &method, const Bag &, const ICallContext &)
{
    CallResult result;
    result.accepted = method == AfterLoginMethod;
    if (result.accepted)
        object.AfterLogin();
    else
        result.error.code = RpcError::NotFound;
    return result;
}

/// The notify object of another process.
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

/// Reaches the operations the way every remote caller does: through the hand-out of their dispatcher.
CallResult invoke(IVisualizedService &service, const QString &method, const Bag &input, const ICallContext &context)
{
    CallResult refused;
    const Handler handler = handlers().value(method);
    if (!handler) {
        refused.error.code = RpcError::NotFound;
        return refused;
    }
    const auto asked = QSharedPointer<core::InputArgs<IVisualizedService_InputArg>>::create();
    const auto given = QSharedPointer<core::OutputArgs<IVisualizedService_OutputArg>>::create();
    const QSharedPointer<Manager> manager = service.getVisualizedOperateManager(asked, given);
    if (!manager || given->GetRetCode() != visualized::HandedOut) {
        refused.retCode = given->GetRetCode();
        refused.errorText = QStringLiteral("the service hands out no operations: %1").arg(given->GetError());
        return refused;
    }
    Bag bag = input;
    const ObjectRef notify = bag.values.take(NotifyKey).value<ObjectRef>();
    const auto proxy = notify.isNull() ? QSharedPointer<RpcProxy>() : context.proxy(notify);
    return handler(*manager, bag, proxy ? QSharedPointer<LoginNotifyProxy>::create(proxy) : Notify());
}

const bool s_registered =
    registerSkeleton(visualized::Interface, &invoke) && registerSkeleton(LoginNotifyInterface, &notify);

} // namespace

} // namespace tarn::binding
