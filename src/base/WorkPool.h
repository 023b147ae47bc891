#pragma once
#include <QFutureWatcher>
#include <QThreadPool>
#include <QtConcurrent>
#include <atomic>
#include <memory>

namespace tarn::visualized {

/// Tells a task that its result is no longer wanted: its receiver was destroyed, or the plug-in is stopping. Any thread.
struct WorkCancel
{
    using Flag = std::shared_ptr<std::atomic<bool>>;

    Flag receiver; ///< destroyed
    Flag pool;     ///< stopping

    bool requested() const { return *receiver || *pool; }
};

/// Threads for work that must not hold the GUI thread: reading and judging data from outside. Its users are on the GUI
/// thread.
class WorkPool final
{
public:
    WorkPool() { open(); }
    ~WorkPool() { stop(0); } ///< the process ends: a QThreadPool would wait for its threads without a limit
    Q_DISABLE_COPY(WorkPool)

    /// Runs a task on a thread of the pool and hands its result to the GUI thread. Between stop() and open() nothing runs.
    /// @param receiver the result is dropped when this is destroyed; not null
    /// @param task Result task(WorkCancel cancel); a long one asks cancel.requested() between its steps and returns early.
    ///             Result has a default constructor
    /// @param done void done(Result), called on the GUI thread
    template <class Task, class Done>
    void run(QObject *receiver, Task task, Done done);

    void open();
    /// Asks every task to return and waits for that.
    /// @return false when some still run after the given milliseconds; their threads are then left to themselves
    bool stop(int ms);

private:
    std::unique_ptr<QThreadPool> m_threads; ///< null while stopped
    WorkCancel::Flag m_stopping;
};

/// The pool for files and markup from outside; destroy() stops it.
WorkPool &outsideWork();

template <class Task, class Done>
void WorkPool::run(QObject *receiver, Task task, Done done)
{
    if (!m_threads)
        return;
    using Result = std::invoke_result_t<Task, WorkCancel>;
    const WorkCancel cancel{std::make_shared<std::atomic<bool>>(false), m_stopping};
    auto *watcher = new QFutureWatcher<Result>(receiver);
    QObject::connect(watcher, &QObject::destroyed, [cancel] { *cancel.receiver = true; });
    QObject::connect(watcher, &QFutureWatcher<Result>::finished, receiver, [watcher, done, cancel] {
        watcher->deleteLater();
        if (!cancel.requested())
            done(watcher->result());
    });
    watcher->setFuture(QtConcurrent::run(
        m_threads.get(), [task, cancel]() -> Result { return cancel.requested() ? Result() : task(cancel); }));
}

} // namespace tarn::visualized
