#pragma once

#include <QPoint>
#include <QWidget>

class QMouseEvent;

/// Moves a frameless window with the mouse, by its title bar or by its body: the cursor keeps its offset to the corner. A
/// member of the window; GUI thread.
class WindowDrag final
{
public:
    explicit WindowDrag(QWidget *window)
        : m_window(window)
    {
    }

    // Positions are global. move() may only be called after press().
    void press(const QPoint &global);
    void move(const QPoint &global);

    /// For a window dragged by its body, called with its mouse events. buttons: which buttons start a drag.
    /// @return whether the event belonged to a drag
    bool handle(QMouseEvent *event, Qt::MouseButtons buttons = Qt::LeftButton);

private:
    void begin(const QPoint &inWindow, bool byBody);

    QWidget *const m_window;
    QPoint m_offset;
    bool m_isByBody = false; // not by the title bar, whose release does not arrive here
};
