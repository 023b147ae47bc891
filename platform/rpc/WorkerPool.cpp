#include "rpc/WorkerPool.h"
#include "rpc/Limits.h"

namespace tarn::rpc {

WorkerPool::WorkerPool(int threads)
    : m_single(threads <= 1)
{
    m_pool.setMaxThreadCount(m_single ? 1 : threads - 1);
}

WorkerPool::~WorkerPool()
{
    m_pool.waitForDone();
}

bool WorkerPool::tryEnter()
{
    return !m_single && !m_entered.test_and_set();
}

bool WorkerPool::start(QRunnable *task)
{
    if (++m_queued > limits::QueuedCalls) {
        --m_queued;
        return false;
    }
    m_pool.start(task);
    return true;
}

} // namespace tarn::rpc
