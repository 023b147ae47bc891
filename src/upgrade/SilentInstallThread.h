#pragma once
#include <QMutex>
#include <QSharedPointer>
#include <QString>
#include <QThread>
#include <atomic>

class IUpgaredService_InputParam;
class WindowHost;

/// Checks one request for a silent patch installation off the GUI thread; the upgrade service does the installation. A
/// failure becomes the manager's state 99 of that product. Started once.
class CSilentInstallThread final : public QThread
{
    Q_OBJECT
public:
    /// @param manager not touched after InterruptTask(); a null manager or param is a failure that is only logged
    CSilentInstallThread(QSharedPointer<IUpgaredService_InputParam> param, WindowHost *manager);
    ~CSilentInstallThread() override;

    /// The deleter for a worker that no code may wait for, since its file can be on a file system that does not answer:
    /// interrupts it, and it deletes itself when it ends. GUI thread.
    static void forget(CSilentInstallThread *worker);

    /// Any thread. From its return on, no state is stored; a failure stored before may still be logged, and
    /// installFinished() is emitted all the same.
    void InterruptTask();
    /// Whether the file cannot be opened for writing, e.g. because it runs. False for a missing file.
    bool IsExeFileUsing(const QString &path);

signals:
    void installFinished(); ///< after success and failure alike; the thread may still run for a moment
    void checkExeTimeOut(); ///< the product's program did not end in time; never emitted by this system's own checks

protected:
    void run() override;

private:
    void check();
    void fail(const QString &softName, const QString &reason);

    const QSharedPointer<IUpgaredService_InputParam> m_param;
    WindowHost *const m_manager;
    QMutex m_failing; ///< held while a failure is stored
    std::atomic_bool m_interrupted{false};
};
