#pragma once
#include <QThreadPool>
#include <atomic>

namespace tarn::rpc {

/// The threads that carry out incoming calls, with a bounded queue in front. Threads that have nothing to do end after
/// a while. Thread-safe.
class WorkerPool
{
public:
    explicit WorkerPool(int threads);
    ~WorkerPool(); ///< waits for the queue

    /// Takes the task unless too many wait. The task must not delete itself by autoDelete and calls taken() first.
    bool start(QRunnable *task);
    void taken() { --m_queued; }

private:
    QThreadPool m_pool;
    std::atomic_int m_queued = 0;
};

} // namespace tarn::rpc
