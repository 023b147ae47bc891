#include "frame/ManagerAccess.h"
#include "base/Log.h"
#include "frame/VisualizedManager.h"
#include <QCoreApplication>
#include <QReadWriteLock>
#include <QWriteLocker>

namespace {
// A caller can post faster than the GUI thread shows windows, and each request may hold some megabytes.
constexpr int MaxPendingRequests = 32;

QReadWriteLock accessLock;
bool isOpen = true;
} // namespace

CManagerAccess::CManagerAccess()
    : m_locker(&accessLock)
{
}

CVisualizedManager *CManagerAccess::manager() const
{
    return isOpen ? CVisualizedManager::GetInstance() : nullptr;
}

WindowHost *CManagerAccess::host() const
{
    return manager();
}

CManagerAccess::Posted CManagerAccess::post(QEvent::Type type, std::unique_ptr<IVisualizedEventData> data)
{
    // Two threads can pass at the same time, so each thread can exceed the limit by one.
    if (type != CVisualizedEvents::eShowNotifyMsgDialog && CVisualizedEvents::pendingRequests() >= MaxPendingRequests) {
        VT_LOG(warning) << QStringLiteral("等待处理的窗口请求过多，请求被拒绝");
        return Posted::TooMany;
    }
    const CManagerAccess access;
    CVisualizedManager *manager = access.manager();
    if (!manager)
        return Posted::Shut;
    QCoreApplication::postEvent(manager, new CVisualizedEvents(type, data.release()), Qt::NormalEventPriority);
    return Posted::Yes;
}

bool CManagerAccess::open()
{
    const QWriteLocker locker(&accessLock);
    return !std::exchange(isOpen, true);
}

void CManagerAccess::shut()
{
    const QWriteLocker locker(&accessLock);
    isOpen = false;
}
