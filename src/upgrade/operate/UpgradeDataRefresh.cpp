#include "upgrade/operate/UpgradeDataRefresh.h"
#include "base/Log.h"
#include "frame/VtServiceClient.h"
#include "tarn/keys/UpgradeKeys.h"
#include "tarn/upgrade/IUpgradeServiceAssistant.h"
#include "upgrade/UpdateRecords.h"
#include <QTimer>

using namespace tarn::visualized;

namespace upgrade::operate {

namespace {
namespace key = tarn::upgrade::key;
namespace state = tarn::upgrade::state;
namespace item = tarn::upgrade::item;

QString itemName(const QVariantMap &working)
{
    const int type = working.value(key::ItemType).toInt();
    if (type == item::Main)
        return QStringLiteral("主程序");
    if (type == item::Named)
        return working.value(key::UpdateName).toString();
    if (type == item::Patch || type == item::OldPatch)
        return QStringLiteral("补丁");
    VT_LOG_AS(info, "queryDataInfos") << QStringLiteral("下载类型未标识，类型为%1").arg(type);
    return {};
}

QVariantMap downloadCtrl(const QVariantMap &task, const QString &name, int status)
{
    QVariantMap ctrl{
        {row::DownloadTip, QString()},
        {row::DownloadPercent, QString()},
        {row::TaskStatus, status},
        {row::CtrlSoftName, name},
        {row::InstallParam, records::parts(task, {key::Software, key::Plugins, key::Patch, key::OldPatch})}};
    if (status == state::Downloading) {
        const QVariantMap working = task.value(key::WorkingItem).toMap();
        const qint64 current = working.value(key::CurrentSize).toLongLong();
        const qint64 total = working.value(key::TotalSize).toLongLong();
        // A total of 0 is deliberately not caught: the division of doubles gives "inf%" or "nan%".
        const double percent = static_cast<double>(current) * 100.0 / static_cast<double>(total);
        ctrl[row::DownloadTip] = QStringLiteral("正在下载%1，版本号：%2")
                                     .arg(itemName(working), working.value(key::UpdateVersion).toString());
        ctrl[row::DownloadPercent] = QString::asprintf("%.0lf%%", percent);
        ctrl[row::CurrentBytes] = current;
        ctrl[row::TotalBytes] = total;
    } else if (status == state::Installing) {
        ctrl[row::DownloadTip] = QStringLiteral("下载完成");
        ctrl[row::DownloadPercent] = QStringLiteral("安装中...");
    }
    return ctrl;
}

UpgradeRowInfo rowOf(const QVariantMap &task)
{
    const QString name = task.value(key::SoftName).toString();
    const int status = task.value(key::Status).toInt();
    return {{row::SoftName, name},
            {row::ErrMsg, task.value(key::ErrMsg).toString()},
            {row::SoftInfoCtrl, QVariantMap{{row::CtrlSoftName, name},
                                            {row::SoftVersion, task.value(key::CurrentVersion).toString()},
                                            {row::IconPath, task.value(key::ExeFilePath).toString()}}},
            {row::DownloadCtrl, downloadCtrl(task, name, status)},
            {row::TaskStatus, status}};
}
} // namespace

QList<QVariant> queryDataInfos(const QVariant &taskInfoList)
{
    QList<QVariant> rows;
    const QList<QVariant> tasks = taskInfoList.toList();
    rows.reserve(tasks.size());
    for (const QVariant &task : tasks)
        rows.append(rowOf(task.toMap()));
    return rows;
}

void CUpgradeDataRefresher::startWork()
{
    stopWork();
    m_timer = new QTimer(this);
    connect(m_timer, &QTimer::timeout, this, &CUpgradeDataRefresher::onTimeout);
    m_timer->start(1000);
}

void CUpgradeDataRefresher::stopWork()
{
    if (!m_timer)
        return;
    m_timer->stop();
    m_timer->disconnect();
    m_timer->deleteLater(); // the poll that stops the work comes from this timer's own signal
    m_timer = nullptr;
}

void CUpgradeDataRefresher::onTimeout()
{
    const QVariant datas = getUpgradeTasksInfos();
    // Restarted before the signal: a timer does not fire during its own tick, and a receiver may open a message box.
    // After a slow answer the window also has a whole interval without a call.
    if (m_timer)
        m_timer->start();
    emit refreshUpgradeDtats(datas);
}

QVariant CUpgradeDataRefresher::getUpgradeTasksInfos()
{
    const QMutexLocker locker(&m_queryLock);
    const auto outcome = call(service::upgrade(), &IUpgradeServiceAssistant::QueryTaskInfos, {}, {key::TaskInfoList});
    if (outcome.ending == ServiceOutcome::Ending::NoAssistant)
        VT_LOG(info) << QStringLiteral("getUpgradeTasksInfos：获取在线升级服务失败");
    if (outcome.ending == ServiceOutcome::Ending::NoArguments)
        VT_LOG(info) << QStringLiteral("pOutputParam为空");
    // The sentences name the check-update prompt and its ignore call; that is deliberate and kept.
    VT_LOG_OUTCOME(outcome, QStringLiteral("【检测升级窗口】调用忽略升级接口"),
                   QStringLiteral("调用忽略升级接口成功。"));
    return outcome.accepted() ? queryDataInfos(outcome.values.value(key::TaskInfoList)) : QList<QVariant>();
}

} // namespace upgrade::operate
