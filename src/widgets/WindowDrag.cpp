#include "widgets/WindowDrag.h"
#include "widgets/CustomTitleBar.h"
#include <QMouseEvent>

void WindowDrag::press(const QPoint &global)
{
    // From the event where possible: when a window manager frames and then moves a new window, Qt can be left with a
    // position from in between.
    const auto *bar = m_window->findChild<CustomTitleBar *>();
    const std::optional<QPoint> pressed = bar ? bar->pressInWindow() : std::nullopt;
    begin(pressed.value_or(global - m_window->geometry().topLeft()), false);
}

void WindowDrag::begin(const QPoint &inWindow, bool byBody)
{
    m_offset = inWindow + (m_window->geometry().topLeft() - m_window->pos()); // QWidget::move() counts a frame, if any
    m_isByBody = byBody;
}

void WindowDrag::move(const QPoint &global)
{
    m_window->move(global - m_offset);
}

bool WindowDrag::handle(QMouseEvent *event, Qt::MouseButtons buttons)
{
    const bool presses = event->type() == QEvent::MouseButtonPress && event->button() & buttons;
    const bool moves = event->type() == QEvent::MouseMove && m_isByBody && event->buttons() & buttons;
    const bool releases = event->type() == QEvent::MouseButtonRelease && m_isByBody && !(event->buttons() & buttons);
    if (presses)
        begin(event->windowPos().toPoint(), true);
    else if (moves)
        move(event->globalPos());
    else if (releases)
        m_isByBody = false;
    return presses || moves || releases;
}
