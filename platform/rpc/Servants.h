#pragma once
#include "tarn/rpc/IInvocable.h"
#include <QHash>
#include <QMutex>
#include <QReadWriteLock>
#include <QSharedPointer>
#include <algorithm>
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

/// The objects of this process by tag; callers reach those whose gate is open. Several adapters may hold a tag as long as
/// at most one of them is active. Thread-safe.
class ServantTable
{
public:
    /// @return false when its adapter holds the tag, or both its adapter and another one that does are active
    bool add(const Servant &servant)
    {
        const QMutexLocker lock(&m_mutex);
        if (place(servant.tag, servant.gate) != m_servants.cend() || (servant.gate->isOpen() && isServed(servant.tag)))
            return false;
        m_servants.insert(servant.tag, servant);
        return true;
    }
    /// A tag of that gate that an open gate has too; empty without one.
    QString takenTag(const std::shared_ptr<CallGate> &gate) const
    {
        const QMutexLocker lock(&m_mutex);
        const auto taken = std::find_if(m_servants.cbegin(), m_servants.cend(),
                                        [&](const Servant &each) { return each.gate == gate && isServed(each.tag); });
        return taken == m_servants.cend() ? QString() : taken->tag;
    }
    /// Removes an object of that gate. @return it, without object when there is none
    Servant take(const QString &tag, const std::shared_ptr<CallGate> &gate)
    {
        const QMutexLocker lock(&m_mutex);
        const auto it = place(tag, gate);
        const Servant taken = it == m_servants.cend() ? Servant() : *it;
        if (taken.object)
            m_servants.erase(it);
        return taken;
    }
    QList<Servant> all() const
    {
        const QMutexLocker lock(&m_mutex);
        return m_servants.values();
    }
    Servant find(const QString &tag) const ///< without object when no gate that is open has one
    {
        const QMutexLocker lock(&m_mutex);
        const auto it = served(tag);
        return it == m_servants.cend() ? Servant() : *it;
    }

private:
    using Place = QMultiHash<QString, Servant>::const_iterator;
    Place place(const QString &tag, const std::shared_ptr<CallGate> &gate) const
    {
        return std::find_if(m_servants.cbegin(), m_servants.cend(),
                            [&](const Servant &each) { return each.tag == tag && each.gate == gate; });
    }
    Place served(const QString &tag) const
    {
        auto it = m_servants.constFind(tag);
        while (it != m_servants.cend() && it.key() == tag && !it->gate->isOpen())
            ++it;
        return it != m_servants.cend() && it.key() == tag ? it : m_servants.cend();
    }
    bool isServed(const QString &tag) const { return served(tag) != m_servants.cend(); }

    mutable QMutex m_mutex;
    QMultiHash<QString, Servant> m_servants;
};

} // namespace tarn::rpc
