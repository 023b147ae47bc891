#pragma once
#include "services/PackageDownload.h"
#include "services/UpgradeStore.h"
#include <QHash>
#include <QNetworkAccessManager>
#include <QObject>
#include <QTimer>
#include <functional>

namespace tarn::services {

class PackageInstaller;

/// Carries the tasks out: downloads several at once, installs on request. Its progress is in the store and in the files, so
/// that the next process continues there. One thread with an event loop. The public functions throw Failure.
class UpgradeEngine final : public QObject
{
    Q_OBJECT
public:
    struct Settings
    {
        QString apps;         ///< directory with the install descriptions
        QString downloads;    ///< directory for packages, made when it is needed
        qint64 bandwidth = 0; ///< bytes per second for all downloads together; 0 for no limit
    };

    /// @param changed called after every change of a task's state
    UpgradeEngine(UpgradeStore *store, Settings settings, std::function<void()> changed);
    ~UpgradeEngine() override;

    void resume(); ///< takes up the tasks of an earlier process; a failure costs a log line
    void start(const UpgradeTask &task);
    bool stop(const QString &product); ///< false when the product has no task
    /// Begins the installation of the downloaded packages; a running installation continues.
    void install(const QString &product);
    QList<UpgradeTask> tasks();                                          ///< with the bytes that have arrived
    UpgradeTask taskOf(const QString &product);                          ///< with state 0 when the product has none
    QString file(const QString &product, const UpgradeItem &item) const; ///< of the complete package

private:
    void schedule();
    void scheduleSoon();
    void beginDownload(const UpgradeTask &task);
    void keepPackage(const QString &product, const UpgradeItem &item) const;
    void downloadEnded(const QString &product, const QString &error);
    void installEnded(const QString &product, const QString &error);
    void setState(const QString &product, int state, const QString &reason = QString());
    void takeUp(const UpgradeTask &task);
    void dropFiles(const UpgradeTask &task);
    void dropForeignFiles(const QList<UpgradeTask> &tasks);
    int firstMissing(const UpgradeTask &task) const;
    qint64 receivedOf(const UpgradeTask &task, const UpgradeItem &item) const;
    QString partialFile(const QString &product, const UpgradeItem &item) const; ///< of the bytes that have arrived
    QString directoryOf(const QString &product) const;                          ///< empty when it is not installed
    UpgradeTask withUnstored(UpgradeTask task) const;
    void storeUnstored();

    /// A task's state that is not in the store, for want of room or the like.
    struct Unstored
    {
        int state = 0;
        QString reason; ///< to be stored
        QString error;  ///< for callers: also says why the state is not stored
    };

    UpgradeStore *const m_store;
    const Settings m_settings;
    const std::function<void()> m_changed;
    QNetworkAccessManager m_network;
    Throttle m_throttle;
    QHash<QString, PackageDownload *> m_downloads; ///< by product
    QHash<QString, PackageInstaller *> m_installations;
    QHash<QString, Unstored> m_unstored; ///< by product
    QTimer m_storeAgain;
    bool m_scheduled = false;
};

} // namespace tarn::services
