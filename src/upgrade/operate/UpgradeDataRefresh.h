#pragma once
#include <QMutex>
#include <QObject>
#include <QVariantMap>

class QTimer;

/// A display row: describes one running task to the upgrade table, by the keys below.
using UpgradeRowInfo = QMap<QString, QVariant>;

namespace upgrade::row {
inline const QString SoftName = QStringLiteral("SoftName");         ///< string, identity of the row
inline const QString ErrMsg = QStringLiteral("ErrMsg");             ///< string
inline const QString TaskStatus = QStringLiteral("taskStatus");     ///< int, tarn::upgrade::state; also in DownloadCtrl
inline const QString SoftInfoCtrl = QStringLiteral("softInfoCtrl"); ///< map for CSoftInfoItem
inline const QString DownloadCtrl = QStringLiteral("downloadCtrl"); ///< map for CUpgradeProgress

// SoftInfoCtrl
inline const QString CtrlSoftName = QStringLiteral("softName");   ///< string; also in DownloadCtrl
inline const QString SoftVersion = QStringLiteral("softVersion"); ///< string, installed version
inline const QString IconPath = QStringLiteral("iconPath");       ///< string, the product's executable

// DownloadCtrl
inline const QString DownloadTip = QStringLiteral("downloadTip");         ///< string
inline const QString DownloadPercent = QStringLiteral("downloadPercent"); ///< string
inline const QString InstallParam = QStringLiteral("installParam");       ///< map of the task's four parts
inline const QString CurrentBytes = QStringLiteral("currentBytes");       ///< qlonglong, while downloading
inline const QString TotalBytes = QStringLiteral("totalBytes");           ///< qlonglong, while downloading
} // namespace upgrade::row

namespace upgrade::operate {

/// Turns the upgrade service's task list into display rows, one per element and in its order. A missing value,
/// or one of another type, reads as empty or 0. Reentrant.
QList<QVariant> queryDataInfos(const QVariant &taskInfoList);

/// Asks the upgrade service for its running tasks once a second. GUI thread: the call blocks it until the client
/// library answers or gives up. A failed query is logged and reported as an empty list.
class CUpgradeDataRefresher final : public QObject
{
    Q_OBJECT
public:
    ~CUpgradeDataRefresher() override { stopWork(); }

    void startWork(); ///< the first tick comes after a second; a running timer is restarted
    void stopWork();
    void updateUpgradeTasks() { onTimeout(); } ///< one immediate poll
    QVariant getUpgradeTasksInfos();           ///< the running tasks as a QList<QVariant> of display rows

public slots:
    void onTimeout();

signals:
    void refreshUpgradeDtats(QVariant datas); // after every poll; the misspelt name is the system's own

private:
    QMutex m_queryLock;
    QTimer *m_timer = nullptr; ///< null while stopped
};

} // namespace upgrade::operate
