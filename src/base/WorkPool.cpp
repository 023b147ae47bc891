#include "base/WorkPool.h"

namespace tarn::visualized {

namespace {
// A file on a dead mount holds its thread for as long as the mount is dead; the others still have some.
constexpr int OutsideThreads = 4;
} // namespace

WorkPool::WorkPool(int threads)
    : m_threadCount(threads)
{
    open();
}

void WorkPool::open()
{
    if (m_threads)
        return;
    m_stopping = std::make_shared<std::atomic<bool>>(false);
    m_threads = std::make_unique<QThreadPool>();
    m_threads->setMaxThreadCount(m_threadCount);
}

bool WorkPool::stop(int ms)
{
    if (!m_threads)
        return true;
    *m_stopping = true;
    const bool joined = m_threads->waitForDone(ms);
    if (!joined)
        m_threads.release(); // NOLINT(bugprone-unused-return-value): its destructor would wait without a limit
    m_threads.reset();
    return joined;
}

WorkPool &outsideWork()
{
    static WorkPool pool(OutsideThreads);
    return pool;
}

} // namespace tarn::visualized
