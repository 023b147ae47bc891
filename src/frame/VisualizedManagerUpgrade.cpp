// The manager's handlers of the upgrade and patch requests.
#include "EventRequest.h"
#include "Log.h"
#include "VisualizedManager.h"
#include "tarn/upgrade/IUpgradeServiceArgs.h"
#include "tarn/upgrade/UpgradeKeys.h"
#include <algorithm>
#include <optional>

namespace {
namespace key = tarn::upgrade::key;

/// The record of a notes request; these are made for exactly one product, anything else is not handled.
std::optional<QVariantMap> singleRecord(QEvent *e)
{
    const auto *data = request::withInput<CUpgradeExplainEveData>(e);
    const QList<QVariant> list = data ? data->inputArgs->GetValueList() : QList<QVariant>();
    return list.size() == 1 ? std::optional(list.constFirst().toMap()) : std::nullopt;
}

bool hasNews(const QVariantMap &record)
{
    return !record.value(key::Software).toMap().isEmpty() || !record.value(key::Patch).toMap().isEmpty() ||
           !record.value(key::Plugins).toList().isEmpty();
}
} // namespace

void CVisualizedManager::FilterVtSoftMgr(QList<QVariant> &list)
{
    const auto isAssistant = [](const QVariant &entry) {
        return entry.toMap().value(key::SoftwareName).toString().contains(QStringLiteral("岚川软件助手"));
    };
    list.erase(std::remove_if(list.begin(), list.end(), isAssistant), list.end());
}

void CVisualizedManager::showAutoCheckUpdateDialog(QEvent *e)
{
    const auto *data = request::withInput<CAutoCheckUpdateEveData>(e);
    if (!data)
        return;
    QList<QVariant> list = data->inputArgs->GetValueList();
    VT_LOG(info) << QStringLiteral("需要展示的软件信息数量:") + QString::number(list.size());
    FilterVtSoftMgr(list);
}

void CVisualizedManager::showUpgradeExplainDialog(QEvent *e)
{
    const std::optional<QVariantMap> record = singleRecord(e);
    if (!record)
        return;
    VT_LOG(info) << QStringLiteral("开始展示的软件更新信息提示框") + record->value(key::SoftwareName).toString();
    if (!hasNews(*record))
        VT_LOG(critical) << QStringLiteral("软件更新提示框异常退出：数据为空");
}

void CVisualizedManager::showUpgradeCurExplainDialog(QEvent *e)
{
    const std::optional<QVariantMap> record = singleRecord(e);
    if (!record)
        return;
    VT_LOG(info) << QStringLiteral("开始展现软件旧版本补丁更新说明窗口") + record->value(key::SoftwareName).toString();
    if (record->value(key::OldPatch).toMap().isEmpty())
        VT_LOG(critical) << QStringLiteral("软件旧版本补丁更新提示框异常退出：数据为空");
}

void CVisualizedManager::showUpgradeDownloadDialog(QEvent *e)
{
    if (!request::withInput<CUpgradeDownloadEveData>(e))
        return;
}

void CVisualizedManager::showSilentPatchInstallDialog(QEvent *e)
{
    const auto *data = request::withInput<CSilentPatchInstallEveData>(e);
    if (!data || data->inputArgs->GetValue(key::SoftwareName).toString().isEmpty())
        return;
}
