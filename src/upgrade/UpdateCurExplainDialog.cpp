#include "upgrade/UpdateCurExplainDialog.h"
#include "base/Log.h"
#include "tarn/keys/UpgradeKeys.h"
#include "upgrade/UpdateRecords.h"
#include "upgrade/UpgradeCalls.h"
#include <QCloseEvent>
#include <QPushButton>

using namespace tarn::upgrade;
using namespace tarn::visualized;

void CUpdateCurExplainDialog::OnUpdateAhead()
{
    close();
    const std::optional<QVariantMap> values = record();
    if (!values)
        return;
    const QVariantMap patch = values->value(key::OldPatch).toMap();
    if (patch.isEmpty()) {
        VT_LOG(critical) << QStringLiteral("获取软件的升级信息失败");
        return;
    }
    QVariantMap request = records::parts(*values, {key::SoftwareName, key::OldPatch});
    request.insert(key::NewVersion, patch.value(key::NewVersion));
    request.insert(key::CurrentVersion, records::installedVersion(*values, key::OldPatch));
    upgradecalls::startDownload(request);
}

void CUpdateCurExplainDialog::InitExplainItems(QTabWidget *tabs, const QMap<QString, QVariant> &record)
{
    addExplainItems(tabs, record);
}

QList<QVariantMap> CUpdateCurExplainDialog::shownSections(const QVariantMap &record) const
{
    const QVariantMap patch = record.value(key::OldPatch).toMap();
    return patch.isEmpty() ? QList<QVariantMap>() : QList<QVariantMap>{patch};
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
