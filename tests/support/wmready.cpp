// wmready [TIMEOUT_MS]: succeeds once the window manager really manages windows. Waiting for _NET_SUPPORTING_WM_CHECK is
// not enough: openbox sets it before it has taken over, and what is mapped in that gap stays unmapped for ever. So this
// maps a small window, and a new one every 100 ms, until one gets WM_STATE.

#include "support/XReply.h"

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <poll.h>
#include <xcb/xcb.h>

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;
constexpr milliseconds Probe(100);

xcb_atom_t atom(xcb_connection_t *connection, const char *name)
{
    const auto cookie = xcb_intern_atom(connection, 0, static_cast<uint16_t>(std::strlen(name)), name);
    const XReply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(connection, cookie, nullptr));
    return reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
}

xcb_window_t mapProbe(xcb_connection_t *connection, const xcb_screen_t &screen)
{
    const xcb_window_t window = xcb_generate_id(connection);
    const uint32_t values[] = {screen.black_pixel, XCB_EVENT_MASK_PROPERTY_CHANGE};
    xcb_create_window(connection, XCB_COPY_FROM_PARENT, window, screen.root, 0, 0, 10, 10, 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, screen.root_visual, XCB_CW_BACK_PIXEL | XCB_CW_EVENT_MASK, values);
    xcb_map_window(connection, window);
    xcb_flush(connection);
    return window;
}

bool isManaged(xcb_connection_t *connection, xcb_window_t window, xcb_atom_t state)
{
    const auto cookie = xcb_get_property(connection, 0, window, state, XCB_ATOM_ANY, 0, 2);
    const XReply<xcb_get_property_reply_t> reply(xcb_get_property_reply(connection, cookie, nullptr));
    return reply && reply->type != XCB_ATOM_NONE;
}

// Waits for the window manager's mark on one probe window, at most for the time of a probe.
bool waitManaged(xcb_connection_t *connection, xcb_window_t window, xcb_atom_t state)
{
    const auto end = Clock::now() + Probe;
    while (Clock::now() < end) {
        if (isManaged(connection, window, state))
            return true;
        pollfd wait{xcb_get_file_descriptor(connection), POLLIN, 0};
        const auto left = std::chrono::duration_cast<milliseconds>(end - Clock::now());
        poll(&wait, 1, static_cast<int>(left.count()) + 1);
        while (XReply<xcb_generic_event_t> event{xcb_poll_for_event(connection)}) {
        }
    }
    return false;
}

} // namespace

int main(int argc, char **argv)
{
    const int timeoutMs = argc > 1 ? std::atoi(argv[1]) : 10000;
    xcb_connection_t *connection = xcb_connect(nullptr, nullptr);
    if (xcb_connection_has_error(connection))
        return 2;
    const xcb_screen_t &screen = *xcb_setup_roots_iterator(xcb_get_setup(connection)).data;
    const xcb_atom_t state = atom(connection, "WM_STATE");
    bool managed = false;
    for (const auto end = Clock::now() + milliseconds(timeoutMs); !managed && Clock::now() < end;) {
        const xcb_window_t probe = mapProbe(connection, screen);
        managed = waitManaged(connection, probe, state);
        xcb_destroy_window(connection, probe);
    }
    // The round trip makes sure that the last probe is gone before the caller maps anything.
    const XReply<xcb_get_input_focus_reply_t> done(
        xcb_get_input_focus_reply(connection, xcb_get_input_focus(connection), nullptr));
    xcb_disconnect(connection);
    return managed ? 0 : 1;
}
