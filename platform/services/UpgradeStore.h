#pragma once
#include "services/Database.h"
#include "services/UpdateCheck.h"
#include "services/UpgradeTask.h"

namespace tarn::services {

/// The ignored updates and the tasks, in the database "upgrade.db". One thread. The functions throw Failure; without it
/// the change is on the disk.
class UpgradeStore
{
public:
    explicit UpgradeStore(const QString &directory);

    struct Ignored
    {
        Offer offer;
        qint64 time = 0; ///< ms since 1970
    };

    void ignore(const QList<Offer> &offers);
    QList<Ignored> ignores();
    /// @param product empty for all
    /// @return how many there were
    int forgetIgnores(const QString &product);

    /// A product has one task. An active one stays as it is, a finished one is replaced.
    void start(const UpgradeTask &task);
    QList<UpgradeTask> tasks();               ///< in the order in which they were started
    UpgradeTask task(const QString &product); ///< with state 0 when the product has none
    void setState(const QString &product, int state, const QString &error);

private:
    void insertTask(const UpgradeTask &task);
    QList<UpgradeTask> readTasks(const QString &product);

    Database m_db;
};

} // namespace tarn::services
