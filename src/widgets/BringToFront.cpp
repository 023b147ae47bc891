#include "widgets/BringToFront.h"
#include <QWidget>
#include <QWindow>

namespace tarn::visualized::front {
namespace {

// On the QWindow once there is one: QWidget::setWindowFlag() would create a new X window and polish the sheets again.
void setOnTop(QWidget *window, bool onTop)
{
    Qt::WindowFlags flags = window->windowFlags();
    flags.setFlag(Qt::WindowStaysOnTopHint, onTop);
    window->overrideWindowFlags(flags);
    if (!window->windowHandle())
        return;
    window->windowHandle()->setFlag(Qt::WindowStaysOnTopHint, onTop);
    window->setWindowRole(window->windowRole()); // the X plug-in drops it when the flags of a created window change
}

} // namespace

void showOnTopOnce(QWidget *window)
{
    setOnTop(window, true);
    window->show();
    setOnTop(window, false);
    window->show();
}

void raiseOnce(QWidget *window)
{
    showOnTopOnce(window);
    window->raise();
    window->activateWindow();
    neutralFocus(window);
}

void bringToFront(QWidget *window)
{
    window->setAttribute(Qt::WA_DeleteOnClose);
    raiseOnce(window);
}

void neutralFocus(QWidget *window)
{
    window->setFocus(Qt::OtherFocusReason);
}

} // namespace tarn::visualized::front
