#pragma once

#include "widgets/Placement.h"
#include <QtGlobal>

/// Reads windows of other processes through a display connection of its own, so it works under every platform plug-in.
/// No X error and no dying X server ends the process. GUI thread (Xlib's error handler is one per process).
namespace foreign {

enum class Read { Ok, NoDisplay, NoAttributes, NoTranslation };

/// Origin in root coordinates and size of the window.
/// @param id X11 window id; stale and impossible ids give NoAttributes
/// @param geometry written only for Read::Ok
Read readWindow(quintptr id, placement::ForeignGeometry *geometry);

/// Whether the keyboard focus is in this window, in a window inside it, or in the one that contains it.
/// @param id X11 window id; 0, stale and impossible ids give false
bool isActive(quintptr id);

} // namespace foreign
