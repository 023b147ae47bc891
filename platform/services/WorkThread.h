#pragma once
#include <QObject>
#include <QThread>
#include <exception>
#include <optional>

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
    ~WorkThread() ///< lets the running piece end
    {
        m_thread.quit();
        m_thread.wait();
    }
    Q_DISABLE_COPY(WorkThread)

    /// Blocks until work has been carried out. Any thread but this one.
    /// @return the result of work, whose exceptions are thrown here
    template <class Work>
    auto run(Work work) -> decltype(work())
    {
        using Result = decltype(work());
        std::conditional_t<std::is_void_v<Result>, int, std::optional<Result>> result{};
        std::exception_ptr thrown;
        const auto guarded = [&] {
            try {
                if constexpr (std::is_void_v<Result>)
                    work();
                else
                    result = work();
            } catch (...) {
                thrown = std::current_exception();
            }
        };
        QMetaObject::invokeMethod(&m_context, guarded, Qt::BlockingQueuedConnection);
        if (thrown)
            std::rethrow_exception(thrown);
        if constexpr (!std::is_void_v<Result>)
            return *std::move(result);
    }

private:
    QThread m_thread;
    QObject m_context;
};

} // namespace tarn::services
