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
    /// Lets no call in any more and waits until the running ones have left; not to be called from one of them.
    void closeAndWait()
    {
        m_open = false;
        const QWriteLocker empty(&m_calls);
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
