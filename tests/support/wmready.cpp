// wmready [TIMEOUT_MS]: succeeds once the window manager really manages windows. Waiting for _NET_SUPPORTING_WM_CHECK is
// not enough: openbox sets it before it has taken over, and a window mapped in that gap stays unmapped for ever. So this
// maps a small window, and a new one every 100 ms, until one gets WM_STATE.

#include "support/XClients.h"
#include "support/XReply.h"
#include <QDeadlineTimer>
#include <poll.h>

namespace {
// Waits for the window manager's mark on one window, at most 100 ms.
bool isManaged(const XServer &server, xcb_window_t window)
{
    const uint32_t events = XCB_EVENT_MASK_PROPERTY_CHANGE;
    xcb_change_window_attributes(server.connection(), window, XCB_CW_EVENT_MASK, &events);
    for (const QDeadlineTimer end(100); !end.hasExpired();) {
        if (!server.property(window, "WM_STATE").isEmpty())
            return true;
        pollfd wait{xcb_get_file_descriptor(server.connection()), POLLIN, 0};
        poll(&wait, 1, int(end.remainingTime()) + 1);
        while (XReply<xcb_generic_event_t> event{xcb_poll_for_event(server.connection())}) {
        }
    }
    return false;
}
} // namespace

int main(int argc, char **argv)
{
    const XServer server;
    if (!server.isValid())
        return 2;
    bool managed = false;
    for (const QDeadlineTimer end(argc > 1 ? atoi(argv[1]) : 10000); !managed && !end.hasExpired();) {
        const xcb_window_t probe = server.open(QRect(0, 0, 10, 10), true);
        managed = isManaged(server, probe);
        server.destroy(probe);
    }
    return managed ? 0 : 1;
}
