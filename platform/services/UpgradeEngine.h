#pragma once
#include "services/PackageDownload.h"
#include "services/UpgradeStore.h"
#include "services/WorkThread.h"
#include <QHash>
#include <QMap>
#include <atomic>
#include <functional>
#include <future>
#include <map>

namespace tarn::services {

/// Carries the tasks out: downloads several at once, installs on request. Its progress is in the store and in the
/// files, so that the next process continues there. Any thread; the work is done by threads of the object. The public
/// functions throw Failure.
class UpgradeEngine
{
public:
    /// Takes up the tasks of an earlier process.
    /// @param apps directory with the install descriptions
    /// @param downloads directory for packages, made when it is needed
    /// @param bandwidth bytes per second for all downloads together; 0 for no limit
    UpgradeEngine(UpgradeStore *store, QString apps, QString downloads, qint64 bandwidth);
    /// Running installations are undone unless the files were exchanged already. No call may run any more.
    ~UpgradeEngine();

    /// A product has one task. An active one stays as it is, a finished one is replaced.
    /// @return false when one stays
    bool start(UpgradeTask task);
    /// Once it returns, the stop is on the disk. While it cannot be stored, each call ends the work and throws.
    /// @return false when the product has no task
    bool stop(const QString &product);
    /// Begins the installation of the downloaded packages; a running installation continues.
    void install(const QString &product);
    QList<UpgradeTask> tasks();                 ///< in the order of their start, with the bytes that have arrived
    UpgradeTask taskOf(const QString &product); ///< with state 0 when the product has none

private:
    /// A running download or installation. The destructor ends it and waits; an installation is undone unless the files
    /// were exchanged already.
    struct Work
    {
        ~Work()
        {
            stopping = true;
            if (error.valid())
                error.wait();
        }
        int number = 0;
        std::atomic<bool> stopping{false};
        std::shared_future<QString> error{}; ///< empty: it is done
    };

    void load();
    void placeFiles(UpgradeTask *task) const;
    void takeUp(UpgradeTask *task);
    UpgradeTask *find(const QString &product);
    UpgradeTask current(const QString &product);
    void schedule();
    void download(const UpgradeTask &task, const std::atomic<bool> &stopping);
    void begin(const QString &product, const std::function<void(const std::atomic<bool> &stopping)> &work);
    void finish(const QString &product, int number);
    void setState(const QString &product, int state, const QString &reason = {});
    void storeState(UpgradeTask *task);
    void storeAgain();
    void dropForeignFiles() const;

    UpgradeStore *const m_store;
    const QString m_apps;
    const QString m_downloads;
    bool m_isLoaded = false;
    QMap<qint64, UpgradeTask> m_tasks;  ///< by id: in the order of their start
    QHash<QString, QString> m_unstored; ///< by product: the error of a task whose last state is not in the store
    Throttle m_throttle;
    std::map<QString, Work> m_running; ///< by product
    int m_lastNumber = 0;
    bool m_storesAgain = false; ///< storeAgain() is due
    WorkThread m_thread;        ///< uses the other members
};

} // namespace tarn::services
