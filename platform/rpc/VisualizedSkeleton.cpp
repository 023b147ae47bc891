#include "rpc/Skeletons.h"
#include "tarn/cloud/ICloudLoginNotify.h"
#include "tarn/cloud/ICloudServiceArgs.h"
#include "tarn/core/BagArgs.h"
#include "tarn/license/ILicenseServiceArgs.h"
#include "tarn/message/IMessageServiceArgs.h"
#include "tarn/rpc/CallbackObject.h"
#include "tarn/upgrade/IUpgradeServiceArgs.h"
#include "tarn/visualized/IVisualizedService.h"
#include "tarn/visualized/IVisulizedOperateManager.h"
#include <QHash>

namespace tarn::rpc {
namespace {

using Manager = IVisulizedOperateManager;
using Notify = QSharedPointer<ICloudLoginNotify>;
using Handler = CallResult (*)(Manager &, const Bag &, const Notify &);

/// Argument objects of each family: which of its shapes have a list.
template <class Interface>
struct Args
{
    using Type = core::InputArgs<Interface>;
};
template <>
struct Args<IUpgaredSoftInfoService_InputParam>
{
    using Type = core::InputListArgs<IUpgaredSoftInfoService_InputParam>;
};
template <>
struct Args<ILicenseService_OutputArgs>
{
    using Type = core::OutputArgs<ILicenseService_OutputArgs>;
};
#define TARN_OUTPUT_WITH_LIST(Interface)                                                                               \
    template <>                                                                                                        \
    struct Args<Interface>                                                                                             \
    {                                                                                                                  \
        using Type = core::OutputListArgs<Interface>;                                                                  \
    }
TARN_OUTPUT_WITH_LIST(ICloudService_OutputArgs);
TARN_OUTPUT_WITH_LIST(IMessageService_OutputArgs);
TARN_OUTPUT_WITH_LIST(IUpgaredSoftInfoService_OutputParam);
TARN_OUTPUT_WITH_LIST(IUpgaredService_OutputParam);
#undef TARN_OUTPUT_WITH_LIST

template <class Output>
CallResult answer(bool accepted, Output &output)
{
    CallResult result;
    result.accepted = accepted;
    result.retCode = output.GetRetCode();
    result.errorText = output.GetError();
    result.output = output.bag();
    return result;
}

template <auto Operation>
struct Call;
template <class In, class Out, bool (Manager::*Operation)(QSharedPointer<In>, QSharedPointer<Out>)>
struct Call<Operation>
{
    static CallResult run(Manager &manager, const Bag &bag, const Notify &)
    {
        const auto input = QSharedPointer<typename Args<In>::Type>::create(bag);
        const auto output = QSharedPointer<typename Args<Out>::Type>::create();
        const bool accepted = (manager.*Operation)(input, output);
        return answer(accepted, *output);
    }
};
template <class In, class Out, bool (Manager::*Operation)(QSharedPointer<In>, QSharedPointer<Out>, Notify)>
struct Call<Operation>
{
    static CallResult run(Manager &manager, const Bag &bag, const Notify &notify)
    {
        const auto input = QSharedPointer<typename Args<In>::Type>::create(bag);
        const auto output = QSharedPointer<typename Args<Out>::Type>::create();
        const bool accepted = (manager.*Operation)(input, output, notify);
        return answer(accepted, *output);
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

/// Reaches the operations the way every remote caller does: through the hand-out of their dispatcher.
class VisualizedSkeleton final : public IInvocable
{
public:
    VisualizedSkeleton(QSharedPointer<IVisualizedService> service, std::shared_ptr<ClientSide> side)
        : m_service(std::move(service))
        , m_side(std::move(side))
    {
    }

    CallResult invoke(const QString &method, const Bag &input, const ICallContext &) override
    {
        CallResult refused;
        const Handler handler = handlers().value(method);
        if (!handler) {
            refused.error.code = RpcError::NotFound;
            return refused;
        }
        const auto asked = QSharedPointer<core::InputArgs<IVisualizedService_InputArg>>::create();
        const auto given = QSharedPointer<core::OutputArgs<IVisualizedService_OutputArg>>::create();
        const QSharedPointer<Manager> manager = m_service->getVisualizedOperateManager(asked, given);
        if (!manager || given->GetRetCode() != visualized::HandedOut) {
            refused.retCode = given->GetRetCode();
            refused.errorText = QStringLiteral("the service hands out no operations: %1").arg(given->GetError());
            return refused;
        }
        Bag bag = input;
        const ObjectRef notify = bag.values.take(NotifyKey).value<ObjectRef>();
        return handler(*manager, bag, notify.isNull() ? Notify() : loginNotifyProxy(notify, m_side));
    }

private:
    const QSharedPointer<IVisualizedService> m_service;
    const std::shared_ptr<ClientSide> m_side;
};

} // namespace

QSharedPointer<IInvocable> visualizedSkeleton(QSharedPointer<IVisualizedService> service,
                                              std::shared_ptr<ClientSide> side)
{
    return QSharedPointer<VisualizedSkeleton>::create(std::move(service), std::move(side));
}

} // namespace tarn::rpc
