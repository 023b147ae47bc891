#include "WorkerPool.h"
#include "Limits.h"

namespace tarn::rpc {

WorkerPool::WorkerPool(int threads)
{
    m_pool.setMaxThreadCount(threads);
}

WorkerPool::~WorkerPool()
{
    m_pool.waitForDone();
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
