#pragma once
#include <QObject>
#include <QThread>
#include <functional>

namespace tarn::services {

/// A thread that carries out pieces of work one after the other, for things that belong to one thread.
class WorkThread
{
public:
    WorkThread();
    ~WorkThread(); ///< lets the running piece end
    Q_DISABLE_COPY(WorkThread)

    /// Blocks until work has been carried out; its exceptions are thrown here. Any thread but this one.
    void run(const std::function<void()> &work);

private:
    QThread m_thread;
    QObject m_context;
};

} // namespace tarn::services
