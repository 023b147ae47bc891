#include "Compositor.h"
#include <QByteArray>
#include <QGuiApplication>

#include <X11/Xlib.h>

bool compositor::isRunning()
{
    if (QGuiApplication::platformName() != QLatin1String("xcb"))
        return true;
    Display *display = XOpenDisplay(nullptr);
    if (!display)
        return false;
    const QByteArray selection = "_NET_WM_CM_S" + QByteArray::number(DefaultScreen(display));
    const Atom atom = XInternAtom(display, selection.constData(), True);
    const bool running = atom != None && XGetSelectionOwner(display, atom) != None;
    XCloseDisplay(display);
    return running;
}
