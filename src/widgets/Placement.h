#pragma once

#include <QRect>

class QScreen;
class QWidget;

/// The arithmetic behind the window tools, on plain rectangles so that any screen layout can be computed. Stateless; sizes
/// and positions are in pixels.
namespace tarn::visualized::placement {

constexpr int DesignDpi = 96;
/// Nearest integer, halves upward (-1.5 becomes -1); values beyond int are cut at its limits.
int roundHalfUp(double value);
/// A design size at the given DPI.
int scaled(int value, int dpi);
/// The screen of w's top-level window once that has a native handle, else the primary screen; null without screens.
QScreen *screenOf(const QWidget *w);
/// The available area of that screen, empty without one.
QRect availableFor(const QWidget *w);
/// The window moved as little as needed to lie within the area; the top-left corner stays visible when it is larger.
QRect inside(const QRect &window, const QRect &area);
/// The window's size within its limits. While Qt moves a window of fixed size to a screen of another scale, size() is a
/// fraction of it.
QSize settledSize(const QWidget *window);
/// Moves the window into the available area of the screen under its centre, or of the nearest one. Size and a position
/// that is all right are left alone.
void keepOnScreen(QWidget *window);
/// Moves the window to the place, as far as keepOnScreen() allows, in one step: Qt takes the wrong scale for a second one.
void placeOnScreen(QWidget *window, const QRect &place);
/// CToolkit::SetDlgToScreenCenter(); where that is a place on another screen, moves on to the middle of the primary one.
void centreOnPrimary(QWidget *window);
/// Top-left corner for a dialog in the middle of a screen's available area; deliberately without the origin of the area.
QPoint screenCentre(const QRect &available, const QRect &dialog);
/// Geometry (dialog pixels) of a dialog of the given size centred over a window of another process; the offset is
/// subtracted from both coordinates.
/// @param parent in device pixels of the root window, relative to the origin of its screen
/// @param ratio device pixels per dialog pixel, at least 1
QRect overForeign(const QRect &parent, double ratio, const QSize &dialog, int offset);

} // namespace tarn::visualized::placement
