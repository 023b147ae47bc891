#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <xcb/xcb.h>

// CLOCK_MONOTONIC in nanoseconds: comparable between processes of one machine.
int64_t nowNs();

// One child of the root window: a client window, a window manager's frame or an override-redirect one.
// Times are nowNs() values, 0 for "not yet"; painted is the moment when half of the area had been drawn.
struct XWindowRecord
{
    xcb_window_t id = 0;
    int64_t created = 0, mapped = 0, unmapped = 0, destroyed = 0, painted = 0;
    int x = 0, y = 0, width = 0, height = 0, maps = 0;
    bool overrideRedirect = false;
    int64_t drawnArea = 0;
};

// A second X connection, on a separate thread, that records when top-level windows of any process are created, mapped,
// drawn (XDamage) and unmapped. All functions may be called from any thread.
class XWatch final
{
public:
    XWatch() = default;
    ~XWatch();
    XWatch(const XWatch &) = delete;
    XWatch &operator=(const XWatch &) = delete;

    bool start(); // false: no display
    void reset(); // forgets the times so far; live windows stay watched
    // Waits for a window that satisfies the predicate, which runs under the lock; false after the time-out.
    bool waitFor(const std::function<bool(const XWindowRecord &)> &predicate, XWindowRecord *found, int timeoutMs);
    std::vector<XWindowRecord> windows() const;
    // WM_CLASS ("instance.class") of the window or, for a frame, of the first descendant that has one.
    std::string windowClass(xcb_window_t window) const;

private:
    void addExisting();
    void watchDamage(xcb_window_t window);
    void run();
    void handle(const xcb_generic_event_t &event, int64_t time);
    void handleDamage(const xcb_generic_event_t &event, int64_t time);
    XWindowRecord *record(xcb_window_t window);

    xcb_connection_t *m_connection = nullptr;
    xcb_connection_t *m_queries = nullptr; // questions from the callers' threads
    xcb_window_t m_root = 0;
    int m_damageEvent = -1;
    std::thread m_thread;
    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    std::map<xcb_window_t, XWindowRecord> m_windows;
    bool m_stop = false;
};
