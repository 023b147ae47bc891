#pragma once
#include <QMutex>
#include <QThread>
#include <atomic>

/// Checks every 200 ms whether a program still runs. This system has no source for that: every program counts as running.
/// The thread runs until it is stopped, and is started once. Any thread may call its functions; the destructor stops the
/// thread and waits for it, 20 ms at most.
class CProcessChecker final : public QThread
{
    Q_OBJECT
public:
    CProcessChecker() = default;
    ~CProcessChecker() override;

    void setProcessName(QString name)
    {
        const QMutexLocker locker(&m_mutex);
        m_processName = name;
    }
    QString getProcessName()
    {
        const QMutexLocker locker(&m_mutex);
        return m_processName;
    }
    /// Whether the program runs: always true; the misspelt name is the system's own.
    bool processIsExit(QString) { return true; }
    void stop() { m_stop = true; } ///< takes effect within 20 ms; returns at once

signals:
    void processNoFind(QString strCheckFileDir); ///< the program has ended

protected:
    void run() override;

private:
    std::atomic_bool m_stop{false};
    QMutex m_mutex;
    QString m_processName; ///< guarded by m_mutex
};
