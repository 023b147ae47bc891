#pragma once
#include <QObject>
#include <QThread>
#include <QTimer>
#include <future>

namespace tarn::services {

/// A thread that carries out pieces of work one after the other, for things that belong to one thread.
class WorkThread
{
public:
    WorkThread()
    {
        m_context.moveToThread(&m_thread);
        m_thread.start();
    }
    ~WorkThread() ///< lets the running piece end; posted ones may be dropped
    {
        m_thread.quit();
        m_thread.wait();
    }
    Q_DISABLE_COPY(WorkThread)

    /// Blocks until work has been carried out, at once when called by work. Any thread.
    /// @return the result of work, whose exceptions are thrown here
    template <class Work>
    auto run(Work work) -> decltype(work())
    {
        if (QThread::currentThread() == &m_thread)
            return work();
        std::packaged_task<decltype(work())()> task(std::move(work));
        auto result = task.get_future();
        QMetaObject::invokeMethod(
            &m_context, [&task] { task(); }, Qt::BlockingQueuedConnection);
        return result.get();
    }

    /// Carries work out later. Any thread.
    template <class Work>
    void post(Work work, int delayMs = 0)
    {
        const auto begin = [this, work, delayMs] { QTimer::singleShot(delayMs, &m_context, work); };
        QMetaObject::invokeMethod(&m_context, begin, Qt::QueuedConnection);
    }

private:
    QThread m_thread;
    QObject m_context;
};

} // namespace tarn::services
