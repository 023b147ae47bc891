#pragma once

class QWidget;

/// Bringing windows up on the desktop. GUI thread.
namespace tarn::visualized::front {

/// Shows the window above all others without leaving it pinned there: with the stay-on-top hint, and again without.
void showOnTopOnce(QWidget *window);
/// showOnTopOnce(), raise, activate, and neutral focus.
void raiseOnce(QWidget *window);
/// raiseOnce() for a window that deletes itself when it is closed.
void bringToFront(QWidget *window);
/// Puts the focus on the window itself: a window that comes unasked can take the keyboard from another program, and keys
/// meant for that program then press nothing here. Tab moves on to the first control.
void neutralFocus(QWidget *window);

} // namespace tarn::visualized::front
