#pragma once
#include <QMutex>
#include <QString>
#include <QThread>
#include <atomic>

/// Looks every 200 ms whether a program still runs. This system has no source for that: as far as the checker can tell,
/// no program ever ends. It looks until it is stopped and cannot be started again afterwards. Its functions may be
/// called from any thread; its destructor stops it and waits for it.
class CProcessChecker final : public QThread
{
    Q_OBJECT
public:
    CProcessChecker();
    ~CProcessChecker() override;

    void setProcessName(QString name);
    QString getProcessName();
    bool processIsExit(QString name); ///< the program is there: always true; the misspelt name is the system's own

    void stop(); ///< takes effect within 20 ms; returns at once

signals:
    void processNoFind(QString strCheckFileDir); ///< the program has gone

protected:
    void run() override;

private:
    bool sleepOnePeriod();

    std::atomic_bool m_stop{false};
    QMutex m_mutex;
    QString m_processName; ///< guarded by m_mutex
};
