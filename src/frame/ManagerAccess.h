#pragma once
#include "frame/VisualizedEvents.h"
#include <QReadLocker>
#include <memory>

class CVisualizedManager;
class WindowHost;

/// The access to the manager for the operations on RPC threads and for the windows. It is open from the start and from
/// every create() that adds the service, and shut while and after destroy() runs, so that no caller recreates the manager
/// or meets it half destroyed. Any thread; a thread does not create a second one while it holds one.
class CManagerAccess
{
public:
    CManagerAccess(); ///< keeps the access as it is until the end of the scope

    CVisualizedManager *manager() const; ///< null when the access is shut
    WindowHost *host() const;            ///< the same object for the windows, which know no more of it

    enum class Posted {
        Yes,
        Shut,    ///< destroy() runs or has run
        TooMany, ///< the GUI thread is behind, and what waits for it is limited
    };
    /// Posts a request to the manager; data that is not posted is deleted.
    static Posted post(QEvent::Type type, std::unique_ptr<IVisualizedEventData> data);

    static bool open(); ///< @return true if it was shut
    static void shut(); ///< returns when no scope of another thread holds the access

private:
    QReadLocker m_locker;
};
