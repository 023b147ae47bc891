#pragma once
#include <QMutex>
#include <QObject>
#include <QVariant>

class QTimer;

namespace upgrade::operate {

/// Turns the upgrade service's task list into display rows (RowKeys.h), one per element and in its order. A missing value,
/// or one of another type, reads as empty or 0. Reentrant.
QList<QVariant> queryDataInfos(const QVariant &taskInfoList);

/// Asks the upgrade service for its running tasks once a second. GUI thread: the call blocks it until the client
/// library answers or gives up. A failed query is logged and reported as an empty list.
class CUpgradeDataRefresher final : public QObject
{
    Q_OBJECT
public:
    CUpgradeDataRefresher() = default;
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
