#pragma once

#include <QRect>
#include <QString>
#include <QVector>

// One window of any process as the X server reports it, to users, panels and scripts alike.
struct XClient
{
    quint32 id = 0; // 0: no window
    QString role;   // WM_WINDOW_ROLE
    QString title;  // _NET_WM_NAME
    QString instance, className;
    QRect geometry; // in device pixels of the root window, without a frame
    quint32 pid = 0;
    bool viewable = false; // mapped, and so are all its parents
    bool isNull() const { return id == 0; }
};

namespace xclients {

// All windows that carry a role, mapped or not; each call asks the server.
QVector<XClient> all();
// The viewable window with this role other than `notThis`; a null client when there is none.
XClient byRole(const QString &role, quint32 notThis = 0);
// The window under the keyboard focus or its nearest parent with a role; null when the focus is elsewhere.
XClient focused();
// The usable area of the first desktop (_NET_WORKAREA), the whole screen when no window manager tells it.
QRect workArea();
// Asks the window to close, as a window manager's close button does.
void requestClose(quint32 id);

} // namespace xclients
