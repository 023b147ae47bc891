#pragma once
#include "support/XClients.h"

#include <QPoint>

class XInput;

// Windows of the host as the user finds and uses them.
namespace popup {

inline const QString Role = QStringLiteral("NotifyWnd");

// The visible notice other than `notThis` once its picture rests; a null client after the time-out.
XClient waitFor(quint32 notThis = 0, int timeoutMs = 20000);
bool waitGone(quint32 id, int timeoutMs = 20000);
// A point on the notice's link in root coordinates; null without one.
QPoint linkAt(const XClient &client);
// The visible window with this role; a null client after the time-out.
XClient waitForWindow(const QString &role);
// A place in the window.
void click(XInput *input, const XClient &window, const QPoint &place);

} // namespace popup
