#include "widgets/BringToFront.h"
#include <QPointer>
#include <QWidget>
#include <QWindow>

namespace front {

void showOnTopOnce(QWidget *widget)
{
    // On the created QWindow: through QWidget::setWindowFlag() every step would make a new X window and polish the
    // style sheets again.
    const QPointer<QWidget> window(widget);
    window->winId();
    window->windowHandle()->setFlag(Qt::WindowStaysOnTopHint, true);
    window->show();
    if (!window || !window->windowHandle())
        return;
    window->windowHandle()->setFlag(Qt::WindowStaysOnTopHint, false);
    window->show();
}

void raiseOnce(QWidget *widget)
{
    const QPointer<QWidget> window(widget);
    showOnTopOnce(window);
    if (!window)
        return;
    window->raise();
    window->activateWindow();
    neutralFocus(window);
}

void bringToFront(QWidget *widget)
{
    widget->setAttribute(Qt::WA_DeleteOnClose);
    raiseOnce(widget);
}

void neutralFocus(QWidget *window)
{
    window->setFocus(Qt::OtherFocusReason);
}

} // namespace front
