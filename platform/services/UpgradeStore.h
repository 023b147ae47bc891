#pragma once
#include "services/Database.h"
#include "services/UpdateCheck.h"
#include "services/UpgradeTask.h"

namespace tarn::services {

/// The ignored updates and the tasks, in the database "upgrade.db". One thread. The functions return what went wrong,
/// empty when all is well: the change is on the disk then.
class UpgradeStore
{
public:
    explicit UpgradeStore(const QString &directory);

    struct Ignored
    {
        Offer offer;
        qint64 time = 0; ///< ms since 1970
    };

    QString ignore(const QList<Offer> &offers);
    QString ignores(QList<Ignored> *list);
    /// @param product empty for all
    QString forgetIgnores(const QString &product, int *removed);

    /// A product has one task. An active one stays as it is, a finished one is replaced.
    QString start(const UpgradeTask &task);
    /// In the order in which they were started.
    QString tasks(QList<UpgradeTask> *list);
    /// @param task with state 0 when the product has none
    QString task(const QString &product, UpgradeTask *task);
    /// @param known false when the product has no task
    QString setState(const QString &product, int state, const QString &error, bool *known);

private:
    QString insertTask(const UpgradeTask &task);
    QString readTasks(const QString &product, QList<UpgradeTask> *list);
    QString readItems(UpgradeTask *task);

    Database m_db;
};

} // namespace tarn::services
