#include "login/CloudCalls.h"
#include "tarn/keys/CloudKeys.h"
#include <QThreadPool>

namespace tarn::visualized::cloudcalls {

namespace {
struct Pool final : QThreadPool
{
    Pool() { setMaxThreadCount(8); } // so many calls can hang before a further one waits
};
} // namespace

ServiceOutcome outcomeOf(ICloudService_OutputArgs &output)
{
    ServiceOutcome outcome;
    outcome.code = output.GetRetCode();
    outcome.error = servicecall::ownCopy(output.GetError());
    outcome.ending = servicecall::endingOf<ICloudServiceAssistant>(outcome.code);
    return outcome;
}

ServiceOutcome linkAddress(const QString &linkKey, QString *address)
{
    namespace key = cloud::key;
    const auto outcome =
        call(service::cloud(), &ICloudServiceAssistant::GetLinkAddress, {{key::LinkKey, linkKey}}, {key::LinkUrl});
    VT_LOG_OUTCOME(outcome, QStringLiteral("【获取跳转链接地址】%1").arg(linkKey), QString());
    *address = outcome.accepted() ? outcome.values.value(key::LinkUrl).toString() : QString();
    return outcome;
}

QThreadPool &pool()
{
    static Pool threads;
    return threads;
}

QThreadPool &callerPool()
{
    static Pool threads;
    return threads;
}

} // namespace tarn::visualized::cloudcalls
