#pragma once

#include <QByteArray>
#include <QRect>
#include <QString>
#include <QVector>
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
    QVector<xcb_window_t> children(xcb_window_t window) const;              // in stacking order, the uppermost last
    xcb_window_t focus() const;                                             // after the server has done all before it

    // Makes and maps a window; its parent is the root without another. A managed one can be moved by the window manager
    // and reports key presses.
    xcb_window_t open(const QRect &where, bool managed, xcb_window_t parent = 0) const;
    void destroy(xcb_window_t window) const;

private:
    xcb_connection_t *const m_connection;
    const xcb_screen_t *m_screen = nullptr;
};

// One window of any process as the X server reports it.
struct XClient
{
    quint32 id = 0; // 0: no window
    QString role;   // WM_WINDOW_ROLE
    QRect geometry; // in device pixels of the root window, without a frame
    bool isNull() const { return id == 0; }
};

namespace xclients {

// The viewable window with this role; a null client when there is none. Each call asks the server.
XClient byRole(const QString &role);
// Asks the window to close, as a window manager's close button does.
void requestClose(quint32 id);

} // namespace xclients
