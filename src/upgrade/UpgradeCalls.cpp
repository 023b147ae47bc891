#include "upgrade/UpgradeCalls.h"
#include "frame/VtServiceClient.h"
#include "tarn/upgrade/IUpgradeServiceAssistant.h"

namespace tarn::visualized {

void upgradecalls::startDownload(const QVariantMap &request)
{
    const auto outcome = call(service::upgrade(), &IUpgradeServiceAssistant::StartDownload, request);
    if (!outcome.called())
        VT_LOG(critical) << QStringLiteral("获取在线升级服务失败");
    VT_LOG_OUTCOME(outcome, QStringLiteral("【统一服务升级下载线程】调用开始下载接口"),
                   QStringLiteral("调用开始下载软件安装接口成功。"));
}

} // namespace tarn::visualized
