#pragma once
#include "frame/VisualizedEvents.h"
#include <QReadLocker>
#include <memory>

class CVisualizedManager;
class WindowHost;

/// The door to the manager for everything that is not on its side: the operations on RPC threads and the windows. It
/// is open from the start and from every create(), and shut while and after destroy() runs, so that nothing brings
/// the manager back to life or meets it half destroyed. Any thread.
class CManagerAccess
{
public:
    CManagerAccess(); ///< keeps the door as it is until the end of the scope
    ~CManagerAccess();
    Q_DISABLE_COPY(CManagerAccess)

    bool isOpen() const;
    CVisualizedManager *manager() const; ///< null when the door is shut
    WindowHost *host() const;            ///< the same object for the windows, which know no more of it

    /// Posts a request to the manager. @return false when the door is shut; the data is then deleted
    static bool post(QEvent::Type type, std::unique_ptr<IVisualizedEventData> data);

    static void open();
    static void shut(); ///< returns when nobody is inside any more

private:
    QReadLocker m_locker;
};
