#include "upgrade/operate/UpgradeDataRefresh.h"
#include "base/Log.h"
#include "frame/VtServiceClient.h"
#include "tarn/keys/UpgradeKeys.h"
#include "tarn/upgrade/IUpgradeServiceAssistant.h"
#include "upgrade/operate/RowKeys.h"
#include <QTimer>

using namespace tarn::visualized;

namespace upgrade::operate {

namespace {
namespace key = tarn::upgrade::key;
namespace state = tarn::upgrade::state;
namespace item = tarn::upgrade::item;

constexpr int PollInterval = 1000; // ms

bool isItemType(int type)
{
    return type >= item::Main && type <= item::OldPatch;
}

QString itemName(const QVariantMap &working)
{
    switch (working.value(key::ItemType).toInt()) {
    case item::Main:
        return QStringLiteral("主程序");
    case item::Named:
        return working.value(key::UpdateName).toString();
    case item::Patch:
    case item::OldPatch:
        return QStringLiteral("补丁");
    default:
        return {};
    }
}

void describeDownloading(const QVariantMap &working, QVariantMap *download)
{
    const qint64 current = working.value(key::CurrentSize).toLongLong();
    const qint64 total = working.value(key::TotalSize).toLongLong();
    // A total of 0 is deliberately not caught: the division of doubles gives "inf%" or "nan%".
    const double percent = static_cast<double>(current) * 100.0 / static_cast<double>(total);
    download->insert(
        row::DownloadTip,
        QStringLiteral("正在下载%1，版本号：%2").arg(itemName(working), working.value(key::UpdateVersion).toString()));
    download->insert(row::DownloadPercent, QString::asprintf("%.0lf%%", percent));
    download->insert(row::CurrentBytes, current);
    download->insert(row::TotalBytes, total);
}

QVariantMap installParts(const QVariantMap &task)
{
    QVariantMap parts;
    for (const QString &part : {key::Software, key::Plugins, key::Patch, key::OldPatch}) {
        const auto it = task.constFind(part);
        if (it != task.cend())
            parts.insert(part, *it);
    }
    return parts;
}

QVariantMap downloadCtrl(const QVariantMap &task, int status)
{
    QVariantMap download{{row::DownloadTip, QString()}, {row::DownloadPercent, QString()}};
    if (status == state::Downloading) {
        describeDownloading(task.value(key::WorkingItem).toMap(), &download);
    } else if (status == state::Installing) {
        download.insert(row::DownloadTip, QStringLiteral("下载完成"));
        download.insert(row::DownloadPercent, QStringLiteral("安装中..."));
    }
    download.insert(row::TaskStatus, status);
    download.insert(row::CtrlSoftName, task.value(key::SoftName).toString());
    download.insert(row::InstallParam, installParts(task));
    return download;
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
            {row::DownloadCtrl, downloadCtrl(task, status)},
            {row::TaskStatus, status}};
}
} // namespace

QList<QVariant> queryDataInfos(const QVariant &taskInfoList)
{
    QList<QVariant> rows;
    const QList<QVariant> tasks = taskInfoList.toList();
    rows.reserve(tasks.size());
    for (const QVariant &one : tasks) {
        const QVariantMap task = one.toMap();
        const int type = task.value(key::WorkingItem).toMap().value(key::ItemType).toInt();
        if (task.value(key::Status).toInt() == state::Downloading && !isItemType(type))
            VT_LOG(info) << QStringLiteral("下载类型未标识，类型为%1").arg(type);
        rows.append(rowOf(task));
    }
    return rows;
}

CUpgradeDataRefresher::CUpgradeDataRefresher() = default;

CUpgradeDataRefresher::~CUpgradeDataRefresher()
{
    stopWork();
}

void CUpgradeDataRefresher::startWork()
{
    stopWork();
    m_timer = new QTimer(this);
    connect(m_timer, &QTimer::timeout, this, &CUpgradeDataRefresher::onTimeout);
    m_timer->start(PollInterval);
}

void CUpgradeDataRefresher::stopWork()
{
    if (!m_timer)
        return;
    m_timer->stop();
    disconnect(m_timer, &QTimer::timeout, this, &CUpgradeDataRefresher::onTimeout);
    m_timer->deleteLater(); // the poll that stops the work comes from this timer's own signal
    m_timer = nullptr;
}

void CUpgradeDataRefresher::updateUpgradeTasks()
{
    onTimeout();
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
