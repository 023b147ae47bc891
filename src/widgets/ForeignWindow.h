#pragma once

#include <QRect>

/// Asks the X server through a separate display connection, so that it works under every platform plug-in.
/// No X error and no dying X server ends the process. GUI thread (Xlib's error handler is one per process).
namespace tarn::visualized::foreign {

enum class Read { Ok, NoDisplay, NoAttributes, NoTranslation };

/// Origin in root coordinates and size of the window.
/// @param id X11 window id; stale and impossible ids give NoAttributes
/// @param geometry written only for Read::Ok
Read readWindow(quintptr id, QRect *geometry);

/// Whether the keyboard focus is in this window, in a window inside it, or in the one that contains it.
/// @param id X11 window id; 0, stale and impossible ids give false
bool isActive(quintptr id);

/// The compositing manager of the default screen.
struct Compositing
{
    bool isRunning = false;
    quint32 selection = 0; ///< the atom that it owns; 0 without a display
    int eventType = -1;    ///< of the events that report owners of selections; -1 when the server has none
};
Compositing readCompositing();

} // namespace tarn::visualized::foreign
