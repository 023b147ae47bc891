#pragma once
#include <QThreadPool>
#include <atomic>

namespace tarn::rpc {

/// The threads that execute incoming calls, "ThreadNum" at once: one in the gRPC thread that has read it, which saves two
/// thread switches and is nearly always enough, the others in a pool with a bounded queue. gRPC has two such threads or
/// more, so that one is left to read and to notice callers that go. Threads that have nothing to do end after a while.
/// Thread-safe.
class WorkerPool
{
public:
    explicit WorkerPool(int threads);
    ~WorkerPool(); ///< waits for the queue

    /// @return true: the calling thread carries the task out and calls leave() then
    bool tryEnter();
    void leave() { m_entered.clear(); }
    /// Takes the task unless too many wait. The task must not delete itself by autoDelete and calls taken() first.
    bool start(QRunnable *task);
    void taken() { --m_queued; }

private:
    const bool m_single; ///< one thread only: all calls are queued in the pool
    std::atomic_flag m_entered = ATOMIC_FLAG_INIT;
    QThreadPool m_pool;
    std::atomic_int m_queued = 0;
};

} // namespace tarn::rpc
