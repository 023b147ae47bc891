#include "services/WorkThread.h"
#include <exception>

namespace tarn::services {

WorkThread::WorkThread()
{
    m_context.moveToThread(&m_thread);
    m_thread.start();
}

WorkThread::~WorkThread()
{
    m_thread.quit();
    m_thread.wait();
}

void WorkThread::execute(const std::function<void()> &work)
{
    std::exception_ptr thrown;
    const auto guarded = [&] {
        try {
            work();
        } catch (...) {
            thrown = std::current_exception();
        }
    };
    QMetaObject::invokeMethod(&m_context, guarded, Qt::BlockingQueuedConnection);
    if (thrown)
        std::rethrow_exception(thrown);
}

} // namespace tarn::services
