#pragma once

#include "support/XClients.h"

#include <QPoint>

// The pop-up notice on the test's desktop, seen from outside as a user sees it.
namespace popup {

inline const QString Role = QStringLiteral("NotifyWnd");

// The visible pop-up other than `notThis`; waits for it and until its picture rests. Null when none comes.
XClient waitFor(quint32 notThis = 0, int timeoutMs = 20000);
bool waitGone(quint32 id, int timeoutMs = 10000);
// The middle of the link's text, in root coordinates; null when no text in a link's colour is in the window.
QPoint linkAt(const XClient &client);
QPoint closeButtonAt(const XClient &client);

} // namespace popup
