#include "widgets/WindowDrag.h"
#include <QMouseEvent>

void WindowDrag::press(const QPoint &global)
{
    if (!m_window)
        return;
    m_offset = global - m_window->pos();
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
        press(event->globalPos());
        return true;
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
