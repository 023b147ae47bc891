#pragma once
#include <QSharedPointer>
#include <QString>
#include <QThread>
#include <atomic>

class CVisualizedManager;
class IUpgaredService_InputParam;

/// Judges one request for a silent patch installation off the GUI thread; the installation proper is the upgrade
/// service's. A failure becomes the manager's state 99 of that product. Started once; while it runs the request is its
/// alone. Its destructor waits for it.
class CSilentInstallThread final : public QThread
{
    Q_OBJECT
public:
    /// @param manager is to outlive it; null like a null param is a failure that is only logged
    CSilentInstallThread(QSharedPointer<IUpgaredService_InputParam> param, CVisualizedManager *manager);
    ~CSilentInstallThread() override;

    /// Any thread. What has not been judged yet is not judged any more; the end is announced all the same.
    void InterruptTask();
    /// Whether somebody keeps the file from being written, e.g. by running it. A missing one is not in use.
    bool IsExeFileUsing(const QString &path);

signals:
    void installFinished(); ///< whatever came of it; the thread may still be about to end
    void checkExeTimeOut(); ///< the product's program did not end in time; never from this system's own checks

protected:
    void run() override;

private:
    QString judge();

    const QSharedPointer<IUpgaredService_InputParam> m_param;
    CVisualizedManager *const m_manager;
    std::atomic_bool m_interrupted{false};
};
