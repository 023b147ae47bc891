#pragma once

#include <QPoint>
#include <QString>

class QIcon;
class QLabel;
class QScreen;
class QSize;
class QWidget;

namespace ServiceVisualized {

/// Places dialogs on the screen or over a window of another process, clamps sizes, puts icons on labels. Stateless; GUI
/// thread. Failures are log lines.
class CToolkit final
{
public:
    CToolkit() = delete;

    /// The application's device-pixel ratio, never below 1. The widget is not consulted.
    static double GetDpiRate(QWidget *w);
    /// Turns a design size (96 DPI) into pixels of w's screen, at most that screen's available size; 0 without screens.
    static void UpdateWidthAndHeight(QWidget *w, int &width, int &height);
    /// Moves the dialog to the middle of the screen's (default: primary) available area, relative to that area: its
    /// origin is not added.
    static void SetDlgToScreenCenter(QWidget *dlg, QScreen *screen = nullptr);
    /// Centres the dialog over a window of another process; it stays where it is when that window cannot be read.
    /// @param parentWindow an X11 window id (not a pointer), null for none
    /// @param offset pixels subtracted from both coordinates
    static void MoveToParentCenter(QWidget *dlg, void *parentWindow, int offset);

    /// Placeholders without a source on this platform: no position, not running, no error.
    static QPoint getWindowTopLeftPosition(void *) { return {}; }
    static bool isProgramRunning(QString) { return false; }
    static int GetLastError() { return 0; }

    /// Shows the icon, or the image file, at the given size in logical pixels.
    static void SetLabelIconPicture(QLabel *label, const QIcon &icon, const QSize &size);
    static void SetLabelIconPicture(QLabel *label, const QString &path, const QSize &size);
};

} // namespace ServiceVisualized
