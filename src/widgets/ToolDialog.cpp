#include "widgets/ToolDialog.h"
#include "widgets/BringToFront.h"
#include "widgets/CustomTitleBar.h"
#include "widgets/Placement.h"
#include <QBoxLayout>
#include <QCloseEvent>
#include <QFrame>
#include <QGuiApplication>
#include <QMouseEvent>
#include <QScreen>
#include <QWindow>

namespace tarn::visualized {
namespace {
constexpr int TypingPause = 1000; // ms without a key, after which the next one is meant for the window
}

ToolDialog::ToolDialog(QWidget *parent, Qt::WindowType type, Qt::MouseButtons bodyButtons)
    : QDialog(parent, type | Qt::FramelessWindowHint)
    , m_bodyButtons(bodyButtons)
{
}

QVBoxLayout *ToolDialog::addBody(const QString &objectName)
{
    auto *body = new QFrame(this);
    body->setObjectName(objectName);
    auto *column = new QVBoxLayout(body);
    column->setContentsMargins(1, 1, 1, 1);
    column->setSpacing(0);
    auto *whole = new QVBoxLayout(this);
    whole->setContentsMargins(0, 0, 0, 0);
    whole->addWidget(body);
    return column;
}

CustomTitleBar *ToolDialog::addTitleBar(QVBoxLayout *column, int height)
{
    CustomTitleBar *bar = CustomTitleBar::addOnTop(column, height);
    connect(bar, &CustomTitleBar::CustomTitleBarPressed, this, &ToolDialog::OnCustomTitleBarPressed);
    connect(bar, &CustomTitleBar::CustomTitleBarmoved, this, &ToolDialog::OnCustomTitleBarmoved);
    return bar;
}

bool ToolDialog::dropsForeignKey(QEvent *event)
{
    if (!m_guarded || focusWidget() != this || m_sinceKey.hasExpired(TypingPause)) {
        m_guarded = m_guarded && event->type() != QEvent::KeyPress;
        return false;
    }
    m_sinceKey.start();
    event->accept();
    return true;
}

bool ToolDialog::event(QEvent *event)
{
    switch (event->type()) {
    case QEvent::WindowActivate:
        m_sinceKey.start();
        break;
    case QEvent::MouseButtonPress:
        m_guarded = false;
        [[fallthrough]];
    case QEvent::MouseMove:
    case QEvent::MouseButtonRelease:
        if (isEnabled() && m_drag.handle(static_cast<QMouseEvent *>(event), m_bodyButtons))
            return true;
        break;
    case QEvent::ShortcutOverride:
    case QEvent::KeyPress:
        if (dropsForeignKey(event))
            return true;
        break;
    default:
        break;
    }
    return QDialog::event(event);
}

void ToolDialog::setVisible(bool visible)
{
    const bool appears = visible && !isVisible();
    if (appears && testAttribute(Qt::WA_Moved)) // QDialog finds a place itself for a window without one
        placement::keepOnScreen(this);
    QDialog::setVisible(visible);
    if (!appears)
        return;
    // A window of fixed size keeps its pixels when Qt moves it to a screen of another scale.
    connect(windowHandle(), &QWindow::screenChanged, this, &ToolDialog::keepFixedSize,
            Qt::ConnectionType(Qt::QueuedConnection | Qt::UniqueConnection));
    setWindowRole(windowRole()); // the X plug-in drops the role of a window that was hidden
    m_guarded = m_unasked;
    m_sinceKey.start();
    if (m_unasked)
        front::neutralFocus(this);
}

// At an edge, the new size can put the centre on the screen before, where Qt would change the scale again: the window is
// moved on to its new screen unless the user holds it.
void ToolDialog::keepFixedSize()
{
    const QRect place(pos(), placement::settledSize(this));
    if (place.size() == size())
        return;
    const bool isHeld = QGuiApplication::mouseButtons() != Qt::NoButton;
    setGeometry(isHeld ? place : placement::inside(place, placement::availableFor(this)));
}

// QDialog's own handler would call reject() and be called again.
void ToolDialog::closeEvent(QCloseEvent *event)
{
    event->accept();
    if (isVisible())
        QDialog::reject();
}

} // namespace tarn::visualized
