#include "widgets/TypingGuard.h"
#include <QEvent>
#include <QWidget>

namespace {
constexpr int Pause = 1000; // ms without a key, after which the next one is meant for the window
} // namespace

TypingGuard::TypingGuard(QWidget *window)
    : QObject(window)
    , m_window(window)
{
    m_sinceKey.start();
    window->installEventFilter(this);
}

bool TypingGuard::takesKeys() const
{
    return m_lifted || m_window->focusWidget() != m_window || m_sinceKey.hasExpired(Pause);
}

bool TypingGuard::eventFilter(QObject *watched, QEvent *event)
{
    switch (event->type()) {
    case QEvent::Show:
        m_lifted = m_lifted && event->spontaneous(); // the user has not seen this appearance yet
        m_sinceKey.start();
        break;
    case QEvent::WindowActivate:
        m_sinceKey.start();
        break;
    case QEvent::MouseButtonPress:
        m_lifted = true;
        break;
    case QEvent::ShortcutOverride:
    case QEvent::KeyPress:
        if (takesKeys()) {
            m_lifted = m_lifted || event->type() == QEvent::KeyPress;
            break;
        }
        m_sinceKey.start();
        event->accept();
        return true;
    default:
        break;
    }
    return QObject::eventFilter(watched, event);
}
