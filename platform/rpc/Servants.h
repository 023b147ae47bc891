#pragma once
#include "tarn/rpc/IInvocable.h"
#include <QHash>
#include <QMutex>
#include <QReadWriteLock>
#include <QSharedPointer>
#include <atomic>
#include <memory>

namespace tarn::rpc {

/// The calls that run in an adapter's objects. Thread-safe.
class CallGate
{
public:
    void open() { m_open = true; }
    bool isOpen() const { return m_open; }
    /// Lets no call in any more and waits until the running ones have left; not to be called from one of them.
    /// @return whether it was open
    bool closeAndWait()
    {
        const bool wasOpen = m_open.exchange(false);
        const QWriteLocker empty(&m_calls);
        return wasOpen;
    }
    /// @return whether the call may run; leave() has to follow then, on the same thread
    bool enter()
    {
        if (!m_calls.tryLockForRead()) // closeAndWait() waits
            return false;
        const bool isOpen = m_open;
        if (!isOpen)
            m_calls.unlock();
        return isOpen;
    }
    void leave() { m_calls.unlock(); }

private:
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
