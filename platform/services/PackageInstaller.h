#pragma once
#include "services/FileSwap.h"
#include "services/PackageUnpacker.h"
#include "services/UpgradeTask.h"
#include <QObject>
#include <atomic>
#include <thread>

namespace tarn::services {

/// Installs the downloaded packages of a task: unpacks them beside the product's files, updates the install description
/// and exchanges all files together. The work runs on a separate thread; everything else belongs to the owner's.
class PackageInstaller final : public QObject
{
    Q_OBJECT
public:
    PackageInstaller(const UpgradeTask &task, const QList<Package> &packages, const QString &directory,
                     QObject *parent);
    ~PackageInstaller() override; ///< as stop()

    const UpgradeTask &task() const { return m_task; }
    void start();
    /// Ends the work, which is undone unless the files were exchanged already. Emits nothing afterwards.
    /// @return empty when it is installed
    QString stop();

signals:
    void finished(QString error); ///< empty when it is installed; else the product is as it was

private:
    void install();
    void stage();
    void updateDescription();

    const UpgradeTask m_task;
    const QList<Package> m_packages;
    const QString m_directory;
    FileSwap m_swap;
    QString m_error; ///< the worker's until it has ended
    std::atomic<bool> m_stopping{false};
    std::thread m_worker;
};

} // namespace tarn::services
