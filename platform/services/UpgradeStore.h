#pragma once
#include "services/Database.h"
#include "services/UpgradeRecords.h"

namespace tarn::services {

/// The ignored updates and the tasks, in the database "upgrade.db". Any thread. The functions throw Failure; without it
/// the change is on the disk.
class UpgradeStore
{
public:
    explicit UpgradeStore(const QString &directory);

    void ignore(const QList<Offer> &offers);
    QList<Offer> ignores(); ///< in the order of their times
    /// @param product empty for all
    /// @return how many there were
    int forgetIgnores(const QString &product);

    QList<UpgradeTask> tasks(); ///< in the order of their ids
    /// Replaces the task of its product. @return the task's id, a new and higher one where it had none
    qint64 save(const UpgradeTask &task);

private:
    Database m_db;
};

} // namespace tarn::services
