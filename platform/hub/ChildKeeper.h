#pragma once
#include <QElapsedTimer>
#include <QObject>
#include <QProcess>

/// Runs one program for as long as the hub lives and starts it again when it ends, after a pause that grows from 100 ms
/// to 10 s while it keeps ending at its start, to 1 s while another process keeps killing it. Main thread.
class ChildKeeper final : public QObject
{
    Q_OBJECT
public:
    explicit ChildKeeper(const QString &program); ///< no such program: a warning, nothing else
    ~ChildKeeper() override;                      ///< ends the program: SIGTERM, after five seconds SIGKILL

private:
    void OnEnded();
    void run();

    const QString m_program;
    QProcess *const m_process;
    QElapsedTimer m_lifetime;
    int m_pauseMs = 0;
};
