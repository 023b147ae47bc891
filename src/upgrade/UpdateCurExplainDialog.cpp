#include "upgrade/UpdateCurExplainDialog.h"
#include "base/Log.h"
#include "tarn/keys/UpgradeKeys.h"
#include "upgrade/UpdateRecords.h"
#include "upgrade/UpgradeCalls.h"
#include <QPushButton>

using namespace tarn::upgrade;
using namespace tarn::visualized;

void CUpdateCurExplainDialog::OnUpdateAhead()
{
    close();
    if (!hasRecord(__func__))
        return;
    const QVariantMap values = record(__func__);
    const QVariantMap patch = values.value(key::OldPatch).toMap();
    if (patch.isEmpty()) {
        VT_LOG(critical) << QStringLiteral("获取软件的升级信息失败");
        return;
    }
    upgradecalls::startDownload(
        __func__, records::parts(values, {key::SoftwareName, key::OldPatch},
                                 {{key::NewVersion, patch.value(key::NewVersion)},
                                  {key::CurrentVersion, records::installedVersion(values, key::OldPatch)}}));
}

void CUpdateCurExplainDialog::InitExplainItems(QTabWidget *tabs, const QMap<QString, QVariant> &record)
{
    addExplainItems(tabs, {record.value(key::OldPatch).toMap()});
}

int CUpdateCurExplainDialog::CalTabbarWidth() const
{
    return tabbarWidth({record(__func__).value(key::OldPatch).toMap()});
}

void CUpdateCurExplainDialog::connectUpdateBtn(QPushButton *button)
{
    if (!button) {
        VT_LOG(critical) << QStringLiteral("旧版本补丁更新说明窗口按钮连接信号失败，原因：按钮对象为空");
        return;
    }
    connect(button, &QPushButton::clicked, this, &CUpdateCurExplainDialog::OnUpdateAhead);
}

void CUpdateCurExplainDialog::closeEvent(QCloseEvent *event)
{
    tellManagerClosed();
    ToolDialog::closeEvent(event);
}
