#pragma once

#include <QByteArray>
#include <QRect>
#include <xcb/xcb.h>

// A connection of another client to the X server of DISPLAY. Its windows are destroyed with it.
class XServer final
{
public:
    XServer();
    ~XServer() { xcb_disconnect(m_connection); }
    Q_DISABLE_COPY(XServer)

    bool isValid() const { return m_screen != nullptr; }
    xcb_connection_t *connection() const { return m_connection; }
    xcb_window_t root() const { return m_screen->root; }
    xcb_atom_t atom(const QByteArray &name) const;
    QByteArray property(xcb_window_t window, const QByteArray &name) const; // its first 4 KiB; empty without it
    QRect place(xcb_window_t window) const;                                 // in device pixels of the root
    xcb_window_t focus() const;                                             // after the server has done all before it

    // Makes and maps a window; its parent is the root without another. A managed one can be moved by the window manager
    // and reports key presses.
    xcb_window_t open(const QRect &where, bool managed, xcb_window_t parent = 0) const;
    void destroy(xcb_window_t window) const;

private:
    xcb_connection_t *const m_connection;
    const xcb_screen_t *m_screen = nullptr;
};
