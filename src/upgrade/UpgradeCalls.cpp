#include "upgrade/UpgradeCalls.h"
#include "frame/VtServiceClient.h"
#include "tarn/upgrade/IUpgradeServiceAssistant.h"

namespace tarn::visualized {

void upgradecalls::startDownload(const char *function, const QVariantMap &request)
{
    const auto outcome = call(service::upgrade(), &IUpgradeServiceAssistant::StartDownload, request);
    if (!outcome.called())
        VT_LOG_AS(critical, function) << QStringLiteral("获取在线升级服务失败");
    outcome.log(QMessageLogger(DllInfo::sDllName, __LINE__, function),
                QStringLiteral("【统一服务升级下载线程】调用开始下载接口"),
                QStringLiteral("调用开始下载软件安装接口成功。"));
}

bool upgradecalls::stop(const char *function, const QString &product, const QString &success)
{
    if (product.isEmpty()) {
        VT_LOG_AS(critical, function) << QStringLiteral("【取消下载】：获取软件名称失败。");
        return false;
    }
    const auto outcome =
        call(service::upgrade(), &IUpgradeServiceAssistant::StopUpgrade, {{upgrade::key::SoftwareName, product}});
    if (!outcome.called())
        VT_LOG_AS(critical, function) << QStringLiteral("【取消下载】：获取在线升级服务客户端接口对象失败。");
    outcome.transportAsRefusal().log(QMessageLogger(DllInfo::sDllName, __LINE__, function),
                                     QStringLiteral("【取消下载】调用停止升级接口"), success);
    return outcome.accepted();
}

} // namespace tarn::visualized
