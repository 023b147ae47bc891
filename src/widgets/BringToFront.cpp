#include "widgets/BringToFront.h"
#include <QPointer>
#include <QWidget>
#include <QWindow>

namespace front {

namespace {
// The X plug-in drops the window's role when the flags of a created window change.
void setOnTop(QWidget *window, bool onTop)
{
    window->windowHandle()->setFlag(Qt::WindowStaysOnTopHint, onTop);
    window->setWindowRole(window->windowRole());
}
} // namespace

void showOnTopOnce(QWidget *widget)
{
    // On the created QWindow: through QWidget::setWindowFlag() every step would make a new X window and polish the
    // style sheets again.
    const QPointer<QWidget> window(widget);
    window->winId();
    setOnTop(window, true);
    window->show();
    if (!window || !window->windowHandle())
        return;
    setOnTop(window, false);
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
