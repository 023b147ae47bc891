#include "base/WorkPool.h"

namespace tarn::visualized {

namespace {
// A file on a dead mount holds its thread for as long as the mount is dead; the others still have some.
constexpr int Threads = 4;
} // namespace

void WorkPool::open()
{
    if (m_threads)
        return;
    m_stopping = std::make_shared<std::atomic<bool>>(false);
    m_threads = std::make_unique<QThreadPool>();
    m_threads->setMaxThreadCount(Threads);
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
    static WorkPool pool;
    return pool;
}

} // namespace tarn::visualized
