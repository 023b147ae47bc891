#include "widgets/Compositor.h"
#include <QGuiApplication>
#include <QPointer>
#include <cstring>

#include <X11/extensions/xfixesproto.h>

using namespace tarn::visualized;

Compositor *Compositor::instance()
{
    static QPointer<Compositor> only;
    if (!only)
        only = new Compositor(qApp);
    return only;
}

Compositor::Compositor(QObject *parent)
    : QObject(parent)
{
    if (QGuiApplication::platformName() != QLatin1String("xcb")) {
        m_state.isRunning = true;
        return;
    }
    m_state = foreign::readCompositing();
    qApp->installNativeEventFilter(this);
}

bool Compositor::nativeEventFilter(const QByteArray &, void *message, long *)
{
    xXFixesSelectionNotifyEvent event = {}; // as the server sends it; Qt selects these events for its own connection
    std::memcpy(&event, message, sizeof event); // every X event has 32 bytes at least
    const bool isOurs = (event.type & 0x7f) == m_state.eventType && event.selection == m_state.selection;
    if (!isOurs || (event.owner != 0) == m_state.isRunning)
        return false;
    m_state.isRunning = event.owner != 0;
    emit changed();
    return false;
}
