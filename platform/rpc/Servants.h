#pragma once
#include "tarn/rpc/IInvocable.h"
#include <QHash>
#include <QMutex>
#include <QSharedPointer>
#include <QWaitCondition>
#include <memory>

namespace tarn::rpc {

/// Counts the calls that run in an adapter's objects. Thread-safe.
class CallGate
{
public:
    /// One running call of this thread; not entered when the gate is closed.
    class Pass
    {
    public:
        explicit Pass(std::shared_ptr<CallGate> gate);
        ~Pass();
        Pass(const Pass &) = delete;
        Pass &operator=(const Pass &) = delete;
        bool entered() const { return m_isInside; }
        /// A call that waits for others must not be waited for itself.
        void leave();

    private:
        std::shared_ptr<CallGate> m_gate;
        Pass *m_outer;
        bool m_isInside = false;
    };

    void open();
    /// Lets no call in any more and waits until the running ones have ended, but for those that wait here themselves.
    void closeAndWait();
    /// Whether the calling thread carries out a call of some adapter.
    static bool insideCall();

private:
    QMutex m_mutex;
    QWaitCondition m_idle;
    bool m_open = false;
    int m_running = 0;
};

/// An object that can be called.
struct Servant
{
    QString interfaceName;
    QString tag;
    QSharedPointer<IInvocable> object;
    std::shared_ptr<CallGate> gate;
    bool published = true; ///< known to the hub; callback objects are not
};

/// The objects of this process that callers reach, by tag. Thread-safe.
class ServantTable
{
public:
    void assign(QHash<QString, Servant> servants) // which outlive the lock: an object's destructor may call here
    {
        const QMutexLocker lock(&m_mutex);
        m_servants.swap(servants);
    }
    Servant find(const QString &tag) const ///< without object when there is none
    {
        const QMutexLocker lock(&m_mutex);
        return m_servants.value(tag);
    }

private:
    mutable QMutex m_mutex;
    QHash<QString, Servant> m_servants;
};

} // namespace tarn::rpc
