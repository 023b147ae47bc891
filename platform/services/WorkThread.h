#pragma once
#include <QObject>
#include <QThread>
#include <functional>
#include <optional>

namespace tarn::services {

/// A thread that carries out pieces of work one after the other, for things that belong to one thread.
class WorkThread
{
public:
    WorkThread();
    ~WorkThread(); ///< lets the running piece end
    Q_DISABLE_COPY(WorkThread)

    /// Blocks until work has been carried out. Any thread but this one.
    /// @return the result of work, whose exceptions are thrown here
    template <class Work>
    auto run(Work work) -> decltype(work())
    {
        if constexpr (std::is_void_v<decltype(work())>) {
            execute(work);
        } else {
            std::optional<decltype(work())> result;
            execute([&] { result = work(); });
            return *std::move(result);
        }
    }

private:
    void execute(const std::function<void()> &work);

    QThread m_thread;
    QObject m_context;
};

} // namespace tarn::services
