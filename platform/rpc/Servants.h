#pragma once
#include "tarn/rpc/IInvocable.h"
#include <QHash>
#include <QMutex>
#include <QReadWriteLock>
#include <QSharedPointer>
#include <atomic>
#include <memory>
#include <utility>

namespace tarn::rpc {

/// The calls that run in an adapter's objects. Thread-safe.
class CallGate
{
public:
    /// One running call of this thread; not entered when the gate is closed.
    class Pass
    {
    public:
        explicit Pass(std::shared_ptr<CallGate> gate)
            : m_gate(std::move(gate))
            , m_outer(t_innermost)
            , m_isInside(m_gate->m_calls.tryLockForRead()) // fails while closeAndWait() waits
        {
            if (!m_gate->m_open)
                leave();
            if (m_isInside)
                t_innermost = this;
        }
        ~Pass()
        {
            t_innermost = m_outer;
            leave();
        }
        Q_DISABLE_COPY(Pass)
        bool entered() const { return m_isInside; }
        /// A call that waits for others must not be waited for itself.
        void leave()
        {
            if (std::exchange(m_isInside, false))
                m_gate->m_calls.unlock();
        }

    private:
        const std::shared_ptr<CallGate> m_gate;
        Pass *const m_outer;
        bool m_isInside;
    };

    void open() { m_open = true; }
    bool isOpen() const { return m_open; }
    /// Lets no call in any more and waits until the running ones have left, but for those that wait here themselves.
    /// @return whether it was open
    bool closeAndWait()
    {
        if (t_innermost)
            t_innermost->leave();
        const bool wasOpen = m_open.exchange(false);
        const QWriteLocker empty(&m_calls);
        return wasOpen;
    }
    /// Whether the calling thread carries out a call of some adapter.
    static bool insideCall() { return t_innermost != nullptr; }

private:
    static inline thread_local Pass *t_innermost = nullptr;
    std::atomic_bool m_open = false;
    QReadWriteLock m_calls; ///< held for reading by each call
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

/// The objects of this process by tag; callers reach those whose gate is open. Thread-safe.
class ServantTable
{
public:
    bool add(const Servant &servant) ///< false when the tag is in use
    {
        const QMutexLocker lock(&m_mutex);
        const bool isFree = !m_servants.contains(servant.tag);
        if (isFree)
            m_servants.insert(servant.tag, servant);
        return isFree;
    }
    /// Removes an object of that gate. @return it, without object when there is none
    Servant take(const QString &tag, const std::shared_ptr<CallGate> &gate)
    {
        const QMutexLocker lock(&m_mutex);
        return m_servants.value(tag).gate == gate ? m_servants.take(tag) : Servant();
    }
    QList<Servant> all() const
    {
        const QMutexLocker lock(&m_mutex);
        return m_servants.values();
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
