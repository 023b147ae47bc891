#include "widgets/Compositor.h"
#include <QGuiApplication>
#include <qpa/qplatformnativeinterface.h>

bool compositor::isRunning()
{
    if (QGuiApplication::platformName() != QLatin1String("xcb"))
        return true;
    // Qt follows the compositing manager itself: asking it costs no round trip, and no connection of our own.
    QPlatformNativeInterface *platform = QGuiApplication::platformNativeInterface();
    return platform && platform->nativeResourceForScreen("compositingEnabled", QGuiApplication::primaryScreen());
}
