#include "login/ReturnKey.h"
#include <QKeyEvent>
#include <QLineEdit>
#include <QTimer>

namespace tarn::visualized {

ReturnKey::ReturnKey(QLineEdit *edit)
    : QObject(edit)
{
    auto *soon = new QTimer(this);
    soon->setSingleShot(true);
    edit->installEventFilter(this);
    connect(edit, &QLineEdit::returnPressed, soon, qOverload<>(&QTimer::start));
    connect(soon, &QTimer::timeout, this, [this, edit] {
        if (edit->isVisible()) // the window can have been closed or hidden meanwhile
            emit pressed();
    });
}

bool ReturnKey::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() == QEvent::KeyPress) {
        const auto *press = static_cast<QKeyEvent *>(event);
        if (press->isAutoRepeat() && (press->key() == Qt::Key_Return || press->key() == Qt::Key_Enter))
            return true;
    }
    return QObject::eventFilter(watched, event);
}

} // namespace tarn::visualized
