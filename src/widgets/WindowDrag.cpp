#include "widgets/WindowDrag.h"
#include "widgets/CustomTitleBar.h"
#include <QMouseEvent>

void WindowDrag::press(const QPoint &global)
{
    if (!m_window)
        return;
    // The event knows better than the window where the cursor is in it: a window manager that frames and then moves a
    // new window can leave Qt with the position from in between.
    const auto *bar = m_window->findChild<CustomTitleBar *>();
    if (bar && bar->isPressed())
        begin(bar->pressInWindow());
    else
        begin(global - m_window->geometry().topLeft());
}

void WindowDrag::begin(const QPoint &inWindow)
{
    m_offset = inWindow + (m_window->geometry().topLeft() - m_window->pos()); // QWidget::move() counts a frame, if any
    m_active = true;
}

void WindowDrag::move(const QPoint &global)
{
    if (m_active && m_window)
        m_window->move(global - m_offset);
}

bool WindowDrag::handle(QMouseEvent *event, Qt::MouseButtons buttons)
{
    switch (event->type()) {
    case QEvent::MouseButtonPress:
        if (!(event->button() & buttons))
            return false;
        if (m_window)
            begin(event->windowPos().toPoint());
        return m_active;
    case QEvent::MouseMove:
        if (!m_active || event->buttons() == Qt::NoButton)
            return false;
        move(event->globalPos());
        return true;
    case QEvent::MouseButtonRelease:
        if (!m_active || (event->buttons() & buttons))
            return false;
        release();
        return true;
    default:
        return false;
    }
}
