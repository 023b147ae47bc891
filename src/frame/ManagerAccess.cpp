#include "frame/ManagerAccess.h"
#include "frame/VisualizedManager.h"
#include <QCoreApplication>
#include <QReadWriteLock>
#include <QWriteLocker>

namespace {
// Recursive: a window that posts from inside a guarded call must not wait for a writer that waits for it.
QReadWriteLock doorLock(QReadWriteLock::Recursive);
bool doorOpen = true;
} // namespace

CManagerAccess::CManagerAccess()
    : m_locker(&doorLock)
{
}

CManagerAccess::~CManagerAccess() = default;

bool CManagerAccess::isOpen() const
{
    return doorOpen;
}

CVisualizedManager *CManagerAccess::manager() const
{
    return doorOpen ? CVisualizedManager::GetInstance() : nullptr;
}

WindowHost *CManagerAccess::host() const
{
    return manager();
}

bool CManagerAccess::post(QEvent::Type type, std::unique_ptr<IVisualizedEventData> data)
{
    const CManagerAccess access;
    CVisualizedManager *manager = access.manager();
    if (!manager)
        return false;
    QCoreApplication::postEvent(manager, new CVisualizedEvents(type, data.release()), Qt::NormalEventPriority);
    return true;
}

void CManagerAccess::open()
{
    const QWriteLocker locker(&doorLock);
    doorOpen = true;
}

void CManagerAccess::shut()
{
    const QWriteLocker locker(&doorLock);
    doorOpen = false;
}
